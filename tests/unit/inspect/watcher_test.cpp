#include "base/names.hpp"
#include "inspect/watcher.hpp"
#include "sim/bus.hpp"
#include "sim/names.hpp"
#include "sim/service.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <chrono>

namespace
{

using namespace worlds;
using inspect::AssociationChange;

const sim::Associations inSlot{{"chassis", "pcieslot", sim::smbiosSlotPath(1)}};

/** The platform service with one slot, and a watcher beside it. */
class Watching : public testing::Test
{
  protected:
    Watching()
    {
        kovd.load(sim::makeInventory(1).kovd);
        kovd.start();
        connection = sim::connectTo(bus.address());
        watcher.emplace(connection.get(),
                        [this](const AssociationChange& change) { changes.push_back(change); });
    }

    /** Works off what comes until so many changes were reported; gives up after some seconds. */
    void await(std::size_t wanted)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (changes.size() < wanted && std::chrono::steady_clock::now() < deadline)
        {
            if (sim::check(sd_bus_process(connection.get(), nullptr), "talk to the bus") == 0)
            {
                sim::check(sd_bus_wait(connection.get(), 100'000), "wait for the bus");
            }
        }
        ASSERT_EQ(changes.size(), wanted);
    }

    void set(const sim::Associations& list)
    {
        kovd.changeProperties(sim::kovdSlotPath(1), sim::names::associationDefinitions,
                              {{sim::names::associations, sim::Value::associations(list)}});
    }

    sim::PrivateBus bus;
    sim::Service kovd{bus.address(), sim::kovdProfile()};
    sim::Connection connection;
    std::vector<AssociationChange> changes;
    std::optional<inspect::AssociationWatcher> watcher;
};

TEST_F(Watching, CountsTheObjectsThatItBeganWith)
{
    EXPECT_EQ(watcher->objects(), 3U); // the slot, its device, its twin
}

TEST_F(Watching, TellsWhereAnObjectLedToAndLeadsToNow)
{
    set(inSlot);
    set(inSlot); // no change
    set({});
    await(2);
    EXPECT_EQ(changes[0].path, sim::kovdSlotPath(1));
    EXPECT_TRUE(changes[0].before.empty());
    EXPECT_EQ(inspect::partnerOf(changes[0].after), sim::smbiosSlotPath(1));
    EXPECT_EQ(changes[1].before, changes[0].after);
    EXPECT_TRUE(changes[1].after.empty());
}

TEST_F(Watching, TellsWhatGoesAndComesWithItsObject)
{
    set(inSlot);
    kovd.removeObject(sim::kovdSlotPath(1));
    kovd.addObject(sim::kovdSlotPath(1),
                   {{sim::names::associationDefinitions,
                     {{sim::names::associations, sim::Value::associations(inSlot)}}}});
    await(3);
    EXPECT_TRUE(changes[1].after.empty());
    EXPECT_EQ(inspect::partnerOf(changes[2].after), sim::smbiosSlotPath(1));
}

TEST_F(Watching, TellsWhatIsGoneWithTheService)
{
    set(inSlot);
    await(1);
    kovd.stop();
    await(2);
    EXPECT_TRUE(changes[1].after.empty());
    kovd.start();
    await(3);
    EXPECT_EQ(inspect::partnerOf(changes[2].after), sim::smbiosSlotPath(1));
}

TEST_F(Watching, OverhearsASignalOfAnotherShape)
{
    kovd.emitSignal({sim::kovdSlotPath(1), sim::names::properties, "PropertiesChanged", "su",
                     sim::Json::array({"x", 1})});
    set(inSlot);
    await(1);
}

} // namespace
