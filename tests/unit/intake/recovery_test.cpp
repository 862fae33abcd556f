#include "doubles/fake_clock.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "intake/recovery.hpp"
#include "store/store.hpp"
#include "thread_kit.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using fake_clock::advance;
using fake_clock::awaitSleeper;
using std::string;
using Lines = std::vector<string>;

const string starting = "Resync starting...";
const string completed = "Recovery: resync completed. Entering cool-down...";
const string cooledDown = "Recovery: cool-down completed";
const string exiting = "Recovery thread exiting.";

const string firstTrigger = "Fallback resync: triggering resync request 1/2.";
const string secondTrigger = "Fallback resync: triggering resync request 2/2.";
const string allTriggered = "Fallback resync thread completed all 2 resync triggers.";
const string exitingEarly = "Fallback resync thread exiting during initial wait.";
const string exitingLate = "Fallback resync thread exiting during retry wait.";

// Discovery fails at once, whatever runs on this machine.
[[maybe_unused]] const int noBus = setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);

Lines linesOf(const string& function)
{
    Lines lines;
    for (const LogLine& line : recorded_log::lines())
    {
        if (line.function == function)
        {
            lines.push_back(std::to_string(line.level) + " " + line.text);
        }
    }
    return lines;
}

Lines recoveryLines()
{
    return linesOf("startRecovery");
}

Lines fallbackLines()
{
    return linesOf("startDelayedFallbackResync");
}

/** Who logged, in order, each once in a row. */
Lines speakers()
{
    Lines functions;
    for (const LogLine& line : recorded_log::lines())
    {
        functions.push_back(line.function);
    }
    functions.erase(std::unique(functions.begin(), functions.end()), functions.end());
    return functions;
}

struct FreshClock
{
    FreshClock()
    {
        fake_clock::reset();
    }
};

/** A recovery thread under a clock that stands still. */
struct Recovery
{
    FreshClock clock;
    LogWatch log;
    StoppableThread thread{startRecovery, stopRecovery};

    static void expectDebounce()
    {
        ASSERT_EQ(awaitSleeper(recoveryCondition), 5s);
    }

    /** From the start of the debounce into the cool-down. */
    void resync(std::size_t number = 1)
    {
        expectDebounce();
        advance(5s);
        ASSERT_TRUE(log.await(completed, number));
        ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    }

    void end()
    {
        stopRecovery();
        thread.join();
    }
};

struct Fallback
{
    FreshClock clock;
    LogWatch log;
    StoppableThread thread{startDelayedFallbackResync, stopFallback};

    static void expectWait(std::chrono::milliseconds rest)
    {
        ASSERT_EQ(awaitSleeper(fallbackCondition), rest);
    }
};

// startRecovery

TEST(startRecovery, exitsWhenToldToWhileIdle)
{
    Recovery recovery;
    recovery.end();
    EXPECT_EQ(recorded_log::summary(), Lines{"4 startRecovery: " + exiting});
}

TEST(startRecovery, letsStopBeatARequest)
{
    requestRecovery();
    stopRecovery();
    Recovery recovery;
    recovery.thread.join();
    EXPECT_EQ(recorded_log::summary(), Lines{"4 startRecovery: " + exiting});
}

TEST(startRecovery, resyncsFiveSecondsAfterARequest)
{
    Recovery recovery;
    requestRecovery();
    Recovery::expectDebounce();
    advance(4999ms);
    EXPECT_EQ(awaitSleeper(recoveryCondition), 1ms);
    EXPECT_FALSE(recorded_log::contains(starting));
    EXPECT_TRUE(isRecoveryRequested());
    advance(1ms);
    EXPECT_TRUE(recovery.log.await(completed));
}

TEST(startRecovery, servesARequestMadeBeforeItRan)
{
    requestRecovery();
    Recovery recovery;
    recovery.resync();
    recovery.end();
    EXPECT_EQ(recoveryLines(), (Lines{"4 " + starting, "4 " + completed, "4 " + exiting}));
}

TEST(startRecovery, takesTheRequestBackBeforeTheResync)
{
    Recovery recovery;
    bool requested = true;
    recovery.log.on(starting, [&] { requested = isRecoveryRequested(); });
    requestRecovery();
    recovery.resync();
    EXPECT_FALSE(requested);
    EXPECT_FALSE(isRecoveryRequested());
}

TEST(startRecovery, makesOneResyncOfTenRequestsInASecond)
{
    Recovery recovery;
    requestRecovery();
    Recovery::expectDebounce();
    for (int request = 2; request <= 10; ++request)
    {
        advance(100ms);
        requestRecovery();
    }
    // The deadline is that of the first.
    EXPECT_EQ(awaitSleeper(recoveryCondition), 4100ms);
    advance(4100ms);
    ASSERT_TRUE(recovery.log.await(completed));
    ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    EXPECT_FALSE(isRecoveryRequested());
    advance(60s);
    ASSERT_TRUE(recovery.log.await(cooledDown));
    recovery.end();
    EXPECT_EQ(recoveryLines(),
              (Lines{"4 " + starting, "4 " + completed, "4 " + cooledDown, "4 " + exiting}));
}

TEST(startRecovery, makesOneMoreResyncOfRequestsDuringAResync)
{
    Recovery recovery;
    recovery.log.on(starting,
                    []
                    {
                        if (recorded_log::count(starting) == 1)
                        {
                            requestRecovery();
                            requestRecovery();
                        }
                    });
    requestRecovery();
    recovery.resync();
    EXPECT_TRUE(isRecoveryRequested());
    advance(60s);
    ASSERT_TRUE(recovery.log.await(cooledDown));
    Recovery::expectDebounce(); // nobody has asked since
    advance(4999ms);
    ASSERT_EQ(awaitSleeper(recoveryCondition), 1ms);
    EXPECT_EQ(recorded_log::count(starting), 1U);
    advance(1ms); // 65 s after the end of the first
    ASSERT_TRUE(recovery.log.await(completed, 2));
    ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    EXPECT_FALSE(isRecoveryRequested());
    advance(60s);
    ASSERT_TRUE(recovery.log.await(cooledDown, 2));
    recovery.end();
    EXPECT_EQ(recorded_log::count(starting), 2U);
}

TEST(startRecovery, doesNotShortenTheCoolDownForARequest)
{
    Recovery recovery;
    requestRecovery();
    recovery.resync();
    advance(20s);
    requestRecovery();
    ASSERT_EQ(awaitSleeper(recoveryCondition), 40s);
    advance(39999ms);
    requestRecovery();
    ASSERT_EQ(awaitSleeper(recoveryCondition), 1ms);
    EXPECT_FALSE(recorded_log::contains(cooledDown));
    advance(1ms);
    ASSERT_TRUE(recovery.log.await(cooledDown));
    recovery.resync(2);
}

TEST(startRecovery, waitsForTheSameDeadlineAfterASpuriousWakeUp)
{
    Recovery recovery;
    requestRecovery();
    Recovery::expectDebounce();
    advance(2s);
    fake_clock::wakeAll();
    ASSERT_EQ(awaitSleeper(recoveryCondition), 3s);
    fake_clock::wakeAll();
    ASSERT_EQ(awaitSleeper(recoveryCondition), 3s);
    EXPECT_FALSE(recorded_log::contains(starting));
    advance(3s);
    ASSERT_TRUE(recovery.log.await(completed));

    ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    advance(10s);
    ASSERT_EQ(awaitSleeper(recoveryCondition), 50s);
    fake_clock::wakeAll();
    ASSERT_EQ(awaitSleeper(recoveryCondition), 50s);
    EXPECT_FALSE(recorded_log::contains(cooledDown));
    advance(50s);
    EXPECT_TRUE(recovery.log.await(cooledDown));
}

TEST(startRecovery, exitsDuringTheDebounce)
{
    Recovery recovery;
    requestRecovery();
    Recovery::expectDebounce();
    advance(1s);
    recovery.end();
    EXPECT_EQ(recorded_log::summary(), Lines{"4 startRecovery: " + exiting});
}

TEST(startRecovery, letsStopBeatTheEndOfTheDebounce)
{
    Recovery recovery;
    requestRecovery();
    Recovery::expectDebounce();
    {
        MutexLock lock(recoveryMutex);
        recoveryStop = true;
    }
    advance(5s); // wakes it, with both at once
    recovery.thread.join();
    EXPECT_EQ(recorded_log::summary(), Lines{"4 startRecovery: " + exiting});
}

TEST(startRecovery, exitsBehindAResyncDuringWhichItWasStopped)
{
    Recovery recovery;
    recovery.log.on(starting,
                    []
                    {
                        requestRecovery();
                        stopRecovery();
                    });
    requestRecovery();
    Recovery::expectDebounce();
    advance(5s);
    recovery.thread.join(); // without any cool-down
    EXPECT_EQ(recoveryLines(), (Lines{"4 " + starting, "4 " + completed, "4 " + exiting}));
}

TEST(startRecovery, exitsDuringTheCoolDown)
{
    Recovery recovery;
    requestRecovery();
    recovery.resync();
    advance(30s);
    requestRecovery();
    recovery.end();
    EXPECT_EQ(recoveryLines(), (Lines{"4 " + starting, "4 " + completed, "4 " + exiting}));
}

TEST(startRecovery, discoversThenRunsBothPasses)
{
    smbiosCPUObjs.insertObject("/smbios/cpu1", sample::smbiosCpu("CPU1"));
    kovdCPUObjs.insertObject("/kovd/cpu1", sample::kovdCpu("A.B.1", 1));
    smbiosPCIeSlotObjs.insertObject("/smbios/slot1", sample::smbiosSlot("PCIe SLOT 1", 1));
    kovdPCIeSlotObjs.insertObject("/kovd/slot1", sample::kovdSlot("NIC.Slot.1", 1));
    Recovery recovery;
    requestRecovery();
    recovery.resync();
    recovery.end();

    const auto requests = recorded_requests::all();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0],
              (AssociationRequest{"/kovd/slot1", {{"chassis", "pcieslot", "/smbios/slot1"}}}));
    EXPECT_EQ(requests[1],
              (AssociationRequest{"/kovd/cpu1", {{"chassis", "processor", "/smbios/cpu1"}}}));
    const Lines all = speakers();
    const Lines start(all.begin(), all.begin() + 3);
    EXPECT_EQ(start, (Lines{"startRecovery", "GetAllManagedObjects", "IterateKOVDPCIeSlotObjs"}));
    EXPECT_EQ(recorded_log::lines()[1].text.find("exception: "), 0U);
}

TEST(startRecovery, runsBothPassesOverAnEmptyStore)
{
    Recovery recovery;
    requestRecovery();
    recovery.resync();
    recovery.end();
    EXPECT_EQ(speakers(), (Lines{"startRecovery", "GetAllManagedObjects",
                                 "AssociateSMBIOSPCIESlotsObjToKOVDObjs", "startRecovery"}));
}

struct Failure
{
    std::function<void()> throwNow;
    string text;
};

std::vector<Failure> failures()
{
    const auto busError = [] { return sdbusplus::exception::SdBusError(ENOTCONN, "sd_bus_call"); };
    return {
        {[=] { throw busError(); }, "Recovery failed (SdBusError): " + string{busError().what()}},
        {[] { throw std::runtime_error("out of luck"); },
         "Recovery failed (std::exception): out of luck"},
        {[] { throw 7; }, "Recovery failed (unknown exception)."},
    };
}

TEST(startRecovery, coolsDownAfterAFailureToo)
{
    Recovery recovery;
    Lines expected;
    std::size_t number = 0;
    for (const Failure& failure : failures())
    {
        ++number;
        recovery.log.on(starting, failure.throwNow);
        requestRecovery();
        Recovery::expectDebounce();
        advance(5s);
        ASSERT_TRUE(recovery.log.await(failure.text));
        ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
        advance(60s);
        ASSERT_TRUE(recovery.log.await(cooledDown, number));
        for (const string& line : {"4 " + starting, "1 " + failure.text, "4 " + cooledDown})
        {
            expected.push_back(line);
        }
    }
    recovery.end();
    expected.push_back("4 " + exiting);
    // The rest of the resync was skipped each time.
    EXPECT_EQ(speakers(), Lines{"startRecovery"});
    EXPECT_EQ(recoveryLines(), expected);
}

TEST(startRecovery, skipsTheProcessorsWhenThePciePassFails)
{
    smbiosCPUObjs.insertObject("/smbios/cpu1", sample::smbiosCpu("CPU1"));
    Recovery recovery;
    // Both the pass and its own report of the failure throw.
    recovery.log.on("No SMBIOS objects found in the map", [] { throw std::runtime_error("one"); });
    recovery.log.on("Exception in AssociateSMBIOSPCIESlotsToKOVDPCIESlots: one",
                    [] { throw std::runtime_error("two"); });
    requestRecovery();
    Recovery::expectDebounce();
    advance(5s);
    ASSERT_TRUE(recovery.log.await("Recovery failed (std::exception): two"));
    ASSERT_EQ(awaitSleeper(recoveryCondition), 60s);
    recovery.end();
    EXPECT_EQ(speakers(), (Lines{"startRecovery", "GetAllManagedObjects",
                                 "AssociateSMBIOSPCIESlotsObjToKOVDObjs", "startRecovery"}));
}

// startDelayedFallbackResync

TEST(startDelayedFallbackResync, requestsTwice)
{
    Fallback fallback;
    Fallback::expectWait(180s);
    advance(179999ms);
    Fallback::expectWait(1ms);
    EXPECT_FALSE(isRecoveryRequested());
    EXPECT_EQ(recorded_log::summary(), Lines{});

    advance(1ms);
    Fallback::expectWait(300s);
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_EQ(fallbackLines(), Lines{"4 " + firstTrigger});
    advance(299999ms);
    Fallback::expectWait(1ms);
    EXPECT_FALSE(isRecoveryRequested());

    advance(1ms);
    fallback.thread.join();
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_EQ(recorded_log::summary(), (Lines{"4 startDelayedFallbackResync: " + firstTrigger,
                                              "4 startDelayedFallbackResync: " + secondTrigger,
                                              "4 startDelayedFallbackResync: " + allTriggered}));
}

TEST(startDelayedFallbackResync, logsATriggerBeforeItRequests)
{
    Fallback fallback;
    bool early = false;
    fallback.log.on(firstTrigger, [&] { early = isRecoveryRequested(); });
    Fallback::expectWait(180s);
    advance(180s);
    Fallback::expectWait(300s);
    EXPECT_FALSE(early);
    EXPECT_TRUE(isRecoveryRequested());
}

TEST(startDelayedFallbackResync, exitsAtOnceWhenStoppedBefore)
{
    stopFallback();
    Fallback fallback;
    fallback.thread.join();
    EXPECT_EQ(fallbackLines(), Lines{"4 " + exitingEarly});
    EXPECT_FALSE(isRecoveryRequested());
}

TEST(startDelayedFallbackResync, exitsDuringTheInitialWait)
{
    Fallback fallback;
    Fallback::expectWait(180s);
    advance(100s);
    Fallback::expectWait(80s);
    stopFallback();
    fallback.thread.join();
    EXPECT_EQ(fallbackLines(), Lines{"4 " + exitingEarly});
    EXPECT_FALSE(isRecoveryRequested());
}

TEST(startDelayedFallbackResync, letsStopBeatTheEndOfAWait)
{
    Fallback fallback;
    Fallback::expectWait(180s);
    {
        MutexLock lock(fallbackMutex);
        fallbackStop = true;
    }
    advance(180s); // wakes it, with both at once
    fallback.thread.join();
    EXPECT_EQ(fallbackLines(), Lines{"4 " + exitingEarly});
    EXPECT_FALSE(isRecoveryRequested());
}

TEST(startDelayedFallbackResync, exitsDuringTheRetryWait)
{
    Fallback fallback;
    Fallback::expectWait(180s);
    advance(180s);
    Fallback::expectWait(300s);
    EXPECT_TRUE(takeRecoveryRequest());
    advance(299s);
    Fallback::expectWait(1s);
    stopFallback();
    fallback.thread.join();
    EXPECT_EQ(fallbackLines(), (Lines{"4 " + firstTrigger, "4 " + exitingLate}));
    EXPECT_FALSE(isRecoveryRequested());
}

TEST(startDelayedFallbackResync, exitsWithoutRetryWaitWhenStoppedAtTheFirstTrigger)
{
    Fallback fallback;
    fallback.log.on(firstTrigger, stopFallback);
    Fallback::expectWait(180s);
    advance(180s);
    fallback.thread.join();
    EXPECT_EQ(fallbackLines(), (Lines{"4 " + firstTrigger, "4 " + exitingLate}));
    EXPECT_TRUE(isRecoveryRequested());
}

TEST(startDelayedFallbackResync, completesWhenStoppedAtTheSecondTrigger)
{
    Fallback fallback;
    fallback.log.on(secondTrigger, stopFallback);
    Fallback::expectWait(180s);
    advance(180s);
    Fallback::expectWait(300s);
    advance(300s);
    fallback.thread.join();
    EXPECT_EQ(fallbackLines(),
              (Lines{"4 " + firstTrigger, "4 " + secondTrigger, "4 " + allTriggered}));
}

TEST(startDelayedFallbackResync, waitsForTheSameDeadlineAfterASpuriousWakeUp)
{
    Fallback fallback;
    Fallback::expectWait(180s);
    fake_clock::wakeAll();
    Fallback::expectWait(180s);
    advance(100s);
    fake_clock::wakeAll();
    Fallback::expectWait(80s);
    EXPECT_EQ(fallbackLines(), Lines{});
    advance(80s);
    Fallback::expectWait(300s);
    advance(120s);
    fake_clock::wakeAll();
    Fallback::expectWait(180s);
    EXPECT_EQ(fallbackLines(), Lines{"4 " + firstTrigger});
    advance(180s);
    fallback.thread.join();
}

TEST(startDelayedFallbackResync, hasTheRecoveryThreadResyncAt185And485Seconds)
{
    Recovery recovery;
    StoppableThread fallback{startDelayedFallbackResync, stopFallback};
    Fallback::expectWait(180s);
    advance(180s);
    Fallback::expectWait(300s);
    recovery.resync(); // at 185 s
    Fallback::expectWait(295s);
    advance(60s);
    ASSERT_TRUE(recovery.log.await(cooledDown));
    Fallback::expectWait(235s);
    EXPECT_FALSE(isRecoveryRequested());
    advance(235s);
    fallback.join();
    recovery.resync(2); // at 485 s
    recovery.end();
    EXPECT_EQ(recoveryLines(), (Lines{"4 " + starting, "4 " + completed, "4 " + cooledDown,
                                      "4 " + starting, "4 " + completed, "4 " + exiting}));
}

} // namespace
