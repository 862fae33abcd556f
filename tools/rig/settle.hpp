#pragma once

// Knowing that the daemon has done all its work, without a sleep.
//
// A probe takes the road of every signal: an empty PropertiesChanged of an object that does not
// exist. The daemon's worker says so in its log and does nothing more. Since each road keeps its
// order, all that a service sent before the probe has been worked off when that line appears. Then
// the main loop is given the time to write every association that waits.
//
// What the recovery thread is asked for starts 5 s later and is not waited for. A daemon whose
// workers were released by an interrupt never settles.

#include "rig/daemon.hpp"
#include "rig/observer.hpp"
#include "sim/service.hpp"

#include <chrono>
#include <string>
#include <vector>

namespace rig
{

/** Waits until the daemon has finished its start-up and worked off what the services sent before,
 *  and all that it wrote about it is in its log; throws sim::Timeout, or sim::Error when the daemon
 *  ends before it has its name. Services that do not run are left out. The platform's is to be
 *  given first: what it removes waits in the other's queue. A daemon that has lost its well-known
 *  name still has the unique one. */
void settle(Observer& observer, const Daemon& daemon, const std::vector<sim::Service*>& services,
            std::chrono::milliseconds limit, const std::string& name = daemonName);

} // namespace rig
