#pragma once

// All that a demonstration needs, on one private bus: both simulated services and the real daemon.
// Destruction ends it all. Main thread only.

#include "../hwinv_sim/simulator.hpp"
#include "rig/daemon.hpp"
#include "rig/observer.hpp"
#include "sim/bus.hpp"
#include "sim/capture.hpp"

#include <memory>
#include <string>

namespace hwinv_demo
{

class Scene
{
  public:
    /** Starts the bus in a folder that stays, and loads both services; neither service nor the
     *  daemon runs yet. The daemon will write its log to `logFile`. */
    Scene(const std::string& folder, sim::InventoryCapture inventory, std::string daemonProgram,
          std::string logFile);

    const std::string& address() const
    {
        return bus_.address();
    }

    hwinv_sim::Simulator& simulator()
    {
        return simulator_;
    }

    sim::Service& smbios()
    {
        return simulator_.service("smbios");
    }

    sim::Service& kovd()
    {
        return simulator_.service("kovd");
    }

    rig::Observer& observer()
    {
        return observer_;
    }

    /** REQUIRES: startDaemon() called. */
    const rig::Daemon& daemon() const
    {
        return *daemon_;
    }

    void startDaemon();

    /** Waits until the daemon has worked off all that the running services have said so far; throws
     *  sim::Timeout. */
    void settle();

  private:
    sim::PrivateBus bus_;
    hwinv_sim::Simulator simulator_;
    rig::Observer observer_;
    rig::DaemonOptions options_;
    std::unique_ptr<rig::Daemon> daemon_;
};

} // namespace hwinv_demo
