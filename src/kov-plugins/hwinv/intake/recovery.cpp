/*
 * Recovery: why a resync waits, and what a request is worth.
 *
 * A request sets one flag; nobody counts requests. The recovery thread sees the flag, waits 5 s
 * for the burst behind it to end (a service that restarts fails many reads at once), clears the
 * flag and redoes everything: discovery, then both full passes. A request that comes before the
 * flag is cleared is served by this resync. One that comes later may concern something that the
 * running resync has read already, so it sets the flag again and costs one more resync, after the
 * cool-down. The cool-down of 60 s spares the two services, which answer each resync with their
 * whole inventory; requests do not shorten it. So a resync starts 65 s after the end of the one
 * before at the earliest.
 *
 * Every deadline is computed once, on the steady clock, so neither a notification, nor a spurious
 * wake-up, nor a change of the wall clock moves it. The stop flag ends each wait at once; during a
 * resync it is not looked at, so a stop then takes effect at the cool-down. Stop beats request.
 *
 * A resync that fails is logged and is not repeated by itself: the cool-down follows as usual, and
 * the next request or fallback brings the next try.
 *
 * The fallback thread serves the case that nothing failed and nothing was signalled: a service
 * that came up late, or a change between discovery and subscription. It only requests; debounce
 * and cool-down stay with the recovery thread.
 */
#include "intake/recovery.hpp"

#include "base/clock.hpp"
#include "base/failure.hpp"
#include "base/recovery_request.hpp"
#include "bus/idle_heap.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "intake/discovery.hpp"

#include <chrono>

namespace
{

// A burst of requests settles within the debounce; the cool-down spares both services.
constexpr std::chrono::seconds recoveryDebounce{5};
constexpr std::chrono::seconds recoveryCoolDown{60};

// Either service may come up minutes after the daemon: two late looks, whatever happens.
constexpr std::chrono::seconds fallbackInitialWait{180};
constexpr std::chrono::seconds fallbackRetryWait{300};

/** False when the stop flag ended the wait. */
bool sleepUnlessStopped(ConditionVariable& condition, Mutex& mutex, const bool& stop,
                        std::chrono::seconds duration) REQUIRES(mutex)
{
    const SteadyTime deadline = steadyNow() + duration;
    while (!stop && steadyNow() < deadline)
    {
        waitUntil(condition, mutex, deadline);
    }
    return !stop;
}

/** Waits for a request and for its burst to end; false when recovery is to stop. */
bool awaitRequest() EXCLUDES(recoveryMutex)
{
    MutexLock lock(recoveryMutex);
    while (!recoveryRequested && !recoveryStop)
    {
        recoveryCondition.wait(recoveryMutex);
    }
    if (!sleepUnlessStopped(recoveryCondition, recoveryMutex, recoveryStop, recoveryDebounce))
    {
        return false;
    }
    recoveryRequested = false;
    return true;
}

/** Redoes everything, in the name of the recovery thread. */
void resync(const Site& site)
try
{
    LOG_AT(site, level::warning, "Resync starting...");
    GetAllManagedObjects();
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    CPUAssociation();
    LOG_AT(site, level::warning, "Recovery: resync completed. Entering cool-down...");
}
catch (...)
{
    logFailure(site, {.standard = "Recovery failed (std::exception): %s",
                      .other = "Recovery failed (unknown exception).",
                      .busError = "Recovery failed (SdBusError): %s"});
}

/** False when recovery is to stop. */
bool coolDown(const Site& site) EXCLUDES(recoveryMutex)
{
    {
        MutexLock lock(recoveryMutex);
        if (!sleepUnlessStopped(recoveryCondition, recoveryMutex, recoveryStop, recoveryCoolDown))
        {
            return false;
        }
    }
    // Not with the mutex held: a thread that requests recovery must not wait for the log's reader.
    LOG_AT(site, level::warning, "Recovery: cool-down completed");
    return true;
}

/** False when the fallback is to stop. */
bool fallbackWait(std::chrono::seconds duration) EXCLUDES(fallbackMutex)
{
    MutexLock lock(fallbackMutex);
    return sleepUnlessStopped(fallbackCondition, fallbackMutex, fallbackStop, duration);
}

} // namespace

void startRecovery()
{
    while (awaitRequest())
    {
        resync(UTIL_SITE);
        noteHeapUse(); // two whole inventories have passed through the heap
        if (!coolDown(UTIL_SITE))
        {
            break;
        }
    }
    UTIL_LOG(level::warning, "Recovery thread exiting.");
}

void startDelayedFallbackResync()
{
    constexpr int triggers = 2;
    if (!fallbackWait(fallbackInitialWait))
    {
        UTIL_LOG(level::warning, "Fallback resync thread exiting during initial wait.");
        return;
    }
    for (int trigger = 1; trigger <= triggers; ++trigger)
    {
        if (trigger > 1 && !fallbackWait(fallbackRetryWait))
        {
            UTIL_LOG(level::warning, "Fallback resync thread exiting during retry wait.");
            return;
        }
        UTIL_LOG(level::warning, "Fallback resync: triggering resync request %d/%d.", trigger,
                 triggers);
        requestRecovery();
    }
    UTIL_LOG(level::warning, "Fallback resync thread completed all %d resync triggers.", triggers);
}
