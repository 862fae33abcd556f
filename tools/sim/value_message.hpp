#pragma once

// Values into and out of D-Bus messages.
//
// Writing checks first, so that a message is never left half written by a value that does not fit.
// Reading takes whatever type stands in the message; file descriptors are refused.
// REQUIRES: the thread that owns the message's connection.

#include "sim/sdbus.hpp"
#include "sim/value.hpp"

#include <string_view>

namespace sim
{

/** Appends one value of type `type`; throws ValueError or BusError. */
void appendValue(sd_bus_message* message, std::string_view type, const Json& data);

/** Appends a variant that holds the value. */
void appendVariant(sd_bus_message* message, const Value& value);

/** Appends the values of a whole body: `data` is the list of them, one for each type. */
void appendBody(sd_bus_message* message, std::string_view signature, const Json& data);

/** Reads the next value, whatever its type; throws BusError when there is none. */
Value readValue(sd_bus_message* message);

/** Reads the next value, a variant, and gives what it holds. */
Value readVariant(sd_bus_message* message);

} // namespace sim
