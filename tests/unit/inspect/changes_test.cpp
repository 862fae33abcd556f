#include "base/names.hpp"
#include "inspect/changes.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;
using inspect::ChangeKind;
using inspect::Difference;
using inspect::World;

Difference between(const World& before, const World& after)
{
    return inspect::differenceOf(inspect::examine(before), inspect::examine(after));
}

TEST(differenceOf, isNothingBetweenAnInventoryAndItself)
{
    const World world = worldOf(sim::makeInventory(2, 1));
    const Difference none = between(world, world);
    EXPECT_TRUE(none.changes.empty());
    EXPECT_TRUE(none.pairings.empty());
}

TEST(differenceOf, leavesOutWhatTheDaemonWrites)
{
    const World world = worldOf(sim::makeInventory(2, 1));
    const Difference none = between(world, written(world));
    EXPECT_TRUE(none.changes.empty());
    EXPECT_TRUE(none.pairings.empty());
}

TEST(differenceOf, namesWhatAppearedAndWentWithItsPairing)
{
    const World one = worldOf(sim::makeInventory(1));
    const World two = worldOf(sim::makeInventory(2));
    const Difference grown = between(one, two);
    ASSERT_EQ(grown.changes.size(), 4U); // the slot on both sides, its device, its twin
    EXPECT_EQ(grown.changes[0].kind, ChangeKind::appeared);
    EXPECT_EQ(grown.changes[0].path, sim::kovdSlotPath(2));
    ASSERT_EQ(grown.pairings.size(), 3U);
    EXPECT_EQ(grown.pairings[0].path, sim::kovdSlotPath(2));
    EXPECT_EQ(grown.pairings[0].before, "");
    EXPECT_EQ(grown.pairings[0].after, sim::smbiosSlotPath(2));

    const Difference shrunk = between(two, one);
    EXPECT_EQ(shrunk.changes[0].kind, ChangeKind::went);
    EXPECT_EQ(shrunk.pairings[0].before, sim::smbiosSlotPath(2));
    EXPECT_EQ(shrunk.pairings[0].after, "");
}

TEST(differenceOf, tellsPropertiesWithBothValues)
{
    const World before = worldOf(sim::makeInventory(1));
    World after = before;
    property(after.smbios, sim::smbiosSlotPath(1), names::smbiosSlotInterface, "SlotID") =
        sim::Value::uint16(9);
    property(after.smbios, sim::smbiosSlotPath(1), names::smbiosSlotInterface, "New") =
        sim::Value::boolean(true);
    const Difference found = between(before, after);
    ASSERT_EQ(found.changes.size(), 1U);
    EXPECT_EQ(found.changes[0].kind, ChangeKind::changed);
    EXPECT_EQ(found.changes[0].properties,
              (std::vector<std::string>{"New: none -> true", "SlotID: 1 -> 9"}));
    EXPECT_EQ(found.pairings.size(), 2U); // slot and twin; the device fits by its own FQDD
}

} // namespace
