/*
 * The steady clock and the one timed wait on it. A program that is linked with another clock.cpp
 * sees hours pass as it likes; the daemon has no setting for it.
 *
 * Any thread. steadyNow takes no lock and never throws.
 */
#pragma once

#include "base/mutex.hpp"

#include <chrono>

using SteadyTime = std::chrono::steady_clock::time_point;

SteadyTime steadyNow();

/**
 * Waits for a notification or the deadline; may return before either. Releases the mutex while it
 * waits and holds it again when it returns. Throws std::system_error when a primitive fails.
 */
void waitUntil(ConditionVariable& condition, Mutex& mutex, SteadyTime deadline) REQUIRES(mutex);
