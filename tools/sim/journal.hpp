#pragma once

// What a simulated service was asked: every method call, and every Properties.Set with its value.
//
// A call is recorded when it arrives, faults or not; a Set also when it has been carried out or
// refused (so not when a fault swallowed it). The waits end as soon as the fact is there.
// Any thread; takes its own lock.

#include "sim/objects.hpp"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace sim
{

using Clock = std::chrono::steady_clock;

struct SetCall
{
    std::string path;
    std::string interface;
    std::string property;
    Value value;

    /** False when the service answered with an error. */
    bool accepted = false;

    /** When it was carried out; its place in the journal is the order. */
    Clock::time_point time;
};

class Journal
{
  public:
    /** All Sets so far, in order. */
    std::vector<SetCall> sets() const;

    /** The Sets on one object so far, in order. */
    std::vector<SetCall> setsOn(const std::string& path) const;

    std::size_t setCount() const;

    /** How many calls of this member (any when empty) came for this path (any when empty). */
    std::size_t calls(const std::string& member = "", const std::string& path = "") const;

    /** Waits until calls(member, path) >= count; false when the time ran out. */
    bool waitForCalls(const std::string& member, const std::string& path, std::size_t count,
                      std::chrono::milliseconds limit) const;

    /** Waits until setCount() >= count; false when the time ran out. */
    bool waitForSets(std::size_t count, std::chrono::milliseconds limit) const;

    /** Waits until `fact` holds, asking again after each record; false when the time ran out.
     *  `fact` runs on the calling thread, without the journal's lock. */
    bool waitUntil(const std::function<bool()>& fact, std::chrono::milliseconds limit) const;

    /** Forgets everything recorded. */
    void clear();

    void recordCall(const std::string& member, const std::string& path);
    void recordSet(SetCall set);

  private:
    struct Call
    {
        std::string member;
        std::string path;
    };

    mutable std::mutex mutex_;
    mutable std::condition_variable recorded_;
    std::vector<Call> calls_;
    std::vector<SetCall> sets_;
    std::size_t generation_ = 0;
};

} // namespace sim
