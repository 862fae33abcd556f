#pragma once

// Which bus a person means.
// Any thread; reads the environment.

#include <string>

namespace hwinv_sim
{

struct BusChoice
{
    /** Of the command line; empty when it gives none. */
    std::string address;

    /** The machine's own bus is meant. */
    bool system = false;
};

/** The address to use: the given one, else DBUS_SYSTEM_BUS_ADDRESS; empty for the machine's own
 * bus. Throws sim::UsageError when none is named, and when the machine's own would be used, whose
 * other programs would take a simulated service for the real one, and nobody said so. */
std::string chooseBus(const BusChoice& choice);

} // namespace hwinv_sim
