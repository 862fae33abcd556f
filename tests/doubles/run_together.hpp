/*
 * For races: all works start at the same moment, each in a thread of its own.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

/** Returns when all have ended. Any thread. */
void runTogether(const std::vector<std::function<void()>>& works);

/**
 * The same for many rounds: the threads are kept from one to the next and wait without sleeping,
 * so even works of a few microseconds meet. The first work is the calling thread's own.
 *
 * One thread at a time.
 */
class Racers
{
  public:
    /** At most so many works a round. */
    explicit Racers(std::size_t works);
    ~Racers();

    Racers(const Racers&) = delete;
    Racers& operator=(const Racers&) = delete;

    /** Returns when all have ended. */
    void run(const std::vector<std::function<void()>>& works);

  private:
    void race(std::size_t number);

    const std::vector<std::function<void()>>* works_ = nullptr; // null: the threads end
    std::atomic<std::size_t> round_ = 0;
    std::atomic<std::size_t> running_ = 0;
    std::vector<std::thread> threads_;
};
