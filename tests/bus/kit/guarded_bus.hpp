#pragma once

// A private bus that denies by default, as a system bus does, with a policy of one's own added.
//
// Nobody may own a name or call anybody but the bus itself, anybody may send signals and replies;
// root may own the names of the two source services, as on a machine whose services run as root.
// Run by dbus-daemon or by dbus-broker. Destruction ends it. One thread makes and destroys it.
// REQUIRES: kit::enterOwnRoot() returned nothing; for dbus-broker, brokerIsThere().

#include "child/child.hpp"
#include "sim/bus.hpp"

#include <optional>
#include <string>

namespace kit
{

enum class BusKind
{
    dbusDaemon,
    dbusBroker
};

class GuardedBus
{
  public:
    /** Starts it with the rules in `policyFile`; throws sim::Error when it does not answer in 10 s,
     *  std::system_error when it cannot be run. */
    GuardedBus(BusKind kind, const std::string& policyFile);
    ~GuardedBus();
    GuardedBus(const GuardedBus&) = delete;
    GuardedBus& operator=(const GuardedBus&) = delete;

    const std::string& address() const
    {
        return address_;
    }

    /** A folder that every user may enter. */
    const std::string& folder() const
    {
        return folder_;
    }

  private:
    void start(BusKind kind);
    void waitForAnswer();
    void end();

    sim::PrivateBus activator_; // dbus-broker's launcher asks another bus for activation
    std::string folder_;
    std::string address_;
    std::optional<child::Child> bus_;
};

} // namespace kit
