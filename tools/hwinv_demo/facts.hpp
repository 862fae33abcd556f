#pragma once

// What both services and the daemon show on the bus at one moment, and what the daemon's engine
// says of it. One thread at a time: the engine is asked.

#include "expectation.hpp"
#include "inspect/machine.hpp"
#include "sim/objects.hpp"

#include <string>

namespace hwinv_demo
{

struct Facts
{
    sim::Objects smbios;
    sim::Objects kovd;
    Lists associations;
    inspect::Machine machine;
};

/** Reads the bus. A service that does not run shows nothing; throws sim::Error when neither does.
 */
Facts readFacts(const std::string& address);

Facts factsOf(inspect::World world);

/** Why the object is paired as it is, or not at all, in the engine's words. */
std::string reasonFor(const Facts& facts, const std::string& path);

/** A property as text; empty when the object has none. */
std::string text(const sim::Objects& objects, const std::string& path, const char* interface,
                 const char* property);

} // namespace hwinv_demo
