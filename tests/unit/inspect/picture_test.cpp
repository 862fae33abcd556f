#include "base/names.hpp"
#include "inspect/picture.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;
using inspect::Group;
using inspect::Node;
using inspect::Picture;

std::vector<std::string> labelsOf(const std::vector<Node>& nodes)
{
    std::vector<std::string> labels;
    for (const Node& node : nodes)
    {
        labels.push_back(node.label + " " + node.state);
    }
    return labels;
}

using Labels = std::vector<std::string>;

TEST(pictureOf, putsWhatBelongsToASlotBelowIt)
{
    const Picture picture = pictureOf(inspect::examine(worldOf(sim::makeInventory(2))));
    ASSERT_EQ(picture.slots.size(), 2U);
    const Group& slot = picture.slots[1];
    EXPECT_EQ(slot.head.label, "pcieslot0002");
    EXPECT_EQ(slot.head.detail, "PCIe Slot 2");
    EXPECT_EQ(slot.head.kind, "SMBIOS slot");
    EXPECT_EQ(slot.head.state, "taken");
    EXPECT_EQ(labelsOf(slot.members),
              (Labels{"pcie_slot_0002 paired", "device1 paired", "pcie_slot_0002 paired"}));
    EXPECT_EQ(slot.members[0].detail, "Nic.Slot.2-1");
    EXPECT_EQ(slot.members[0].sentence, "pcie_slot_0002 belongs to pcieslot0002: that is the first "
                                        "SMBIOS slot that fits.");
    EXPECT_TRUE(picture.loose.empty());
}

TEST(pictureOf, putsCachesBelowTheirProcessor)
{
    inspect::World world = worldOf(sim::makeInventory(0, 1));
    world.smbios.insert(sim::makeSmbiosCache(2, 1));
    const Picture picture = pictureOf(inspect::examine(world));
    ASSERT_EQ(picture.processors.size(), 1U);
    EXPECT_EQ(labelsOf(picture.processors[0].members),
              (Labels{"cpu1 paired", "cpu1_l1 taken", "cpu1_l2 taken", "cpu1_l3 taken"}));
    EXPECT_EQ(labelsOf(picture.loose), Labels{"cpu2_l1 untaken"});
}

TEST(pictureOf, countsSlotsAsAPersonDoes)
{
    const Picture picture = pictureOf(healthy());
    EXPECT_EQ(picture.slots[1].head.label, "pcieslot2");
    EXPECT_EQ(picture.slots[9].head.label, "pcieslot10");
}

TEST(pictureOf, setsApartWhatLeadsNowhere)
{
    inspect::World world = written(worldOf(sim::makeInventory(2)));
    setList(world, sim::kovdSlotPath(1), {{"chassis", "pcieslot", "/gone"}});
    setList(world, sim::kovdSlotPath(2), {});
    EXPECT_EQ(labelsOf(pictureOf(inspect::examine(world)).loose),
              (Labels{"pcie_slot_0002 drifted", "pcie_slot_0001 stale"}));
}

TEST(toJson, hasEveryObjectOnce)
{
    for (const inspect::Machine* machine : {&healthy(), &awkward()})
    {
        const std::string text = toJson(pictureOf(*machine)).dump();
        for (const inspect::Entry& entry : machine->entries)
        {
            const std::string wanted = "\"path\":\"" + entry.path + '"';
            const std::size_t at = text.find(wanted);
            EXPECT_NE(at, std::string::npos) << entry.path;
            EXPECT_EQ(text.find(wanted, at + 1), std::string::npos) << entry.path;
        }
    }
}

} // namespace
