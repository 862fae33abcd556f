/* What SIGINT releases, in which order, and what it leaves alone. */
#include "base/recovery_request.hpp"
#include "base/sigint_block.hpp"
#include "doubles/fake_clock.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/records.hpp"
#include "doubles/util_lines.hpp"
#include "frame/shutdown.hpp"
#include "intake/recovery.hpp"
#include "intake/workers.hpp"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

constexpr std::chrono::seconds bound{20};

const Lines cleanUpLines{
    "1 cleanUp: cleaning up kovd queue",
    "1 cleanUp: cleaning up smbios queue",
    "1 cleanUp: cleaning up recovery thread",
    "1 cleanUp: cleaning up fallback resync thread",
};

/** The stop flags that are set, each read under its mutex. */
std::set<std::string> stopped()
{
    std::set<std::string> result;
    if (isStopped(kovdMessageQueue))
    {
        result.insert("kovd queue");
    }
    if (isStopped(smbiosMessageQueue))
    {
        result.insert("smbios queue");
    }
    if (MutexLock lock(recoveryMutex); recoveryStop)
    {
        result.insert("recovery");
    }
    if (MutexLock lock(fallbackMutex); fallbackStop)
    {
        result.insert("fallback");
    }
    return result;
}

const std::set<std::string> all{"kovd queue", "smbios queue", "recovery", "fallback"};

bool returns(std::future<void>& thread)
{
    return thread.wait_for(bound) == std::future_status::ready;
}

template <class Body>
std::future<void> start(Body body)
{
    return std::async(std::launch::async, body);
}

class cleanUp : public FreshStore
{
  protected:
    cleanUp()
    {
        fake_clock::reset();
    }
};

TEST_F(cleanUp, logsFourLinesInOrder)
{
    ::cleanUp();
    EXPECT_EQ(utilLines(), cleanUpLines);
}

TEST_F(cleanUp, setsEachFlagBeforeItsLineAndNoneEarly)
{
    std::vector<std::set<std::string>> flags;
    // Takes each mutex: none is held while a line is logged.
    recorded_log::setHook([&](const LogLine&) { flags.push_back(stopped()); });
    ::cleanUp();
    EXPECT_EQ(flags, (std::vector<std::set<std::string>>{
                         {"kovd queue"},
                         {"kovd queue", "smbios queue"},
                         {"kovd queue", "smbios queue", "recovery"},
                         all,
                     }));
}

TEST_F(cleanUp, leavesRecordsAndRequestsWhereTheyAre)
{
    pushRecord(kovdMessageQueue, removedRecord("/kovd", {}));
    pushRecord(smbiosMessageQueue, removedRecord("/smbios", {}));
    requestRecovery();
    ::cleanUp();
    EXPECT_EQ(takeRecords(kovdMessageQueue).size(), 1U);
    EXPECT_EQ(takeRecords(smbiosMessageQueue).size(), 1U);
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_F(cleanUp, isHarmlessASecondTime)
{
    ::cleanUp();
    ::cleanUp();
    Lines twice = cleanUpLines;
    twice.insert(twice.end(), cleanUpLines.begin(), cleanUpLines.end());
    EXPECT_EQ(utilLines(), twice);
    EXPECT_EQ(stopped(), all);
}

TEST_F(cleanUp, beforeAnyThreadRunsLetsEachReturnAtOnce)
{
    ::cleanUp();
    recorded_log::clear();
    pushRecord(kovdMessageQueue, removedRecord("/kovd", {}));
    pushRecord(smbiosMessageQueue, removedRecord("/smbios", {}));
    requestRecovery();
    processKovdMessagesInQueue();
    processSmbiosMessagesInQueue();
    startRecovery();
    startDelayedFallbackResync();
    EXPECT_EQ(utilLines(),
              (Lines{"4 startRecovery: Recovery thread exiting.",
                     "4 startDelayedFallbackResync: Fallback resync thread exiting during initial "
                     "wait."}));
}

/** Waits until the worker has gone back to its queue: it has taken the record. */
void awaitIdle(MessageQueue& queue)
{
    const auto deadline = std::chrono::steady_clock::now() + bound;
    pushRecord(queue, removedRecord("/elsewhere", {}));
    while (std::chrono::steady_clock::now() < deadline)
    {
        {
            MutexLock lock(queue.mutex);
            if (queue.records.empty())
            {
                return;
            }
        }
        std::this_thread::yield();
    }
    ADD_FAILURE() << "nobody takes the record";
}

TEST_F(cleanUp, releasesBothWorkers)
{
    auto kovd = start(processKovdMessagesInQueue);
    auto smbios = start(processSmbiosMessagesInQueue);
    awaitIdle(kovdMessageQueue);
    awaitIdle(smbiosMessageQueue);
    ::cleanUp();
    EXPECT_TRUE(returns(kovd));
    EXPECT_TRUE(returns(smbios));
}

TEST_F(cleanUp, wakesEveryWaiterOfAQueue)
{
    std::vector<std::future<void>> workers;
    for (int i = 0; i < 3; ++i)
    {
        workers.push_back(start(processKovdMessagesInQueue));
        workers.push_back(start(processSmbiosMessagesInQueue));
    }
    awaitIdle(kovdMessageQueue);
    awaitIdle(smbiosMessageQueue);
    ::cleanUp();
    for (auto& worker : workers)
    {
        EXPECT_TRUE(returns(worker));
    }
}

TEST_F(cleanUp, releasesTheRecoveryThreadFromItsWaitForARequest)
{
    auto recovery = start(startRecovery);
    ::cleanUp();
    EXPECT_TRUE(returns(recovery));
    EXPECT_TRUE(recorded_log::contains("Recovery thread exiting."));
}

TEST_F(cleanUp, releasesTheRecoveryThreadFromItsDebounce)
{
    requestRecovery();
    auto recovery = start(startRecovery);
    ASSERT_TRUE(fake_clock::awaitSleeper(recoveryCondition));
    ::cleanUp();
    EXPECT_TRUE(returns(recovery));
    EXPECT_TRUE(recorded_log::contains("Recovery thread exiting."));
    EXPECT_FALSE(recorded_log::contains("Resync starting..."));
}

TEST_F(cleanUp, releasesTheFallbackThreadFromItsInitialWait)
{
    auto fallback = start(startDelayedFallbackResync);
    ASSERT_TRUE(fake_clock::awaitSleeper(fallbackCondition));
    ::cleanUp();
    EXPECT_TRUE(returns(fallback));
    EXPECT_TRUE(recorded_log::contains("Fallback resync thread exiting during initial wait."));
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_F(cleanUp, releasesTheFallbackThreadFromItsRetryWait)
{
    std::promise<void> triggered;
    recorded_log::setHook(
        [&](const LogLine& line)
        {
            if (line.text == "Fallback resync: triggering resync request 1/2.")
            {
                triggered.set_value();
            }
        });
    auto fallback = start(startDelayedFallbackResync);
    ASSERT_TRUE(fake_clock::awaitSleeper(fallbackCondition));
    fake_clock::advance(std::chrono::seconds{180});
    ASSERT_EQ(triggered.get_future().wait_for(bound), std::future_status::ready);
    ASSERT_TRUE(fake_clock::awaitSleeper(fallbackCondition));
    recorded_log::setHook(nullptr);
    ::cleanUp();
    EXPECT_TRUE(returns(fallback));
    EXPECT_TRUE(recorded_log::contains("Fallback resync thread exiting during retry wait."));
    EXPECT_FALSE(recorded_log::contains("Fallback resync: triggering resync request 2/2."));
}

/** The handler is installed as main does it, and taken away again. */
class signal_handler : public FreshStore
{
  protected:
    signal_handler()
    {
        struct sigaction action = {};
        action.sa_handler = ::signal_handler;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &before_);
        stopRequested = false;
    }

    ~signal_handler() override
    {
        sigaction(SIGINT, &before_, nullptr);
        stopRequested = false;
    }

    static Lines handlerLines()
    {
        Lines lines{"1 signal_handler: signal_handler invoked!\n"};
        lines.insert(lines.end(), cleanUpLines.begin(), cleanUpLines.end());
        return lines;
    }

  private:
    struct sigaction before_;
};

TEST_F(signal_handler, logsItselfThenCleansUp)
{
    raise(SIGINT);
    EXPECT_EQ(utilLines(), handlerLines());
    EXPECT_EQ(stopped(), all);
    EXPECT_TRUE(stopRequested);
}

TEST_F(signal_handler, requestsTheStopBetweenItsLineAndTheCleaningUp)
{
    std::vector<bool> requested;
    recorded_log::setHook([&](const LogLine&) { requested.push_back(stopRequested); });
    raise(SIGINT);
    EXPECT_EQ(requested, (std::vector<bool>{false, true, true, true, true}));
}

TEST_F(signal_handler, doesNotLookAtTheNumber)
{
    ::signal_handler(SIGTERM);
    EXPECT_EQ(utilLines(), handlerLines());
    EXPECT_TRUE(stopRequested);
}

TEST_F(signal_handler, keepsErrno)
{
    recorded_log::setHook([](const LogLine&) { errno = EINTR; });
    errno = ENOENT;
    raise(SIGINT);
    const int after = errno;
    EXPECT_EQ(after, ENOENT);
    EXPECT_EQ(recorded_log::lines().size(), 5U);
}

TEST_F(signal_handler, isHarmlessASecondTime)
{
    raise(SIGINT);
    raise(SIGINT);
    Lines twice = handlerLines();
    const Lines again = handlerLines();
    twice.insert(twice.end(), again.begin(), again.end());
    EXPECT_EQ(utilLines(), twice);
    EXPECT_EQ(stopped(), all);
    EXPECT_TRUE(stopRequested);
}

TEST_F(signal_handler, releasesEveryWaitingThread)
{
    fake_clock::reset();
    std::vector<std::future<void>> threads;
    {
        const SigintBlock bornBlocked;
        threads.push_back(start(processSmbiosMessagesInQueue));
        threads.push_back(start(processKovdMessagesInQueue));
        threads.push_back(start(startRecovery));
        threads.push_back(start(startDelayedFallbackResync));
    }
    awaitIdle(smbiosMessageQueue);
    awaitIdle(kovdMessageQueue);
    ASSERT_TRUE(fake_clock::awaitSleeper(fallbackCondition));
    raise(SIGINT);
    for (auto& thread : threads)
    {
        EXPECT_TRUE(returns(thread));
    }
}

TEST_F(signal_handler, waitsUntilTheInterruptIsNoLongerBlocked)
{
    {
        const SigintBlock outer;
        {
            const SigintBlock inner;
            raise(SIGINT);
        }
        EXPECT_EQ(utilLines(), Lines{});
        EXPECT_FALSE(stopRequested);
    }
    EXPECT_EQ(utilLines(), handlerLines());
}

/** In a process of its own, because it ends it. */
class endProcessWithMain : public FreshStore
{
  protected:
    endProcessWithMain()
    {
        // A program for another machine cannot start itself again: only Meson knows its emulator.
        const bool emulated = std::getenv("MESON_EXE_WRAPPER") != nullptr;
        GTEST_FLAG_SET(death_test_style, emulated ? "fast" : "threadsafe");
    }
};

TEST_F(endProcessWithMain, endsWithStatusZeroAndFlushesFirst)
{
    const auto returnFromMain = []
    {
        static char buffer[1024];
        std::setvbuf(stderr, buffer, _IOFBF, sizeof(buffer));
        ::endProcessWithMain();
        std::fputs("written before the end", stderr);
        std::exit(7);
    };
    EXPECT_EXIT(returnFromMain(), testing::ExitedWithCode(0), "written before the end");
}

struct SpeaksAtItsEnd
{
    ~SpeaksAtItsEnd()
    {
        std::fputs("destroyed", stderr);
    }
};

TEST_F(endProcessWithMain, endsBeforeAnyEarlierStaticIsDestroyed)
{
    const auto returnFromMain = []
    {
        static const SpeaksAtItsEnd global;
        ::endProcessWithMain();
        std::exit(0);
    };
    EXPECT_EXIT(returnFromMain(), testing::ExitedWithCode(0), "^$");
}

} // namespace

/**
 * The log of the tests allocates, in the handler too. That is safe here: the handler runs where
 * the test raises the signal, never in the middle of something.
 */
extern "C" const char* __tsan_default_options()
{
    return "report_signal_unsafe=0";
}
