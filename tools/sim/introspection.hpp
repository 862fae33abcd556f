#pragma once

// The introspection text of one path of a simulated service.
// Any thread; no shared state.

#include "sim/inventory.hpp"

#include <string>

namespace sim
{

/** The XML that lists the interfaces of `path` and the names of its children. */
std::string introspectionXml(const Inventory& inventory, const std::string& path);

} // namespace sim
