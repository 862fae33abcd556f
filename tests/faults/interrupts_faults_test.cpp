// SIGINT again and again, at any moment and to any thread: it releases the waiting threads, each
// time with its five lines, and neither hangs nor breaks a call.
//
// Storms are for builds as they ship: ThreadSanitizer delivers a signal when it suits it, and would
// show another program than the one that gets the storm.

#include "compare/differences.hpp"
#include "faults/counts.hpp"
#include "faults/raw_faults.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using faults::RawFaults;
using kit::Texts;

constexpr const char* noStorm =
    "ThreadSanitizer delivers signals late: storms are for plain builds";

const Texts handlerLines{
    "signal_handler invoked!",
    "cleaning up kovd queue",
    "cleaning up smbios queue",
    "cleaning up recovery thread",
    "cleaning up fallback resync thread",
};

/** What the kernel says of a thread under that name: a set of signals. */
bool holds(pid_t process, pid_t thread, const std::string& name)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/task/" + std::to_string(thread) +
                         "/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.starts_with(name + ":"))
        {
            const auto signals = std::stoull(line.substr(name.size() + 1), nullptr, 16);
            return (signals >> (SIGINT - 1) & 1) != 0;
        }
    }
    return false;
}

class InterruptFaults : public RawFaults
{
  protected:
    /** The texts of the handler so far, in order. */
    Texts handled()
    {
        daemon().catchUp();
        Texts said;
        for (const auto& line : daemon().log().lines())
        {
            if (line.function == "signal_handler" || line.function == "cleanUp")
            {
                said.push_back(line.text);
            }
        }
        return said;
    }

    /** So many whole runs, each with its lines in order; how many there are. */
    std::size_t expectWholeRuns()
    {
        const Texts said = handled();
        EXPECT_EQ(said.size() % handlerLines.size(), 0u);
        for (std::size_t i = 0; i < said.size(); ++i)
        {
            if (said[i] != handlerLines[i % handlerLines.size()])
            {
                ADD_FAILURE() << "line " << i << " of the handler is " << said[i];
                break;
            }
        }
        return said.size() / handlerLines.size();
    }

    void expectNoBrokenCall()
    {
        EXPECT_EQ(linesWith("Interrupted system call"), 0u);
        EXPECT_EQ(linesWith("EINTR"), 0u);
        EXPECT_EQ(linesWith("Caught an exception"), 0u);
    }

    void waitUntilPending()
    {
        const pid_t pid = daemon().pid();
        const auto deadline = sim::Clock::now() + kit::patience;
        while (!holds(pid, pid, "ShdPnd") && !holds(pid, pid, "SigPnd"))
        {
            ASSERT_LT(sim::Clock::now(), deadline) << "the interrupt does not wait";
            std::this_thread::yield();
        }
    }
};

// ---- in a call ----

class InterruptedCall : public InterruptFaults, public testing::WithParamInterface<const char*>
{
};

TEST_P(InterruptedCall, C3WaitsForItsEndAndBreaksNothing)
{
    const std::string member = GetParam();
    fake.hold(member);
    if (member == "Set")
    {
        startAndSubscribe();
        fake.signal(addedSlot(kit::firstCanary).bytes());
    }
    else
    {
        startOnFakeBus();
    }
    ASSERT_TRUE(fake.waitForCalls(member, 1, kit::patience)) << kit::tailOf(daemon().log());
    daemon().signal(SIGINT);
    waitUntilPending();
    EXPECT_EQ(handled(), Texts{});
    fake.release(member);

    EXPECT_TRUE(waitForLine("cleanUp", handlerLines.back()));
    EXPECT_EQ(handled(), handlerLines);
    // All calls that come after it in a start.
    EXPECT_TRUE(fake.waitForCalls("GetManagedObjects", 3, kit::patience));
    EXPECT_TRUE(fake.waitForCalls("AddMatch", 8, kit::patience));
    EXPECT_TRUE(waitForLine("startDelayedFallbackResync",
                            "Fallback resync thread exiting during initial wait."));
    expectNoBrokenCall();
    EXPECT_EQ(linesWith("exception"), 0u);
    noteDescriptors();
    expectHealthy(kit::threadsAfterInterrupt);
}

INSTANTIATE_TEST_SUITE_P(Of, InterruptedCall,
                         testing::Values("RequestName", "ListNames", "GetManagedObjects", "Set"),
                         [](const auto& member) { return std::string(member.param); });

// ---- to a thread ----

TEST_F(InterruptFaults, C4OnlyMainTakesIt)
{
    publishWithCanaries(sim::makeInventory(1, 1));
    startSettled();
    const pid_t pid = daemon().pid();
    unsigned others = 0;
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task"))
    {
        const pid_t thread = std::stoi(task.path().filename());
        EXPECT_EQ(holds(pid, thread, "SigBlk"), thread != pid) << thread;
        if (thread != pid)
        {
            ASSERT_EQ(syscall(SYS_tgkill, pid, thread, SIGINT), 0);
            EXPECT_TRUE(holds(pid, thread, "SigPnd") || faults::threadSanitizer) << thread;
            ++others;
        }
    }
    EXPECT_GE(others, kit::allThreads - 1);
    settle(); // the workers are still there
    EXPECT_EQ(handled(), Texts{});
    expectCanary();

    ASSERT_EQ(syscall(SYS_tgkill, pid, pid, SIGINT), 0);
    EXPECT_TRUE(waitForLine("cleanUp", handlerLines.back(), 1));
    daemon().signal(SIGINT);
    EXPECT_TRUE(waitForLine("cleanUp", handlerLines.back(), 2));
    EXPECT_EQ(expectWholeRuns(), 2u);
    kit::measured(std::to_string(others) + " threads have it blocked");
    expectHealthy(kit::threadsAfterInterrupt);
}

// ---- storms ----

constexpr auto stormPeriod = 500us; // 2,000 a second

/** Interrupts a process at a steady rate until it is told to stop. */
class Storm
{
  public:
    explicit Storm(pid_t process)
        : thread_([this, process](const std::stop_token& stop) { run(process, stop); })
    {
    }

    unsigned sent() const
    {
        return sent_;
    }

    void stop()
    {
        thread_.request_stop();
        thread_.join();
    }

  private:
    void run(pid_t process, const std::stop_token& stop)
    {
        for (auto next = sim::Clock::now(); !stop.stop_requested(); next += stormPeriod)
        {
            ::kill(process, SIGINT);
            ++sent_;
            std::this_thread::sleep_until(next + stormPeriod); // the rate is the fault
        }
    }

    std::atomic<unsigned> sent_{0};
    std::jthread thread_; // the last: it uses the other
};

class InterruptStorm : public InterruptFaults
{
  protected:
    void SetUp() override
    {
        if (faults::threadSanitizer)
        {
            GTEST_SKIP() << noStorm;
        }
    }

    std::size_t runs() const
    {
        return times("signal_handler", handlerLines.front());
    }

    /** Both services announce and change things while the daemon is interrupted and pinged, until
     *  its handler has run so often. */
    void stormUntil(std::size_t handlerRuns)
    {
        Storm storm(daemon().pid());
        const auto begin = sim::Clock::now();
        const auto deadline = begin + 10 * kit::patience;
        std::chrono::nanoseconds slowest{};
        while (runs() < handlerRuns && sim::Clock::now() < deadline)
        {
            for (unsigned event = 0; event < 50; ++event)
            {
                smbios.changeProperties(sim::smbiosSlotPath(1), sim::names::smbiosSlot,
                                        {{"Revision", sim::Value::byte(1)}});
                kovd.changeProperties(sim::kovdSlotPath(1), sim::names::kovdSlot,
                                      {{"Revision", sim::Value::byte(1)}});
            }
            const auto asked = sim::Clock::now();
            observer.ping(rig::daemonName);
            slowest = std::max(slowest, std::chrono::nanoseconds(sim::Clock::now() - asked));
            std::this_thread::sleep_for(100ms); // nobody tells of the count
        }
        storm.stop();
        const std::chrono::duration<double> took = sim::Clock::now() - begin;
        const std::size_t counted = expectWholeRuns();
        EXPECT_GE(counted, handlerRuns);
        kit::measured(std::to_string(counted) + " handler runs of " + std::to_string(storm.sent()) +
                      " interrupts in " + std::to_string(took.count()) + " s, slowest ping " +
                      kit::inMilliseconds(slowest));
    }
};

TEST_F(InterruptStorm, C2DuringStartUpAndEvents)
{
    smbios.addFault({"GetManagedObjects", "", sim::Delay{1s}, 1});
    publish(sim::makeInventory(20, 2));
    startDaemon({}, 1);
    ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", 1, kit::patience));
    {
        // From inside the first call of discovery on.
        Storm storm(daemon().pid());
        ASSERT_TRUE(kovd.journal().waitForSets(kit::listsOf(20, 2).size(), kit::patience));
        storm.stop();
    }
    EXPECT_TRUE(sameEntries(lists(), kit::listsOf(20, 2)));
    noteDescriptors();
    stormUntil(static_cast<std::size_t>(faults::rounds(2000, 60'000)));
    expectNoBrokenCall();
    EXPECT_EQ(linesWith("exception"), 0u);
    expectHealthy(kit::threadsAfterInterrupt);
}

TEST_F(InterruptStorm, C2DuringAResync)
{
    publish(sim::makeInventory(20, 2));
    startSettled({.warp = 20}, {}, 4);
    smbios.addFault({"GetManagedObjects", "", sim::Delay{500ms}, 1});
    const std::size_t before = smbios.journal().calls("GetManagedObjects");
    auto slot = sim::makeSmbiosSlot(8000);
    slot.second[sim::names::smbiosSlot]["SlotID"] = sim::Value::uint32(1);
    smbios.addObject(slot.first, slot.second);
    smbios.removeObject(slot.first);
    ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", before + 1, kit::patience));
    Storm storm(daemon().pid());
    EXPECT_TRUE(waitForLine("startRecovery", "Recovery: resync completed. Entering cool-down..."));
    EXPECT_TRUE(waitForLine("startRecovery", "Recovery thread exiting."));
    storm.stop();

    const std::size_t counted = expectWholeRuns();
    EXPECT_GE(counted, 1u);
    kit::measured(std::to_string(counted) + " handler runs during a resync");
    expectNoBrokenCall();
    EXPECT_TRUE(sameEntries(lists(), kit::listsOf(20, 2)));
    expectHealthy(kit::threadsAfterInterrupt);
}

} // namespace
