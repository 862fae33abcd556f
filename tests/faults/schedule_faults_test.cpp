// The schedule of the recovery and fallback threads of the program that ships: what a clock of the
// tests' own shows in milliseconds, here by the daemon's clock. With that clock warped it takes
// seconds, also with waits that end before their time; at real speed eight minutes.

#include "faults/kit/fault_test.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <map>

namespace
{

using namespace std::chrono_literals;
using kit::Texts;
using Seconds = std::chrono::duration<double>;

const std::string starting = "Resync starting...";
const std::string completed = "Recovery: resync completed. Entering cool-down...";
const std::string cooledDown = "Recovery: cool-down completed";
const std::string exiting = "Recovery thread exiting.";

/** The part of its length by which an interval may differ. A sanitizer is late at both ends. */
const double exact = kit::sanitized() ? 0.05 : 0.01;

/** An interval is never shorter by more than it takes to read the line at its beginning. What a
 * busy machine adds has no such bound; so where there are several, one of them has to be exact. */
constexpr Seconds readingTime = 50ms;
constexpr Seconds busyTime = 2s;

/** How time passes for the daemon. */
struct Pace
{
    const char* name;
    unsigned warp;
    unsigned early; // one of so many timed waits ends when half of its time is left; 0: none
};

void PrintTo(const Pace& pace, std::ostream* stream)
{
    *stream << pace.name;
}

class Schedule : public kit::FaultTest, public testing::WithParamInterface<Pace>
{
  protected:
    using Moment = sim::Clock::time_point;

    /** The daemon's time from one moment to another. */
    static Seconds apart(Moment from, Moment to)
    {
        return GetParam().warp * Seconds(to - from);
    }

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

    struct Resync
    {
        Moment start;
        Moment end;
    };

    Resync resync(std::size_t number)
    {
        const Moment start = momentOf("startRecovery", starting, number, 100s);
        return {start, momentOf("startRecovery", completed, number, kit::patience)};
    }

    Moment coolDown(std::size_t number)
    {
        return momentOf("startRecovery", cooledDown, number, 100s);
    }

    /** It is one of the intervals that have to be so long. */
    void note(std::chrono::seconds expected, Moment from, Moment to)
    {
        const Seconds took = apart(from, to);
        const Seconds slack = GetParam().warp * readingTime;
        EXPECT_GE(took, expected - slack) << expected.count() << " s, from a line to the next";
        EXPECT_LE(took, expected + GetParam().warp * busyTime) << expected.count() << " s";
        intervals_[expected].push_back(took);
    }

    void expectExact() const
    {
        for (const auto& [expected, all] : intervals_)
        {
            const Seconds wanted = expected;
            const auto closer = [&](Seconds one, Seconds other)
            { return std::abs((one - wanted).count()) < std::abs((other - wanted).count()); };
            const Seconds best = *std::min_element(all.begin(), all.end(), closer);
            EXPECT_NEAR(best.count(), wanted.count(), wanted.count() * exact);
            kit::measured(textOf(expected, all));
        }
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

  private:
    static std::string textOf(std::chrono::seconds expected, const std::vector<Seconds>& all)
    {
        std::string text = std::to_string(expected.count()) + " s:";
        for (const Seconds one : all)
        {
            std::array<char, 32> number{};
            std::snprintf(number.data(), number.size(), " %.3f", one.count());
            text += number.data();
        }
        return text;
    }

    std::map<std::chrono::seconds, std::vector<Seconds>> intervals_;
};

TEST_P(Schedule, C11HoldsEachInterval)
{
    startWith({.warp = GetParam().warp, .early = GetParam().early}, {}, 5);
    const Moment begun = momentOf("main", "starting new process", 1, kit::patience);
    settle();
    publish(sim::makeInventory(2, 1)); // too late for the start-up, and nobody signals it
    settle();
    EXPECT_EQ(lists(), kit::Lists{});

    const Moment first = trigger("1/2", 200s);
    note(180s, begun, first);
    EXPECT_EQ(times("startRecovery", starting), 0u);

    const Resync firstResync = resync(1);
    note(5s, first, firstResync.start);
    EXPECT_TRUE(waitForList(sim::kovdSlotPath(2), kit::inSlot(sim::smbiosSlotPath(2))));
    settle();
    EXPECT_EQ(lists(), kit::listsOf(2, 1));

    publishUnreadable(); // during the cool-down: one more resync, behind it
    publishUnreadable();
    const Moment cooled = coolDown(1);
    note(60s, firstResync.end, cooled);
    const Resync secondResync = resync(2);
    note(5s, cooled, secondResync.start);
    note(65s, firstResync.end, secondResync.start);
    note(60s, secondResync.end, coolDown(2));

    const Moment second = trigger("2/2", 250s);
    note(300s, first, second);
    EXPECT_EQ(times("startRecovery", starting), 2u); // idle in between
    const Resync thirdResync = resync(3);
    note(5s, second, thirdResync.start);
    expectExact();

    daemon().signal(SIGINT); // during the cool-down: it ends at once
    EXPECT_TRUE(waitForLine("startRecovery", exiting));
    EXPECT_LE(apart(thirdResync.end, sim::Clock::now()), 50s);
    EXPECT_EQ(logged("startRecovery"), (Texts{starting, completed, cooledDown, starting, completed,
                                              cooledDown, starting, completed, exiting}));
    EXPECT_EQ(logged("startDelayedFallbackResync"),
              (Texts{"Fallback resync: triggering resync request 1/2.",
                     "Fallback resync: triggering resync request 2/2.",
                     "Fallback resync thread completed all 2 resync triggers."}));
    EXPECT_EQ(lists(), kit::listsOf(2, 1));
}

// Faster than that, and what a busy machine adds to five seconds would be more than a hundredth.
INSTANTIATE_TEST_SUITE_P(With, Schedule,
                         testing::Values(Pace{"RealSpeed", 1, 0}, Pace{"WarpedClock", 10, 0},
                                         Pace{"EarlyWakeUps", 10, 3}),
                         [](const auto& pace) { return std::string(pace.param.name); });

} // namespace
