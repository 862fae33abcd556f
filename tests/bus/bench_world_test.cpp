// The benchmark's world: everything in it pairs in the daemon, each event has one Set, and what was
// filled before is what is answered.

#include "sim/samples.hpp"
#include "stage.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

namespace
{

constexpr bench::Shape shape{.slots = 3, .cpus = 2};

/** On a busy machine, with all sanitizers. */
const bench::Manner patient{.patience = std::chrono::seconds(60)};

class World : public testing::Test
{
  protected:
    static bench::Program program()
    {
        const char* other = std::getenv("HWINV_DAEMON");
        return {"daemon", {other != nullptr ? other : BUILT_DAEMON}};
    }

    /** Object to the number of its Sets. */
    std::map<std::string, unsigned> setsByPath() const
    {
        std::map<std::string, unsigned> counts;
        for (const bench::SetCall& set : stage.world.sets())
        {
            ++counts[set.path];
        }
        return counts;
    }

    bench::Stage stage{shape};
};

TEST_F(World, pairsAsAWholeWhenTheDaemonStarts)
{
    const bench::Run run(stage, program(), patient);

    std::map<std::string, unsigned> expected;
    for (unsigned slot = 1; slot <= shape.slots; ++slot)
    {
        expected[sim::kovdSlotPath(slot)] = 1;
        expected[sim::kovdDevicePath(slot, 1)] = 1;
        expected[sim::kovdDevicePath(slot, 2)] = 1;
        expected[sim::kovdChassisPath(slot)] = 1;
    }
    expected[sim::kovdCpuPath(1)] = 1;
    expected[sim::kovdCpuPath(2)] = 1;
    EXPECT_EQ(setsByPath(), expected);
    EXPECT_EQ(shape.allSets(), 14U);
    EXPECT_GT(run.untilName(), 0);
    EXPECT_GE(run.untilLastSet(), run.untilName());
    EXPECT_GT(run.startUpProcessorTime(), 0);
}

TEST_F(World, answersASecondStartWithWhatWasFilledBefore)
{
    {
        const bench::Run first(stage, program(), patient);
        EXPECT_FALSE(stage.world.answeredAtOnce());
    }
    const auto firstSets = setsByPath();
    const bench::Run second(stage, program(), patient);
    EXPECT_TRUE(stage.world.answeredAtOnce());
    EXPECT_EQ(setsByPath(), firstSets);
}

TEST_F(World, hasOneSetForEachEvent)
{
    bench::Run run(stage, program(), patient);
    for (unsigned number = 1; number <= 3; ++number)
    {
        const sim::Object slot = bench::slotEvent(shape, number);
        run.event(stage.world.boardSignal(slot), slot.first);
        const sim::Object device = bench::deviceEvent(number);
        run.event(stage.world.boardSignal(device), device.first);
    }
    EXPECT_EQ(stage.world.sets().size(), shape.allSets() + 6);
}

TEST_F(World, hasASetForEachEventOfABurst)
{
    bench::Run run(stage, program(), patient);
    std::vector<sim::Message> signals;
    for (unsigned number = 0; number < 100; ++number)
    {
        signals.push_back(stage.world.boardSignal(bench::slotEvent(shape, number)));
    }
    EXPECT_GT(run.burst(signals), 0);
    EXPECT_EQ(stage.world.sets().size(), shape.allSets() + 100);
}

TEST_F(World, refusesAProgramThatSetsTooLittle)
{
    const bench::Program nobody{"nobody", {"sleep", "60"}};
    const bench::Manner impatient{.patience = std::chrono::seconds(1)};
    try
    {
        const bench::Run run(stage, nobody, impatient);
        FAIL() << "it has been accepted";
    }
    catch (const sim::Error& error)
    {
        EXPECT_STREQ(error.what(), "nobody has made 0 Sets and not 14 at its start");
    }
}

} // namespace
