/*
 * The steady clock and the one timed wait on it. A program that is linked with another clock.cpp
 * sees hours pass as it likes; the daemon has no knob for it.
 *
 * Any thread; takes its own lock.
 */
#pragma once

#include "base/mutex.hpp"

#include <chrono>

using SteadyTime = std::chrono::steady_clock::time_point;

SteadyTime steadyNow();

/** Waits for a notification or the deadline; may return before either. */
void waitUntil(ConditionVariable& condition, Mutex& mutex, SteadyTime deadline) REQUIRES(mutex);
