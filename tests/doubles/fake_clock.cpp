#include "doubles/fake_clock.hpp"

#include <condition_variable>
#include <map>
#include <mutex>
#include <vector>

namespace
{

struct Sleeper
{
    Mutex* mutex;
    SteadyTime deadline;
};

std::mutex mutex;
std::condition_variable changed;
SteadyTime current{std::chrono::hours{1000}};
std::map<ConditionVariable*, Sleeper> sleepers;

/** Takes the sleeper's mutex first, so it sleeps or has left; never between the two. */
void wake(ConditionVariable& condition, Mutex& sleepersMutex)
{
    {
        MutexLock lock(sleepersMutex);
    }
    condition.notifyAll();
}

} // namespace

SteadyTime steadyNow()
{
    const std::lock_guard lock(mutex);
    return current;
}

void waitUntil(ConditionVariable& condition, Mutex& conditionsMutex, SteadyTime deadline)
{
    {
        const std::lock_guard lock(mutex);
        if (current >= deadline)
        {
            return;
        }
        sleepers[&condition] = {&conditionsMutex, deadline};
    }
    changed.notify_all();
    condition.wait(conditionsMutex);
    const std::lock_guard lock(mutex);
    sleepers.erase(&condition);
}

void fake_clock::reset()
{
    const std::lock_guard lock(mutex);
    current = SteadyTime{std::chrono::hours{1000}};
    sleepers.clear();
}

void fake_clock::advance(std::chrono::milliseconds by)
{
    {
        const std::lock_guard lock(mutex);
        current += by;
    }
    wakeAll();
}

void fake_clock::wakeAll()
{
    std::map<ConditionVariable*, Sleeper> asleep;
    {
        const std::lock_guard lock(mutex);
        asleep.swap(sleepers); // whoever sleeps on comes anew, for awaitSleeper to see
    }
    for (const auto& [condition, sleeper] : asleep)
    {
        wake(*condition, *sleeper.mutex);
    }
}

std::optional<std::chrono::milliseconds>
fake_clock::awaitSleeper(const ConditionVariable& condition)
{
    constexpr std::chrono::seconds bound{20};
    auto* key = const_cast<ConditionVariable*>(&condition);
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, bound, [&] { return sleepers.contains(key); }))
    {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(sleepers[key].deadline - current);
}
