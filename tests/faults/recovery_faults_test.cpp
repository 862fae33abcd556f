/*
 * Requests for a resync under numbers and wake-ups that nobody expects. The clock is the test's;
 * with the program that ships, the schedule is in schedule_faults_test.cpp.
 */
#include "doubles/fake_clock.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/run_together.hpp"
#include "faults/counts.hpp"
#include "intake/recovery.hpp"
#include "unit/intake/thread_kit.hpp"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using fake_clock::advance;
using fake_clock::awaitSleeper;

const std::string starting = "Resync starting...";
const std::string completed = "Recovery: resync completed. Entering cool-down...";
const std::string cooledDown = "Recovery: cool-down completed";
const std::string exiting = "Recovery thread exiting.";

// Discovery fails at once, whatever runs on this machine.
[[maybe_unused]] const int noBus = setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);

class RecoveryFaults : public FreshStore
{
  protected:
    RecoveryFaults()
    {
        fake_clock::reset();
    }

    /** Moves time on to the deadline that the thread waits for, in steps that end in a wake-up of
     *  every sleeper: all but the last come too early. */
    void passWithEarlyWakeUps(ConditionVariable& condition, std::chrono::milliseconds whole)
    {
        constexpr int steps = 3;
        std::chrono::milliseconds passed{0};
        for (int step = 1; step <= steps; ++step)
        {
            ASSERT_EQ(awaitSleeper(condition), whole - passed);
            fake_clock::wakeAll();
            ASSERT_EQ(awaitSleeper(condition), whole - passed);
            const auto next = step == steps ? whole : whole * step / steps;
            advance(next - passed);
            passed = next;
        }
    }

    LogWatch log;
};

TEST_F(RecoveryFaults, C11AMillionRequestsAreOneResyncAndRequestsDuringItOneMore)
{
    const int each = faults::rounds(25'000, 250'000);
    const auto requestOften = [each]
    {
        for (int i = 0; i < each; ++i)
        {
            requestRecovery();
        }
    };
    const std::vector<std::function<void()>> fourThreads(4, requestOften);
    StoppableThread thread(startRecovery, stopRecovery);
    const auto begin = std::chrono::steady_clock::now();
    runTogether(fourThreads);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::cout << "[ MEASURED ] " << 4 * each << " requests in " << took.count() << " s\n";
    log.on(starting,
           [&]
           {
               for (int i = 0; i < each; ++i)
               {
                   requestRecovery();
               }
           });
    ASSERT_EQ(awaitSleeper(recoveryCondition), 5s);
    advance(5s);
    ASSERT_TRUE(log.await(completed));
    log.on(starting, nullptr);
    ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    advance(60s);
    ASSERT_TRUE(log.await(cooledDown));
    ASSERT_EQ(awaitSleeper(recoveryCondition), 5s); // what was asked for during the resync
    advance(5s);
    ASSERT_TRUE(log.await(completed, 2));
    ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    advance(60s);
    ASSERT_TRUE(log.await(cooledDown, 2));
    stopRecovery();
    thread.join();

    EXPECT_EQ(recorded_log::count(starting), 2U);
    EXPECT_FALSE(isRecoveryRequested());
}

TEST_F(RecoveryFaults, C11EarlyWakeUpsMoveNoDeadline)
{
    StoppableThread thread(startRecovery, stopRecovery);
    const int resyncs = faults::rounds(5, 500);
    for (int resync = 1; resync <= resyncs && !HasFatalFailure(); ++resync)
    {
        const auto number = static_cast<std::size_t>(resync);
        requestRecovery();
        passWithEarlyWakeUps(recoveryCondition, 5s);
        ASSERT_TRUE(log.await(completed, number));
        passWithEarlyWakeUps(recoveryCondition, 60s);
        ASSERT_TRUE(log.await(cooledDown, number));
    }
    stopRecovery();
    thread.join();
    EXPECT_EQ(recorded_log::count(starting), static_cast<std::size_t>(resyncs));
}

TEST_F(RecoveryFaults, C11EarlyWakeUpsMoveNoFallback)
{
    StoppableThread thread(startDelayedFallbackResync, stopFallback);
    passWithEarlyWakeUps(fallbackCondition, 180s);
    ASSERT_TRUE(log.await("Fallback resync: triggering resync request 1/2."));
    ASSERT_EQ(awaitSleeper(fallbackCondition), 300s); // the request follows its line
    EXPECT_TRUE(takeRecoveryRequest());
    passWithEarlyWakeUps(fallbackCondition, 300s);
    ASSERT_TRUE(log.await("Fallback resync: triggering resync request 2/2."));
    thread.join();
    EXPECT_TRUE(takeRecoveryRequest());
}

/** Where a stop meets the recovery thread. */
enum class State
{
    idle,
    debounce,
    resync,
    coolDown,
};

class RecoveryStop : public RecoveryFaults, public testing::WithParamInterface<State>
{
  protected:
    /** Brings the thread there and has stop and request happen at the same moment. */
    void meet(LogWatch& watch)
    {
        const auto both = [] { runTogether({requestRecovery, stopRecovery}); };
        if (GetParam() == State::idle)
        {
            return both();
        }
        requestRecovery();
        ASSERT_EQ(awaitSleeper(recoveryCondition), 5s);
        if (GetParam() == State::debounce)
        {
            return both();
        }
        if (GetParam() == State::resync)
        {
            watch.on(starting, both);
        }
        advance(5s);
        ASSERT_TRUE(watch.await(completed));
        if (GetParam() == State::coolDown)
        {
            ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
            both();
        }
    }
};

TEST_P(RecoveryStop, C11WinsOverARequest)
{
    const bool resyncs = GetParam() == State::resync || GetParam() == State::coolDown;
    const int repeats = faults::rounds(20, 1000);
    for (int repeat = 0; repeat < repeats && !HasFailure(); ++repeat)
    {
        resetStore();
        fake_clock::reset();
        LogWatch watch;
        StoppableThread thread(startRecovery, stopRecovery);
        meet(watch);
        thread.join();
        EXPECT_EQ(recorded_log::count(exiting), 1U);
        EXPECT_EQ(recorded_log::count(starting), resyncs ? 1U : 0U);
        EXPECT_EQ(recorded_log::count(cooledDown), 0U);
    }
}

std::string nameOfState(const testing::TestParamInfo<State>& state)
{
    const std::array names{"Idle", "Debounce", "Resync", "CoolDown"};
    return names.at(static_cast<std::size_t>(state.param));
}

INSTANTIATE_TEST_SUITE_P(In, RecoveryStop,
                         testing::Values(State::idle, State::debounce, State::resync,
                                         State::coolDown),
                         nameOfState);

} // namespace
