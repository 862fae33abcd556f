// The schedule of the recovery and fallback threads in real time: what the fake clock shows in
// milliseconds, once with the program as it ships. Takes eight minutes.

#include "kit/bus_test.hpp"

#include <csignal>

namespace
{

using namespace std::chrono_literals;
using kit::Texts;
using Seconds = std::chrono::duration<double>;

const std::string starting = "Resync starting...";
const std::string completed = "Recovery: resync completed. Entering cool-down...";
const std::string cooledDown = "Recovery: cool-down completed";
const std::string exiting = "Recovery thread exiting.";

/** What a busy machine may add to a moment, or to the reading of the line before it. */
constexpr Seconds tolerance{2};

class Schedule : public kit::BusTest
{
  protected:
    using Moment = sim::Clock::time_point;

    /** When the line is there for this time; a failure when it is not within the limit. */
    Moment momentOf(const std::string& function, const std::string& text, std::size_t number,
                    std::chrono::milliseconds limit)
    {
        EXPECT_TRUE(daemon().log().waitFor(rig::says(function, text), limit, 0, number))
            << number << " times \"" << text << "\"; " << kit::tailOf(daemon().log());
        return sim::Clock::now();
    }

    Moment trigger(const std::string& number, std::chrono::seconds limit)
    {
        return momentOf("startDelayedFallbackResync",
                        "Fallback resync: triggering resync request " + number + ".", 1, limit);
    }

    /** The whole of a resync and its moment: the start. */
    Moment resync(std::size_t number)
    {
        const Moment moment = momentOf("startRecovery", starting, number, 100s);
        momentOf("startRecovery", completed, number, kit::patience);
        return moment;
    }

    Moment coolDown(std::size_t number)
    {
        return momentOf("startRecovery", cooledDown, number, 100s);
    }

    static void expectApart(Moment from, Moment to, std::chrono::seconds expected)
    {
        EXPECT_NEAR(Seconds(to - from).count(), Seconds(expected).count(), tolerance.count());
    }

    /** An object that cannot be read, and is gone before anybody reads it again. */
    void publishUnreadable()
    {
        auto slot = sim::makeSmbiosSlot(9);
        slot.second[sim::names::smbiosSlot]["SlotID"] = sim::Value::uint32(9);
        smbios.addObject(slot.first, slot.second);
        smbios.removeObject(slot.first);
        settle();
    }
};

TEST_F(Schedule, HoldsInRealTime)
{
    const Moment before = sim::Clock::now();
    startDaemon({}, 5);
    settle();
    const Moment started = sim::Clock::now();
    publish(sim::makeInventory(2, 1)); // too late for the start-up, and nobody signals it
    settle();
    EXPECT_EQ(lists(), kit::Lists{});

    const Moment first = trigger("1/2", 200s);
    EXPECT_GE(first - before, 180s);
    EXPECT_LE(Seconds(first - started), Seconds(180s) + tolerance);
    EXPECT_EQ(times("startRecovery", starting), 0u);

    const Moment firstResync = resync(1);
    expectApart(first, firstResync, 5s);
    EXPECT_TRUE(waitForList(sim::kovdSlotPath(2), kit::inSlot(sim::smbiosSlotPath(2))));
    settle();
    EXPECT_EQ(lists(), kit::listsOf(2, 1));

    publishUnreadable(); // during the cool-down: one more resync, behind it
    publishUnreadable();
    expectApart(firstResync, coolDown(1), 60s);
    const Moment secondResync = resync(2);
    expectApart(firstResync, secondResync, 65s);
    expectApart(secondResync, coolDown(2), 60s);

    const Moment second = trigger("2/2", 250s);
    expectApart(first, second, 300s);
    EXPECT_EQ(times("startRecovery", starting), 2u); // idle in between
    const Moment thirdResync = resync(3);
    expectApart(second, thirdResync, 5s);

    daemon().signal(SIGINT); // during the cool-down: it ends at once
    EXPECT_TRUE(waitForLine("startRecovery", exiting));
    EXPECT_LE(Seconds(sim::Clock::now() - thirdResync), 50s);
    EXPECT_EQ(logged("startRecovery"), (Texts{starting, completed, cooledDown, starting, completed,
                                              cooledDown, starting, completed, exiting}));
    EXPECT_EQ(logged("startDelayedFallbackResync"),
              (Texts{"Fallback resync: triggering resync request 1/2.",
                     "Fallback resync: triggering resync request 2/2.",
                     "Fallback resync thread completed all 2 resync triggers."}));
    EXPECT_EQ(lists(), kit::listsOf(2, 1));
}

} // namespace
