#pragma once

// What any client of a bus asks: a method of a service, who owns a name, which objects there are.
//
// Nothing here writes but what the called method itself does.
// REQUIRES: the thread that owns the connection.

#include "sim/objects.hpp"
#include "sim/sdbus.hpp"

#include <string>
#include <vector>

namespace sim
{

/** A method of an object of a service. */
struct Method
{
    std::string service;
    std::string path;
    std::string interface;
    std::string member;
};

/** Calls it with text arguments; throws BusError naming member and service. */
Message call(sd_bus* bus, const Method& method, const std::vector<std::string>& arguments = {});

/** The unique name of a name's owner; empty when it has none. Throws BusError. */
std::string ownerOf(sd_bus* bus, const std::string& name);

/** What an object manager lists; throws BusError, or CaptureError for a reply of another type. */
Objects managedObjects(sd_bus* bus, const std::string& service, const std::string& path);

} // namespace sim
