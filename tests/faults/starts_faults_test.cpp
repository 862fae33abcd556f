// A thousand starts under a storm of events, each interrupted at a moment of its first two seconds:
// none hangs. How a start that is interrupted very early ends is in tests/bus/interrupt_test.cpp.

#include "faults/counts.hpp"
#include "kit/bus_test.hpp"
#include "rig/daemon.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <iostream>
#include <memory>
#include <random>
#include <sys/wait.h>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr unsigned seed = 6;
const auto worlds = static_cast<unsigned>(faults::rounds(4, 10));
constexpr auto lastMoment = 2s;
const auto releasedWithin = FAULTS_SANITIZED ? 10s : 1s;

const kit::Texts handlerLines{
    "signal_handler invoked!",
    "cleaning up kovd queue",
    "cleaning up smbios queue",
    "cleaning up recovery thread",
    "cleaning up fallback resync thread",
};

/** A bus with both services and a storm of events on it; starts happen there one after the other,
 *  all in the thread that made it. */
class World
{
  public:
    explicit World(unsigned number)
        : smbios_(bus_.address(), sim::smbiosProfile()), kovd_(bus_.address(), sim::kovdProfile()),
          observer_(bus_.address()), random_(seed + number)
    {
        const auto inventory = sim::makeInventory(5, 2);
        smbios_.load(inventory.smbios);
        kovd_.load(inventory.kovd);
        smbios_.start();
        kovd_.start();
        storm_ = std::jthread([this](const std::stop_token& stop) { storm(stop); });
    }

    /** One start; what went wrong, empty when nothing did. */
    std::string start();

    unsigned early() const
    {
        return early_;
    }

    Clock::duration slowest() const
    {
        return slowest_;
    }

  private:
    /** Events of both services without a pause that would let the daemon sleep for long. */
    void storm(const std::stop_token& stop)
    {
        const auto slot = sim::makeSmbiosSlot(1);
        while (!stop.stop_requested())
        {
            smbios_.removeObject(slot.first);
            smbios_.addObject(slot.first, slot.second);
            kovd_.changeProperties(sim::kovdSlotPath(2), sim::names::kovdSlot,
                                   {{"Revision", sim::Value::byte(1)}});
            std::this_thread::sleep_for(2ms); // all worlds share the machine
        }
    }

    std::string released(rig::Daemon& daemon);

    sim::PrivateBus bus_;
    sim::Service smbios_;
    sim::Service kovd_;
    rig::Observer observer_;
    std::mt19937 random_;
    std::string formerOwner_;
    unsigned early_ = 0;
    Clock::duration slowest_{};
    std::jthread storm_; // the last: it uses the services
};

std::string World::start()
{
    rig::Daemon daemon({.program = kit::daemonProgram(),
                        .launcher = kit::daemonLauncher(),
                        .address = bus_.address(),
                        .logLevel = 1,
                        .environment = {},
                        .logFile = ""});
    std::uniform_int_distribution<long> moment(
        0, std::chrono::duration_cast<std::chrono::microseconds>(lastMoment).count());
    std::this_thread::sleep_for(std::chrono::microseconds(moment(random_))); // any moment
    daemon.signal(SIGINT);
    if (!daemon.log().waitFor(rig::says("main", "starting new process"), kit::patience))
    {
        // It had no handler yet, or main saw its mark before it did anything.
        ++early_;
        return daemon.waitForEnd(kit::patience) ? "" : "it hangs before its start";
    }
    const std::string problem = released(daemon);
    return problem.empty() ? "" : problem + "; " + kit::tailOf(daemon.log());
}

std::string World::released(rig::Daemon& daemon)
{
    const auto handled = [](const rig::LogLine& line)
    { return line.function == "signal_handler" || line.function == "cleanUp"; };
    const auto begin = Clock::now();
    if (!daemon.log().waitFor(handled, kit::patience, 0, handlerLines.size()))
    {
        return "the handler does not come to its end";
    }
    kit::Texts said;
    for (const auto& line : daemon.log().lines())
    {
        if (handled(line))
        {
            said.push_back(line.text);
        }
    }
    if (said != handlerLines)
    {
        return "the handler's lines are not in order";
    }
    // The start goes on; its threads are all there, and released, once the main loop answers.
    if (!observer_.waitForOwner(rig::daemonName, kit::patience, formerOwner_))
    {
        return "it never takes its name";
    }
    formerOwner_ = observer_.ownerOf(rig::daemonName);
    observer_.ping(rig::daemonName);
    if (!daemon.waitForThreads(2, kit::patience))
    {
        return std::to_string(daemon.threads()) + " threads are left";
    }
    slowest_ = std::max(slowest_, Clock::now() - begin);
    return daemon.running() ? "" : "it has ended";
}

TEST(StartFaults, C1ThousandInterruptedStartsUnderAStorm)
{
    if (faults::threadSanitizer)
    {
        GTEST_SKIP() << "ThreadSanitizer delivers signals late: storms are for plain builds";
    }
    const unsigned each = static_cast<unsigned>(faults::rounds(1, 100));
    std::atomic<unsigned> early{0};
    std::vector<std::string> problems(worlds);
    std::vector<Clock::duration> slowest(worlds);
    {
        std::vector<std::jthread> threads;
        for (unsigned number = 0; number < worlds; ++number)
        {
            threads.emplace_back(
                [&, number]
                {
                    World world(number);
                    for (unsigned round = 0; round < each && problems[number].empty(); ++round)
                    {
                        problems[number] = world.start();
                    }
                    early += world.early();
                    slowest[number] = world.slowest();
                });
        }
    }
    for (const std::string& problem : problems)
    {
        EXPECT_EQ(problem, "");
    }
    const auto most = *std::max_element(slowest.begin(), slowest.end());
    if (faults::whole()) // beside other tests a release waits for its turn
    {
        EXPECT_LE(most, releasedWithin) << "from the interrupt to two threads and an answer";
    }
    std::cout << "[ MEASURED ] " << worlds * each << " starts, " << early
              << " interrupted before the handler was there, slowest release "
              << std::chrono::duration_cast<std::chrono::milliseconds>(most).count() << " ms\n";
}

} // namespace
