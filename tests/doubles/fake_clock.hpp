/*
 * The clock as a test sees it: stands in for intake/clock.cpp. Time stays as it is until the test
 * moves it; a thread that waits for a deadline wakes up when the test has moved time, or when
 * notified.
 *
 * Any thread; takes its own lock.
 */
#pragma once

#include "base/clock.hpp"

#include <chrono>
#include <optional>

namespace fake_clock
{

void reset(); // time starts anew; nobody may be waiting

/**
 * Moves time on and wakes every sleeper, also those whose deadline has not come. From then on they
 * count as awake until they wait again.
 */
void advance(std::chrono::milliseconds by);

/** Wakes every sleeper without moving time: a spurious wake-up. */
void wakeAll();

/**
 * Waits, in real time but not for long, until somebody sleeps on this condition. How much later
 * than now the deadline is; nothing when nobody came.
 */
std::optional<std::chrono::milliseconds> awaitSleeper(const ConditionVariable& condition);

} // namespace fake_clock
