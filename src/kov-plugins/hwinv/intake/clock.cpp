#include "intake/clock.hpp"

Deadline steadyNow()
{
    return std::chrono::steady_clock::now();
}

void waitUntil(ConditionVariable& condition, Mutex& mutex, Deadline deadline)
{
    condition.waitUntil(mutex, deadline);
}
