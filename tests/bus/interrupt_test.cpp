// SIGINT: it releases the waiting threads, in order and at any moment, and changes nothing else.

#include "environment.hpp"
#include "kit/bus_test.hpp"

#include <csignal>
#include <random>
#include <sys/wait.h>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using kit::Texts;

const Texts releases{
    "cleaning up kovd queue",
    "cleaning up smbios queue",
    "cleaning up recovery thread",
    "cleaning up fallback resync thread",
};

// Main and the subscription thread; ThreadSanitizer adds one of its own to the process.
#if defined(__SANITIZE_THREAD__)
constexpr std::size_t lastingThreads = 3;
#elif defined(__has_feature)
constexpr std::size_t lastingThreads = __has_feature(thread_sanitizer) ? 3 : 2;
#else
constexpr std::size_t lastingThreads = 2;
#endif

constexpr const char* shortTimeout = "SYSTEMD_BUS_TIMEOUT=2s";

class Interrupt : public kit::BusTest
{
  protected:
    void interrupt()
    {
        daemon().signal(SIGINT);
    }

    void expectReleased()
    {
        EXPECT_TRUE(waitForLine("cleanUp", releases.back()));
        EXPECT_EQ(logged("signal_handler"), (Texts{"signal_handler invoked!"}));
        EXPECT_EQ(logged("cleanUp"), releases);
        EXPECT_TRUE(daemon().waitForThreads(lastingThreads, kit::patience))
            << daemon().threads() << " threads; " << kit::tailOf(daemon().log());
    }

    /** The process keeps its name, its main loop and its subscriptions. */
    void expectAlive()
    {
        ASSERT_TRUE(daemon().running());
        EXPECT_NE(observer.ownerOf(rig::daemonName), "");
        EXPECT_NO_THROW(observer.ping(rig::daemonName));
    }

    /** A signal that the decoder alone answers, with a line. */
    void expectSubscribed()
    {
        smbios.emitSignal({sim::names::smbiosRoot,
                           sim::names::objectManager,
                           "InterfacesRemoved",
                           "s",
                           {"nothing"}});
        EXPECT_TRUE(waitForLine("GetSmbiosMsgData", "Invalid signature = s"));
    }
};

TEST_F(Interrupt, ReleasesTheWaitingThreadsInOrder)
{
    publish(sim::makeInventory(1, 1));
    startDaemon();
    settle();
    const std::string owner = observer.ownerOf(rig::daemonName);
    interrupt();

    expectReleased();
    EXPECT_EQ(logged("startRecovery"), (Texts{"Recovery thread exiting."}));
    EXPECT_EQ(logged("startDelayedFallbackResync"),
              (Texts{"Fallback resync thread exiting during initial wait."}));
    expectAlive();
    expectSubscribed();
    EXPECT_EQ(observer.ownerOf(rig::daemonName), owner);
    EXPECT_EQ(lists(), kit::listsOf(1, 1));
}

TEST_F(Interrupt, ASecondOneIsHarmless)
{
    startDaemon();
    settle();
    interrupt();
    expectReleased();
    interrupt();

    EXPECT_TRUE(waitForLine("cleanUp", releases.back(), 2));
    EXPECT_EQ(times("signal_handler", "signal_handler invoked!"), 2u);
    expectAlive();
}

TEST_F(Interrupt, LeavesLaterSignalsUnprocessed)
{
    publish(smbios);
    publish(kovd, {sim::makeKovdSlot(1)});
    startDaemon();
    settle();
    interrupt();
    expectReleased();
    const auto slot = sim::makeSmbiosSlot(1);
    smbios.addObject(slot.first, slot.second);
    expectSubscribed();

    EXPECT_EQ(times("processSmbiosMessagesInQueue", slot.first + " Add ObjPath"), 0u);
    EXPECT_EQ(kovd.journal().setCount(), 0u);
}

TEST_F(Interrupt, DuringDiscoveryDoesNotBreakItsCalls)
{
    smbios.addFault({"GetManagedObjects", "", sim::Delay{300ms}, sim::Fault::always});
    publish(sim::makeInventory(2, 1));
    startDaemon();
    ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", 1, kit::patience));
    interrupt();

    expectReleased();
    expectAlive();
    EXPECT_EQ(times("GetManagedObjsKOVD", "KOVD chassis object reply received"), 1u);
    // The main loop may answer a ping before it has written the last list.
    EXPECT_TRUE(kovd.journal().waitForSets(kit::listsOf(2, 1).size(), kit::patience));
    EXPECT_EQ(lists(), kit::listsOf(2, 1));
}

TEST_F(Interrupt, DuringACallThatIsNeverAnsweredWaitsForItsTimeout)
{
    smbios.addFault({"GetManagedObjects", "", sim::Hang{}, sim::Fault::always});
    publish(sim::makeInventory(1));
    startDaemon({shortTimeout});
    ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", 1, kit::patience));
    interrupt();

    expectReleased();
    expectAlive();
    EXPECT_TRUE(logged("GetManagedObjsSMBIOS").back().ends_with(": Connection timed out"));
}

TEST_F(Interrupt, DuringASetDoesNotBreakIt)
{
    kovd.addFault({"Set", "", sim::Delay{200ms}, 1});
    publish(sim::makeInventory(2));
    startDaemon();
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", "", 1, kit::patience));
    interrupt();

    expectReleased();
    expectAlive();
    EXPECT_TRUE(kovd.journal().waitForSets(6, kit::patience));
    EXPECT_EQ(lists(), kit::listsOf(2));
}

TEST_F(Interrupt, DuringTheDebounceEndsTheRecoveryThread)
{
    auto slot = sim::makeSmbiosSlot(1);
    slot.second[sim::names::smbiosSlot]["SlotID"] = sim::Value::uint32(1);
    publish(smbios, {slot});
    publish(kovd);
    startDaemon();
    settle();
    interrupt();

    expectReleased();
    EXPECT_EQ(logged("startRecovery"), (Texts{"Recovery thread exiting."}));
}

// ---- at a random moment of the start ----

class InterruptedStart : public Interrupt
{
  protected:
    InterruptedStart()
    {
        publish(sim::makeInventory(5, 2));
    }

    /** How long a start takes here and now, until everything has settled. */
    std::chrono::microseconds measureStart()
    {
        const auto begin = sim::Clock::now();
        startDaemon({}, 5);
        settle();
        formerOwner_ = observer.ownerOf(rig::daemonName);
        return std::chrono::duration_cast<std::chrono::microseconds>(sim::Clock::now() - begin);
    }

    /** True when the interrupt came before main could do anything with it. */
    bool endedEarly()
    {
        const auto& log = daemon().log();
        if (log.waitFor(rig::says("main", "starting new process"), kit::patience))
        {
            return false;
        }
        // Either the handler was not there yet, or main saw its mark before the first step.
        const auto status = daemon().waitForEnd(kit::patience);
        EXPECT_TRUE(status.has_value()) << "it hangs; " << kit::tailOf(log);
        const int value = status.value_or(0);
        const bool untouched = WIFSIGNALED(value) && WTERMSIG(value) == SIGINT && log.size() == 0;
        const bool seenInTime = WIFEXITED(value) && WEXITSTATUS(value) == 0 &&
                                logged("cleanUp") == releases && log.size() == 1 + releases.size();
        EXPECT_TRUE(untouched || seenInTime) << "status " << value << "; " << kit::tailOf(log);
        return true;
    }

    /** Starts a daemon and interrupts it after `delay`; it must be released and live on. */
    void interruptAfter(std::chrono::microseconds delay)
    {
        startDaemon({}, 5);
        std::this_thread::sleep_for(delay); // not for a fact: the moment is to be any
        interrupt();
        if (endedEarly())
        {
            ++early_;
            return;
        }
        // All threads have been started once the main loop answers. The bus may not have noticed
        // yet that the daemon of the last round is gone.
        ASSERT_TRUE(observer.waitForOwner(rig::daemonName, kit::patience, formerOwner_));
        formerOwner_ = observer.ownerOf(rig::daemonName);
        observer.ping(rig::daemonName);
        expectReleased();
        EXPECT_TRUE(daemon().running());
        daemon().kill();
    }

    std::string formerOwner_;
    unsigned early_ = 0;
};

TEST_F(InterruptedStart, NeverHangs)
{
    const std::uint64_t rounds = environment::rounds(100);
    const std::uint64_t seed = environment::seed();
    SCOPED_TRACE("HWINV_SEED=" + std::to_string(seed));
    std::mt19937_64 random(seed);
    const auto whole = measureStart();
    daemon().kill();
    std::uniform_int_distribution<std::chrono::microseconds::rep> moment(0, whole.count());
    for (std::uint64_t round = 0; round < rounds && !HasFailure(); ++round)
    {
        interruptAfter(std::chrono::microseconds(moment(random)));
    }
    std::cout << rounds << " starts interrupted within " << whole.count() << " us, " << early_
              << " of them before the handler was there\n";
    expectEnd();
}

} // namespace
