#include "base/clock.hpp"

SteadyTime steadyNow()
{
    return std::chrono::steady_clock::now();
}

void waitUntil(ConditionVariable& condition, Mutex& mutex, SteadyTime deadline)
{
    condition.waitUntil(mutex, deadline);
}
