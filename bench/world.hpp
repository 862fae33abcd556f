/*
 * The world that all measured programs see: both services on one private bus, as cheap as sd-bus
 * allows, so that what is measured is the program.
 *
 * Each service has a connection of its own; both are served by the one thread that calls run(). A
 * GetManagedObjects is answered with a message that was filled before: its content is known, and
 * the number of the call that it answers is the same in each start of a program, so it is learnt
 * from the first one. A Set is recorded with its time and acknowledged. Everything throws
 * sim::Error. REQUIRES: the thread that made it.
 */
#pragma once

#include "sim/objects.hpp"
#include "sim/sdbus.hpp"

#include <systemd/sd-event.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace bench
{

using Clock = std::chrono::steady_clock;

/** What there is in the world: slots with two devices and a twin each, processors with three
 *  caches each. Each slot and each processor has its counterpart. */
struct Shape
{
    unsigned slots = 0;
    unsigned cpus = 0;

    /** How many Sets pair all of it; with the slots alone, and with everything. */
    unsigned slotSets() const
    {
        return slots;
    }
    unsigned allSets() const;
};

struct SetCall
{
    std::string path;
    Clock::time_point time;
};

class World
{
  public:
    World(const std::string& address, const Shape& shape);
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    const Shape& shape() const
    {
        return shape_;
    }

    /** Fills the answers for the next start of the program of that name, and forgets all Sets. */
    void prepareFor(const std::string& program);

    /** Whether the last start got answers that were filled before. */
    bool answeredAtOnce() const
    {
        return late_ == 0;
    }

    /** Serves both services until `done`; false when the limit came before. */
    bool run(const std::function<bool()>& done, std::chrono::microseconds limit);

    /** Serves both services for that time. */
    void runFor(std::chrono::microseconds time);

    const std::vector<SetCall>& sets() const
    {
        return sets_;
    }

    /** When the daemon's name got an owner after prepareFor; nothing before it has one. */
    std::optional<Clock::time_point> named() const
    {
        return named_;
    }

    /** An InterfacesAdded of the platform's board, ready to be sent. */
    sim::Message boardSignal(const sim::Object& object);

    /** An InterfacesAdded whose object has so many texts of 64 bytes that nobody keeps. */
    sim::Message hugeSignal(unsigned texts);

    void send(const sim::Message& signal);

    /** The time when it was handed to the bus's socket is taken before the call. */
    Clock::time_point sendNow(const sim::Message& signal);

  private:
    struct Answer
    {
        std::uint64_t cookie;
        sim::Message message;
    };

    static int onCall(sd_bus_message* call, void* world, sd_bus_error* error);
    static int onOwner(sd_bus_message* signal, void* world, sd_bus_error* error);
    static int onTimer(sd_event_source* source, std::uint64_t now, void* world);

    sim::Connection serve(const std::string& address, const char* name);
    void answer(sd_bus_message* call);
    void recordSet(sd_bus_message* call);
    void answerObjects(sd_bus_message* call);
    void fill(sd_bus_message* reply, const std::string& root) const;
    sim::Message prepared(const std::string& root, std::uint64_t cookie);

    struct LoopCloser
    {
        void operator()(sd_event* loop) const
        {
            sd_event_unref(loop);
        }
    };

    Shape shape_;
    sim::Objects smbiosObjects_;
    sim::Objects kovdObjects_;
    std::unique_ptr<sd_event, LoopCloser> loop_;
    sim::Connection smbios_;
    sim::Connection kovd_;

    std::string program_;
    std::map<std::string, std::map<std::string, std::uint64_t>> cookies_; // program, root
    std::map<std::string, Answer> answers_;                               // root
    unsigned late_ = 0;

    std::vector<SetCall> sets_;
    std::optional<Clock::time_point> named_;
};

/** The n-th board object that slot events are about: it fits the last SMBIOS slot of the world, and
 *  one value that is kept differs from event to event, so that no event says nothing new. */
sim::Object slotEvent(const Shape& shape, unsigned number);

/** The same for a device of the first slot: who has paired that slot needs no search. */
sim::Object deviceEvent(unsigned number);

} // namespace bench
