#pragma once

// A client of a private bus, as a test needs one: it calls methods and collects every signal.
//
// All waits are bounded and end as soon as the fact is there.
// Main thread only.

#include "sim/sdbus.hpp"
#include "sim/value.hpp"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

struct SeenSignal
{
    std::string path;
    std::string interface;
    std::string member;
    std::string signature;
    sim::Json body;
};

/** An answer: its body, or the name of the error. */
struct Answer
{
    std::string error;
    std::string signature;
    sim::Json body;
};

class Watcher
{
  public:
    /** Sees every signal sent after construction. */
    explicit Watcher(const std::string& address);

    /** Calls and waits up to `limit`; a call without reply ends with the time-out's error. */
    Answer call(const std::string& service, const std::string& path, const std::string& interface,
                const std::string& member, const std::string& signature = "",
                const sim::Json& body = sim::Json::array(),
                std::chrono::milliseconds limit = std::chrono::seconds(20));

    /** Properties.Get of a simulated service. */
    Answer get(const std::string& service, const std::string& path, const std::string& interface,
               const std::string& property);

    /** Properties.Set of a value {"type", "data"}. */
    Answer set(const std::string& service, const std::string& path, const std::string& interface,
               const std::string& property, const sim::Value& value);

    /** The body of GetManagedObjects at `path`. */
    Answer managedObjects(const std::string& service, const std::string& path);

    /** Waits for `count` signals of this member since the last forget(); gives what it has seen. */
    std::vector<SeenSignal> waitFor(const std::string& member, std::size_t count,
                                    std::chrono::milliseconds limit = std::chrono::seconds(20));

    void forget();

    /** Who owns a name; empty when nobody does. */
    std::string ownerOf(const std::string& name);

    /** Waits until nobody owns a name: the bus notices in its own time that a program has ended. */
    bool waitUntilFree(const std::string& name,
                       std::chrono::milliseconds limit = std::chrono::seconds(20));

  private:
    static int onSignal(sd_bus_message* message, void* self, sd_bus_error* error);

    sim::Connection bus_;
    std::vector<SeenSignal> seen_;
};
