#pragma once

// What both services and the daemon show on the bus at one moment.
// Any thread; no shared state. readFacts(): the thread that made the observer.

#include "expectation.hpp"
#include "rig/observer.hpp"
#include "sim/objects.hpp"

#include <string>

namespace hwinv_demo
{

struct Facts
{
    sim::Objects smbios;
    sim::Objects kovd;
    Lists associations;
};

/** A service that does not run shows nothing. */
Facts readFacts(rig::Observer& observer);

/** A property as text; empty when the object has none. */
std::string text(const sim::Objects& objects, const std::string& path, const char* interface,
                 const char* property);

/** The last part of a path. */
std::string leaf(const std::string& path);

} // namespace hwinv_demo
