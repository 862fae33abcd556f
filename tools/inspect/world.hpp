/*
 * What both services publish at one moment: the three replies that the daemon's discovery reads.
 *
 * A world comes from a capture or from a bus. On a bus nothing is written and no name is taken: it
 * is read as any client may read it.
 *
 * Any thread; no shared state. readBus: the thread that owns the connection.
 */
#pragma once

#include "sim/objects.hpp"
#include "store/types.hpp"

#include <systemd/sd-bus.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace inspect
{

struct World
{
    sim::Objects smbios;  // below the root of the whole inventory
    sim::Objects board;   // below the platform's board path
    sim::Objects chassis; // below the platform's chassis path

    /** For people: the folder, or "the bus". */
    std::string source;

    /** Read from a bus: a platform object without an association is then really without one. */
    bool live = false;
};

/** Reads smbios.json, kovd-board.json and kovd-chassis.json; throws sim::CaptureError. */
World readFolder(const std::filesystem::path& folder);

/** One reply to GetManagedObjects. */
struct Reply
{
    std::string service;
    std::string path;
    std::size_t objects = 0;
    std::chrono::microseconds time{};
};

/**
 * Asks both services, as discovery does; a service that is not on the bus has no objects. Throws
 * sim::BusError when a call fails, sim::Error when neither service is there. `replies`, when given,
 * is told of each call.
 */
World readBus(sd_bus* bus, std::vector<Reply>* replies = nullptr);

/** Whether somebody owns the name; throws sim::BusError. */
bool hasOwner(sd_bus* bus, const std::string& name);

/** The value as the daemon gets it: a type that it does not know becomes its first alternative. */
PropertyValue toPropertyValue(const sim::Value& value);

InterfaceMap toInterfaceMap(const sim::Interfaces& interfaces);

/** The value as a person reads it: a text in quotes, a number bare. */
std::string toText(const PropertyValue& value);

/** The letters of the value's D-Bus type. */
std::string typeOf(const PropertyValue& value);

/** What stands in the `Associations` of a platform object; empty when it has none. */
AssociationList associationsOf(const sim::Interfaces& interfaces);

/** A platform object of either path; null when there is none. */
const sim::Interfaces* findPlatformObject(const World& world, const std::string& path);

/** The last part of a path. */
std::string leafOf(const std::string& path);

} // namespace inspect
