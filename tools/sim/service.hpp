#pragma once

// A simulated service with a thread of its own: the class that tests, tools and benches use.
//
//     sim::PrivateBus bus;
//     sim::Service kovd(bus.address(), sim::kovdProfile());
//     kovd.load(sim::readInventory(folder).kovd);
//     kovd.start();
//     ...
//     kovd.addObject(path, {{sim::names::kovdSlot, properties}});
//     EXPECT_TRUE(kovd.waitForAssociations(path, {{"chassis", "pcieslot", slot}}, 5s));
//
// Each operation runs on the service's thread, in the order of the calls, and returns when it is
// done: a signal has then been handed to the bus before any later one. What an operation throws
// there is thrown here (ValueError, BusError, Error); one that does not get its turn within 30 s
// throws Timeout. Operations never call into one another from inside perform().
// Any thread; takes its own lock.

#include "sim/player.hpp"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim
{

class Service
{
  public:
    /** Starts the thread, not the service: nothing is on the bus before start(). */
    Service(std::string address, Profile profile);

    /** Stops the service and its thread. */
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /** Connects and takes the name; when it returns, the name is owned. Does nothing if running. */
    void start();

    /** Leaves the bus; when it returns, the name is free. The objects stay, and start() serves them
     *  again. */
    void stop();

    /** False also after the bus was lost. */
    bool running();

    /** Replaces all objects; announces nothing. */
    void load(Objects objects);

    /** Adds interfaces to an object (new or not) and emits InterfacesAdded from its manager. */
    void addObject(const std::string& path, const Interfaces& interfaces);

    /** Changes properties and emits PropertiesChanged from the object. */
    void changeProperties(const std::string& path, const std::string& interface,
                          const Properties& properties);

    /** Removes interfaces, all when none is named, and emits InterfacesRemoved. */
    void removeObject(const std::string& path, const std::vector<std::string>& interfaces = {});

    /** Emits any signal; the objects stay as they are. */
    void emitSignal(const Signal& signal);

    /** Runs several operations in one go on the service's thread: for storms, and for changes that
     *  nobody may see half done. */
    void perform(const std::function<void(Player&)>& work);

    Objects objects();
    std::optional<Value> property(const std::string& path, const std::string& interface,
                                  const std::string& name);

    /** The `Associations` of an object; empty also when the object is not there. */
    Associations associationsOf(const std::string& path);

    /** Waits until the `Associations` of an object are these; false when the time ran out. */
    bool waitForAssociations(const std::string& path, const Associations& expected,
                             std::chrono::milliseconds limit);

    void addFault(const Fault& fault);
    void clearFaults();

    const Profile& profile() const;
    Journal& journal();

  private:
    class Runner;
    std::unique_ptr<Runner> runner_;
};

} // namespace sim
