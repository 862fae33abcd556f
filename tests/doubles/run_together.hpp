/*
 * For races: all works start at the same moment, each in a thread of its own.
 */
#pragma once

#include "base/mutex.hpp"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/** Returns when all have ended. Any thread. */
void runTogether(const std::vector<std::function<void()>>& works);

/**
 * Runs `work` in a thread of its own, and `meanwhile` once that thread sleeps, which it does when
 * it waits for the mutex, or, seldom, for something else. False when it did not sleep.
 */
bool runInto(Mutex& mutex, const std::function<void()>& work,
             const std::function<void()>& meanwhile);

/**
 * The same for many rounds: the threads are kept from one to the next, and a work begins only when
 * all threads are awake, so even works of a few microseconds meet. The first work is the calling
 * thread's own.
 *
 * One thread at a time.
 */
class Racers
{
  public:
    /** So many works a round. */
    explicit Racers(std::size_t works);
    ~Racers();

    Racers(const Racers&) = delete;
    Racers& operator=(const Racers&) = delete;

    /** Returns when all have ended. */
    void run(const std::vector<std::function<void()>>& works);

  private:
    void race(std::size_t number);
    void meet();

    const std::size_t works_;
    const std::vector<std::function<void()>>* round_ = nullptr; // null: the threads end
    std::atomic<std::size_t> arrived_ = 0;                      // at the meeting that is next
    std::atomic<std::size_t> meetings_ = 0;
    std::mutex mutex_;
    std::condition_variable met_;
    std::vector<std::thread> threads_;
};
