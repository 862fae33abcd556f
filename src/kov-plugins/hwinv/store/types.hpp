/*
 * The value types of the two inventories: what a D-Bus property, object and association look like
 * in memory. Values only; no locks.
 */
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

/** Forward name, reverse name, object path of the endpoint; "(sss)" on the bus. */
using AssociationTuple = std::tuple<std::string, std::string, std::string>;

/** "a(sss)" on the bus; the order of the tuples is kept. */
using AssociationList = std::vector<AssociationTuple>;

/**
 * A property's value. The order of the alternatives is the order in which a variant of a message
 * is tried; a variant of any other type becomes the first alternative, empty.
 */
using PropertyValue = std::variant<std::vector<std::string>,  // as
                                   std::string,               // s
                                   std::int64_t,              // x
                                   std::uint64_t,             // t
                                   double,                    // d
                                   std::int32_t,              // i
                                   std::uint32_t,             // u
                                   std::int16_t,              // n
                                   std::uint16_t,             // q
                                   std::uint8_t,              // y
                                   bool,                      // b
                                   std::vector<std::uint8_t>, // ay
                                   AssociationList>;          // a(sss)

/** Property name to value, as a message brings them: "a{sv}" on the bus, in byte order. */
using ReceivedProperties = std::map<std::string, PropertyValue, std::less<>>;

/** Interface name to properties: "a{sa{sv}}" on the bus. */
using InterfaceMap = std::map<std::string, ReceivedProperties, std::less<>>;
