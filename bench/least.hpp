/*
 * What floor and hop share: the libsystemd calls that the job asks for whatever a program does with
 * what it reads.
 *
 * A failing call ends the process with a line on standard error: a program that measures must not
 * go on with half of its work. Each connection and its messages belong to one thread.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <array>
#include <memory>
#include <span>
#include <string>

namespace least
{

/** Ends the process, saying what was attempted, when the result is an error; else returns it. */
int require(int result, const char* attempted);

struct Unref
{
    void operator()(sd_bus* bus) const
    {
        sd_bus_unref(bus);
    }
    void operator()(sd_bus_message* message) const
    {
        sd_bus_message_unref(message);
    }
};
using Bus = std::unique_ptr<sd_bus, Unref>;
using Message = std::unique_ptr<sd_bus_message, Unref>;

/** The bus of DBUS_SYSTEM_BUS_ADDRESS. */
Bus openBus();

/** Takes the daemon's name and adds its object manager. */
void takeName(sd_bus* bus);

/** What the daemon listens to, in its order. The third one is what announces platform objects. */
std::span<const char* const> rules();

/** Asks both services for their objects, reads each key and value of the three replies, and keeps
 *  nothing. */
void readInventories(sd_bus* bus);

/** The path of the object that a signal announces. Nothing else of its body is read. */
std::string announcedPath(sd_bus_message* signal);

/** A call that sets the association of a platform object. */
Message associationCall(sd_bus* bus, const char* path);

/** The platform object that the Sets of the start-up go to. */
inline constexpr const char* anyObject =
    "/xyz/openbmc_project/inventory/system/board/pcie_slot_0001";

/** How many Sets the start-up has: the program's one argument. */
unsigned startUpSets(int argc, char** argv);

} // namespace least
