// What the kernel refuses: memory, descriptors, threads, and what a start needs. And the ends of
// the process: each is quick, with status 0, whatever its threads are at.

#include "compare/differences.hpp"
#include "faults/counts.hpp"
#include "faults/kit/process.hpp"
#include "faults/raw_faults.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <sys/resource.h>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using faults::RawFaults;
using kit::Texts;

const std::string completed = "Recovery: resync completed. Entering cool-down...";

constexpr auto endLimit = 200ms;

class ResourceFaults : public RawFaults
{
  protected:
    void limit(__rlimit_resource which, rlim_t amount)
    {
        rlimit wanted{};
        ASSERT_EQ(prlimit(daemon().pid(), which, nullptr, &wanted), 0);
        wanted.rlim_cur = std::min(amount, wanted.rlim_max);
        ASSERT_EQ(prlimit(daemon().pid(), which, &wanted, nullptr), 0);
    }

    /** Until the log has not grown for half a second: what could be worked off has been. */
    void waitUntilSilent()
    {
        const auto deadline = sim::Clock::now() + kit::patience;
        std::size_t size = 0;
        for (auto since = sim::Clock::now();
             sim::Clock::now() < deadline && sim::Clock::now() - since < 500ms;)
        {
            std::this_thread::sleep_for(10ms); // silence can only be watched
            const std::size_t now = daemon().log().size();
            since = now == size ? since : sim::Clock::now();
            size = now;
        }
    }

    static bool isFailure(const rig::LogLine& line)
    {
        return line.level == 1 && (line.text.find("exception") != std::string::npos ||
                                   line.text.find("Exception") != std::string::npos ||
                                   line.text.find("failed to read message") != std::string::npos ||
                                   line.text.find("err[") != std::string::npos);
    }

    /** The process must end so; and say what it has said when `last` is not empty. */
    void expectEndWith(int status, const std::string& last = "")
    {
        const auto begin = sim::Clock::now();
        expectEnd();
        // What started it may take a moment more, to tell its status.
        EXPECT_TRUE(kit::waitUntilGone(daemon().pid(), kit::patience));
        slowestEnd_ = std::max(slowestEnd_, std::chrono::nanoseconds(sim::Clock::now() - begin));
        const auto ended = daemon().waitForEnd(kit::patience);
        ASSERT_TRUE(ended.has_value()) << kit::tailOf(daemon().log());
        ASSERT_TRUE(WIFEXITED(*ended)) << "signal " << WTERMSIG(*ended);
        EXPECT_EQ(WEXITSTATUS(*ended), status);
        if (!last.empty())
        {
            EXPECT_TRUE(logged("main").back().starts_with(last)) << logged("main").back();
        }
        EXPECT_EQ(linesWith("terminate called"), 0u);
    }

    /** Where the catalogue has the machine to itself; beside other tests an end waits for its turn.
     */
    void expectQuickEnds() const
    {
        if (faults::whole())
        {
            EXPECT_LE(slowestEnd_, endLimit);
        }
    }

    std::chrono::nanoseconds slowestEnd_{};
};

// ---- memory ----

TEST_F(ResourceFaults, R1AddressSpaceThatIsUsedUp)
{
    if (kit::sanitized())
    {
        GTEST_SKIP() << "a sanitizer has reserved all address space";
    }
    const auto objects = static_cast<unsigned>(faults::rounds(5'000, 50'000));
    constexpr rlim_t alittle = 2U << 20U;
    // The heaps of the threads have address space of their own, 64 MB each, that is used up first.
    constexpr unsigned together = 200U << 20U;
    publishWithCanaries(sim::makeInventory(1, 1));
    startSettled({}, {}, 4);
    const auto idle = static_cast<rlim_t>(kit::statusNumber(daemon().pid(), "VmSize")) * 1024;
    limit(RLIMIT_AS, idle + alittle);
    const sim::Json kept{
        {"PCIeFQDD", {{"type", "s"}, {"data", std::string(together / objects, 'x')}}}};
    kovd.perform(
        [&](sim::Player& player)
        {
            for (unsigned number = 1; number <= objects; ++number)
            {
                player.emitSignal({sim::names::boardRoot,
                                   sim::names::objectManager,
                                   "InterfacesAdded",
                                   "oa{sa{sv}}",
                                   {sim::kovdSlotPath(1) + "_" + std::to_string(number),
                                    {{sim::names::kovdSlot, kept}}}});
            }
        });
    EXPECT_TRUE(daemon().log().waitFor(isFailure, kit::patience)) << kit::tailOf(daemon().log());
    waitUntilSilent();
    const auto failures = daemon().log().count(isFailure);
    limit(RLIMIT_AS, RLIM_INFINITY);
    settle();
    kit::measured(std::to_string(objects) + " objects, " + std::to_string(failures) + " failures");
    EXPECT_TRUE(waitForLine("startRecovery", completed));
    expectCanary();
    expectHealthy();
}

// ---- descriptors ----

TEST_F(ResourceFaults, R3DescriptorsUsedUpDuringADiscovery)
{
    if (faults::addressSanitizer)
    {
        GTEST_SKIP() << "the sanitizer of C++ itself opens a pipe to look at an object";
    }
    publishWithCanaries(sim::makeInventory(1, 1));
    startSettled({.warp = 20});
    const auto before = times("GetAllManagedObjects", "SMBIOS service is available");
    limit(RLIMIT_NOFILE, 4);
    resync();
    const auto failed = [](const rig::LogLine& line)
    { return line.function == "GetAllManagedObjects" && line.text.starts_with("exception: "); };
    EXPECT_EQ(daemon().log().count(failed), 1u);
    EXPECT_EQ(times("GetAllManagedObjects", "SMBIOS service is available"), before);
    kit::measured(logged("GetAllManagedObjects").back());

    limit(RLIMIT_NOFILE, 1024);
    resync();
    EXPECT_EQ(daemon().log().count(failed), 1u);
    EXPECT_EQ(times("GetAllManagedObjects", "SMBIOS service is available"), before + 1);
    expectCanary();
    expectHealthy();
}

// ---- threads ----

class RefusedThread : public ResourceFaults, public testing::WithParamInterface<unsigned>
{
};

TEST_P(RefusedThread, R4EndsTheProcessInTime)
{
    const int starts = faults::rounds(3, 50);
    publish(sim::makeInventory(1, 1));
    for (int start = 0; start < starts && !HasFailure(); ++start)
    {
        kit::Preloads preloads;
        preloads.failing.push_back(
            {.function = "pthread_create", .error = EAGAIN, .first = GetParam()});
        startWith(preloads, {}, 1);
        EXPECT_TRUE(waitForLine("main", "Caught an exception: Resource temporarily unavailable"));
        expectEndWith(0, "Caught an exception: ");
    }
    expectQuickEnds();
    kit::measured(std::to_string(starts) + " of " + std::to_string(starts) + ", slowest end " +
                  kit::inMilliseconds(slowestEnd_));
}

INSTANTIATE_TEST_SUITE_P(Number, RefusedThread, testing::Range(1U, 6U));

// ---- what a start needs ----

TEST_F(ResourceFaults, R5AHandlerThatCannotBeInstalled)
{
    kit::Preloads preloads;
    preloads.failing.push_back({.function = "sigaction", .error = EINVAL, .times = 0});
    startWith(preloads);
    expectEndWith(255);
    daemon().catchUp();
    const auto lines = daemon().log().lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text, "sigaction error: Invalid argument");
    EXPECT_EQ(lines[0].level, 1);
}

TEST_F(ResourceFaults, R5APipeThatCannotBeMade)
{
    kit::Preloads preloads;
    preloads.failing.push_back({.function = "pipe", .error = EMFILE, .times = 0});
    publish(sim::makeInventory(1, 1));
    startWith(preloads);
    expectEndWith(0, "Caught an exception: Error in pipe creation OneWayChannel");
    const auto pipeLine = [](const rig::LogLine& line)
    { return line.module == 300 && line.level == 1 && line.text == "Pipe creation failed : -1"; };
    EXPECT_EQ(daemon().log().count(pipeLine), 1u);
}

// ---- the end ----

TEST_F(ResourceFaults, R6AMainLoopThatEndsWhileAllThreadsWork)
{
    const int ends = faults::rounds(5, 100);
    publish(sim::makeInventory(20, 2));
    std::atomic<bool> over{false};
    std::jthread events(
        [&]
        {
            const auto slot = sim::makeSmbiosSlot(1);
            while (!over)
            {
                smbios.removeObject(slot.first);
                smbios.addObject(slot.first, slot.second);
                kovd.changeProperties(sim::kovdSlotPath(2), sim::names::kovdSlot,
                                      {{"PCIClassCode", sim::Value::byte(1)}});
            }
        });
    for (int end = 0; end < ends && !HasFailure(); ++end)
    {
        kit::Preloads preloads;
        preloads.failing.push_back({.function = "epoll_wait",
                                    .error = EBADF,
                                    .times = 0,
                                    .mainOnly = true,
                                    .whenArmed = true});
        startWith(preloads, {}, 1);
        EXPECT_TRUE(waitForThreads());
        daemon().signal(kit::armSignal());
        expectEndWith(0);
    }
    over = true;
    events.join();
    expectQuickEnds();
    kit::measured(std::to_string(ends) + " of " + std::to_string(ends) + ", slowest end " +
                  kit::inMilliseconds(slowestEnd_));
}

class VanishingBus : public ResourceFaults, public testing::WithParamInterface<const char*>
{
};

TEST_P(VanishingBus, R6EndsAStart)
{
    const int starts = faults::rounds(3, 50);
    fake.hangUpAt(GetParam());
    for (int start = 0; start < starts && !HasFailure(); ++start)
    {
        startOnFakeBus();
        EXPECT_TRUE(waitForLine("main", "starting new process"));
        expectEndWith(0, "Caught an exception: ");
    }
    expectQuickEnds();
    kit::measured(std::to_string(starts) + " of " + std::to_string(starts) + ", slowest end " +
                  kit::inMilliseconds(slowestEnd_));
}

INSTANTIATE_TEST_SUITE_P(At, VanishingBus, testing::Values("AUTH", "Hello", "RequestName"),
                         [](const auto& member) { return std::string(member.param); });

} // namespace
