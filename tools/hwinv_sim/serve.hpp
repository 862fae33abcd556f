#pragma once

// The programs behind `hwinv_sim serve` and `hwinv_sim bus`: they run until SIGINT, SIGTERM
// or SIGHUP, which end them with status 0.
// Main thread only.

#include "simulator.hpp"

#include <string>
#include <utility>
#include <vector>

namespace hwinv_sim
{

struct ServeOptions
{
    /** Empty for the system bus. */
    std::string address;
    std::string inventory;

    /** The services that are loaded but wait for `hwinv_sim start`. */
    std::vector<std::string> stopped;

    /** The one service to play; both when empty. */
    std::string only;

    /** Kind and text of each fault, as fault_text.hpp says. */
    std::vector<std::pair<std::string, std::string>> faults;
};

/** Plays the services and prints "ready: ..." once they are on the bus. Returns the exit status;
 *  throws sim::Error when it cannot begin. */
int serve(const ServeOptions& options);

/** Offers the control of a simulator that runs on the bus, until SIGINT, SIGTERM or SIGHUP.
 *  Returns the exit status; throws sim::Error when it cannot begin or the bus is lost. */
int serveControl(const std::string& address, Simulator& simulator);

/** Runs a private bus and prints its DBUS_SYSTEM_BUS_ADDRESS line. */
int runBus();

} // namespace hwinv_sim
