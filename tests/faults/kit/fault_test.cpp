#include "faults/kit/fault_test.hpp"

#include "faults/kit/process.hpp"
#include "rig/settle.hpp"

#include <cstdlib>
#include <iostream>
#include <string_view>
#include <sys/wait.h>
#include <thread>

namespace kit
{
namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto idleWindow = 3s;
constexpr auto idleWork = 30ms;
constexpr auto canaryLimit = 1s;
constexpr auto descriptorLimit = 5s;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool withSanitizer = true;
#elif defined(__has_feature)
constexpr bool withSanitizer = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool withSanitizer = false;
#endif

/** ThreadSanitizer adds one of its own to the process. */
#if defined(__SANITIZE_THREAD__)
constexpr std::size_t sanitizersThreads = 1;
#elif defined(__has_feature)
constexpr std::size_t sanitizersThreads = __has_feature(thread_sanitizer) ? 1 : 0;
#else
constexpr std::size_t sanitizersThreads = 0;
#endif

/** A sanitizer makes everything slower, and works a little by itself. */
constexpr int slowness = withSanitizer ? 10 : 1;

constexpr const char* complaints[] = {"terminate called", "sdeventplus:", "Assertion"};

const Texts interruptLines{
    "signal_handler invoked!",
    "cleaning up kovd queue",
    "cleaning up smbios queue",
    "cleaning up recovery thread",
    "cleaning up fallback resync thread",
};

bool isInterruptLine(const rig::LogLine& line)
{
    return line.function == "signal_handler" || line.function == "cleanUp";
}

std::string textOf(const std::vector<std::string>& texts)
{
    return testing::PrintToString(texts);
}

} // namespace

bool sanitized()
{
    return withSanitizer;
}

bool onBroker()
{
    const char* bus = std::getenv("HWINV_BUS");
    return bus != nullptr && std::string_view(bus) == "dbus-broker";
}

std::chrono::milliseconds allowed(std::chrono::milliseconds limit)
{
    return limit * slowness;
}

std::string inMilliseconds(std::chrono::nanoseconds time)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f ms",
                  std::chrono::duration<double, std::milli>(time).count());
    return text;
}

void measured(const std::string& figure)
{
    std::cout << "[ MEASURED ] " << figure << std::endl;
}

FaultTest::FaultTest(const sim::BusOptions& options) : BusTest(options) {}

void FaultTest::publishWithCanaries(sim::InventoryCapture inventory, unsigned canaries)
{
    for (unsigned canary = 0; canary < canaries; ++canary)
    {
        inventory.smbios.insert(sim::makeSmbiosSlot(firstCanary + canary));
    }
    publish(inventory);
}

rig::Daemon& FaultTest::startWith(const Preloads& preloads, std::vector<std::string> environment,
                                  int logLevel)
{
    const auto more = environmentOf(preloads);
    environment.insert(environment.end(), more.begin(), more.end());
    return startDaemon(environment, logLevel);
}

void FaultTest::startSettled(const Preloads& preloads, std::vector<std::string> environment,
                             int logLevel)
{
    startWith(preloads, std::move(environment), logLevel);
    settle();
    noteState();
}

void FaultTest::noteDescriptors()
{
    descriptors_ = descriptorsOf(daemon().pid());
}

void FaultTest::noteState()
{
    noteDescriptors();
    uniqueName_ = observer.ownerOf(rig::daemonName);
}

bool FaultTest::waitForThreads(std::size_t threads)
{
    return daemon().waitForThreads(threads + sanitizersThreads, patience);
}

void FaultTest::expectHealthy(std::size_t threads, Descriptors descriptors)
{
    ASSERT_TRUE(daemon().running()) << tailOf(daemon().log());
    EXPECT_TRUE(waitForThreads(threads))
        << daemon().threads() << " threads, not " << threads << "; " << tailOf(daemon().log());
    expectLittleWork();
    expectDescriptors(descriptors);
    expectNoComplaint();
    measured(std::to_string(daemon().threads() - sanitizersThreads) + " threads");
}

void FaultTest::expectLittleWork()
{
    const auto before = processorTime(daemon().pid());
    ASSERT_FALSE(daemon().waitForEnd(idleWindow).has_value()) << tailOf(daemon().log());
    const auto used = processorTime(daemon().pid()) - before;
    EXPECT_LE(used, allowed(idleWork)) << "in " << idleWindow.count() << " s without work";
    measured(inMilliseconds(used) + " of processor time in 3 s");
}

void FaultTest::expectDescriptors(Descriptors expected)
{
    const auto deadline = Clock::now() + descriptorLimit;
    auto now = descriptorsOf(daemon().pid());
    while (now.size() > descriptors_.size() && Clock::now() < deadline)
    {
        // Where time runs faster a resync may be under way, and nobody tells when it ends.
        std::this_thread::sleep_for(5ms);
        now = descriptorsOf(daemon().pid());
    }
    if (expected == Descriptors::asBefore)
    {
        EXPECT_EQ(now, descriptors_);
    }
    EXPECT_LE(now.size(), descriptors_.size()) << textOf(now) << " after " << textOf(descriptors_);
    measured(std::to_string(now.size()) + " of " + std::to_string(descriptors_.size()) +
             " descriptors");
}

void FaultTest::expectNoComplaint()
{
    for (const char* complaint : complaints)
    {
        EXPECT_EQ(linesWith(complaint), 0u) << complaint << "; " << tailOf(daemon().log());
    }
}

void FaultTest::expectCanary(std::chrono::milliseconds later)
{
    const unsigned number = nextCanary_++;
    const auto [path, interfaces] = sim::makeKovdSlot(number);
    const auto expected = inSlot(sim::smbiosSlotPath(number));
    const std::size_t before = kovd.journal().setCount();
    const auto announced = Clock::now();
    kovd.addObject(path, interfaces);
    const bool arrived = kovd.journal().waitForSets(before + 1, allowed(canaryLimit) + later);
    const auto took = Clock::now() - announced;
    ASSERT_TRUE(arrived) << "no Set for " << path << "; " << tailOf(daemon().log());

    settleUnderUniqueName();
    const auto sets = kovd.journal().sets();
    ASSERT_EQ(sets.size(), before + 1);
    EXPECT_EQ(sets.back().path, path);
    EXPECT_EQ(sim::toAssociations(sets.back().value), expected);
    EXPECT_TRUE(sets.back().accepted);
    measured("canary after " + inMilliseconds(took));
}

void FaultTest::waitUntilSubscribed()
{
    const auto heard = rig::says("GetKovdMsgData", "Invalid signature = s");
    const auto deadline = Clock::now() + patience;
    do
    {
        ASSERT_LT(Clock::now(), deadline) << tailOf(daemon().log());
        kovd.emitSignal({sim::names::chassisRoot,
                         sim::names::objectManager,
                         "InterfacesAdded",
                         "s",
                         {"hello"}});
    } while (!daemon().log().waitFor(heard, 20ms));
}

void FaultTest::settleUnderUniqueName()
{
    rig::settle(observer, daemon(), {&kovd, &smbios}, patience,
                uniqueName_.empty() ? rig::daemonName : uniqueName_);
}

void FaultTest::resync()
{
    const auto completed =
        rig::says("startRecovery", "Recovery: resync completed. Entering cool-down...");
    const std::size_t before = daemon().log().count(completed);
    auto slot = sim::makeSmbiosSlot(8000 + nextUnreadable_++);
    slot.second[sim::names::smbiosSlot]["SlotID"] = sim::Value::uint32(1);
    smbios.addObject(slot.first, slot.second);
    smbios.removeObject(slot.first);
    ASSERT_TRUE(daemon().log().waitFor(completed, 2 * patience, 0, before + 1))
        << tailOf(daemon().log());
    settleUnderUniqueName();
}

std::optional<int> FaultTest::endedWithin(std::chrono::milliseconds limit)
{
    expectEnd();
    const auto from = Clock::now();
    const bool gone = waitUntilGone(daemon().pid(), allowed(limit));
    const auto took = Clock::now() - from;
    const auto status = gone ? daemon().waitForEnd(patience) : std::nullopt;
    if (!status)
    {
        ADD_FAILURE() << "it has not ended; " << tailOf(daemon().log());
        return std::nullopt;
    }
    measured("ended after " + inMilliseconds(took));
    return WIFEXITED(*status) ? WEXITSTATUS(*status) : -WTERMSIG(*status);
}

void FaultTest::interrupt()
{
    const std::size_t from = daemon().log().size();
    daemon().signal(SIGINT);
    EXPECT_TRUE(daemon().log().waitFor(isInterruptLine, patience, from, interruptLines.size()))
        << tailOf(daemon().log());
    Texts said;
    for (const auto& line : daemon().log().lines(from))
    {
        if (isInterruptLine(line))
        {
            said.push_back(line.text);
        }
    }
    EXPECT_EQ(said, interruptLines);
}

std::size_t FaultTest::linesWith(const std::string& text)
{
    daemon().catchUp();
    return daemon().log().count([&](const rig::LogLine& line)
                                { return line.text.find(text) != std::string::npos; });
}

} // namespace kit
