#pragma once

// A client of the bus of its own: what anybody can see there.
//
// Every call is answered within 30 s or throws sim::BusError; every wait is bounded.
// REQUIRES: the thread that made it.

#include "sim/objects.hpp"
#include "sim/sdbus.hpp"

#include <chrono>
#include <string>
#include <vector>

namespace rig
{

class Observer
{
  public:
    /** Connects; throws sim::BusError. */
    explicit Observer(const std::string& address);

    /** The unique name of a name's owner; empty when it has none. */
    std::string ownerOf(const std::string& name);

    /** Waits until a name has an owner other than the former one; false when the time ran out. */
    bool waitForOwner(const std::string& name, std::chrono::milliseconds limit,
                      const std::string& formerOwner = "");

    /** Returns when the owner of the name has answered; its event loop then runs. */
    void ping(const std::string& name);

    /** What an object manager lists. */
    sim::Objects managedObjects(const std::string& service, const std::string& path);

    /** The `Associations` of one platform object, by Properties.Get. */
    sim::Associations associationsOf(const std::string& path);

    /** The `Associations` of all platform objects that have any. */
    std::map<std::string, sim::Associations> allAssociations();

  private:
    sim::Connection bus_;
};

} // namespace rig
