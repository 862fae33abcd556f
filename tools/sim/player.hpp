#pragma once

// One simulated service on one bus connection, without a thread of its own: it answers calls,
// announces changes, and does wrong what its fault plan says.
//
// While it has no connection the inventory can be changed all the same; nothing is announced then.
// After an answered Set the change is announced first, then the reply is sent.
// REQUIRES: the thread that made the connection (see Service, which gives it one).

#include "sim/answers.hpp"
#include "sim/fault.hpp"
#include "sim/inventory.hpp"
#include "sim/journal.hpp"
#include "sim/sdbus.hpp"

#include <optional>
#include <string>
#include <vector>

namespace sim
{

/** Any signal, well formed or not: `body` holds one JSON value for each type of `signature`. */
struct Signal
{
    std::string path;
    std::string interface;
    std::string member;
    std::string signature;
    Json body = Json::array();
};

class Player
{
  public:
    /** `journal` must outlive the player. */
    Player(Profile profile, Journal& journal);

    /** Connects and takes the service's name; throws BusError, also when the name is taken. */
    void connect(const std::string& address);

    /** Gives the name back and leaves the bus; calls not yet answered never will be. */
    void disconnect();

    bool connected() const
    {
        return bus_ != nullptr;
    }

    const Inventory& inventory() const
    {
        return inventory_;
    }
    FaultPlan& faults()
    {
        return faults_;
    }

    /** Replaces all objects and announces nothing. */
    void load(Objects objects);

    /** Adds interfaces to an object and announces them (InterfacesAdded). */
    void addObject(const std::string& path, Interfaces interfaces);

    /** Changes properties and announces them (PropertiesChanged). */
    void changeProperties(const std::string& path, const std::string& interface,
                          const Properties& properties);

    /** Removes interfaces, all when none is named, and announces it (InterfacesRemoved). */
    void removeObject(const std::string& path, const std::vector<std::string>& interfaces = {});

    /** Sends a signal; the inventory is not touched. Needs a connection. */
    void emitSignal(const Signal& signal);

    /** Handles what has arrived and is due, up to a bound; wakeTime() is in the past when there is
     *  more. A lost bus ends in disconnect(). */
    void process();

    /** What to poll for between two calls of process(); -1 without a connection. */
    int descriptor() const;
    short pollEvents() const;
    /** When process() has to be called at the latest; nothing when only events matter. */
    std::optional<Clock::time_point> wakeTime() const;

  private:
    struct LateCall
    {
        Clock::time_point due;
        Message request;
    };

    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);
    void receive(sd_bus_message* request);
    void perform(sd_bus_message* request);
    void spoil(sd_bus_message* request, const Fault& fault);
    void reply(sd_bus_message* request);
    void set(sd_bus_message* request);
    void performLateCalls();
    void send(sd_bus_message* message);
    Message makeSignal(const std::string& path, const std::string& interface,
                       const std::string& member);
    void announceChange(const std::string& path, const std::string& interface,
                        const Properties& properties);

    Inventory inventory_;
    FaultPlan faults_;
    Journal& journal_;
    Connection bus_;
    std::vector<LateCall> lateCalls_;
};

} // namespace sim
