#pragma once

// Both simulated services of one bus, under the short names that a person uses: "smbios" and
// "kovd". Any thread; each service takes its own lock.

#include "sim/capture.hpp"
#include "sim/service.hpp"

#include <string>
#include <vector>

namespace hwinv_sim
{

class Simulator
{
  public:
    /** Loads both services; neither is on the bus before it is started. */
    Simulator(const std::string& address, sim::InventoryCapture inventory);

    static const std::vector<std::string>& serviceNames();

    /** Throws sim::UsageError for a name that is none of serviceNames(). */
    sim::Service& service(const std::string& name);

    /** The service meant by `name`; when that is empty, the one that has the object, or the one
     *  that the path can only belong to. Throws sim::Error when that leaves both. */
    sim::Service& serviceFor(const std::string& name, const std::string& path);

    /** Adds a fault written as fault_text.hpp says. */
    void addFault(const std::string& kind, const std::string& text);

    void clearFaults();

  private:
    sim::Service smbios_;
    sim::Service kovd_;
};

} // namespace hwinv_sim
