#pragma once

// The objects of a simulated service: path -> interface -> property -> value, each in byte order.
// Any thread; no shared state.

#include "sim/value.hpp"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace sim
{

using Properties = std::map<std::string, Value>;
using Interfaces = std::map<std::string, Properties>;
using Objects = std::map<std::string, Interfaces>;

/** One object: its path and its interfaces. */
using Object = std::pair<std::string, Interfaces>;

/** One property of the objects, or nullptr. */
const Value* findProperty(const Objects& objects, const std::string& path,
                          const std::string& interface, const std::string& property);

/** True when `path` lies below `root` in the tree ("/a/b" below "/a" and "/", not below "/a/b"). */
bool isBelow(const std::string& path, const std::string& root);

} // namespace sim
