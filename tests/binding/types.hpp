/*
 * The bus types that the tests of the binding read and append.
 *
 * Constants only.
 */
#pragma once

#include <sdbusplus/message.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

// Revisions of the library differ in which of the two namespaces has the type.
namespace compat
{
using namespace sdbusplus;
using namespace sdbusplus::message;
using ObjectPath = object_path;
} // namespace compat

using Associations = std::vector<std::tuple<std::string, std::string, std::string>>;
using Property =
    std::variant<std::vector<std::string>, std::string, int64_t, uint64_t, double, int32_t,
                 uint32_t, int16_t, uint16_t, uint8_t, bool, std::vector<uint8_t>, Associations>;
using Properties = std::map<std::string, Property, std::less<>>;
using Interfaces = std::map<std::string, Properties, std::less<>>;
using Objects = std::map<compat::ObjectPath, Interfaces>;
