#include "base/names.hpp"
#include "hwinv_demo/report.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace
{

using namespace hwinv_demo;
using namespace worlds;
using inspect::World;

std::string reportOf(const World& world, const Expectation& expected = {})
{
    std::ostringstream out;
    printReport(out, factsOf(world), expected);
    return out.str();
}

/** Whether a line of the report has both texts. */
bool hasLine(const std::string& report, const std::string& first, const std::string& second)
{
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);)
    {
        if (line.find(first) != std::string::npos && line.find(second) != std::string::npos)
        {
            return true;
        }
    }
    return false;
}

TEST(Report, SaysWhyAPlatformObjectBelongsToItsSlot)
{
    const std::string report = reportOf(written(worldOf(sim::makeInventory(1))));

    EXPECT_TRUE(hasLine(report, "pcieslot0001  \"PCIe Slot 1\", id 1",
                        "both name slot 1 (Nic.Slot.1-1), both have identifier 1"))
        << report;
    EXPECT_TRUE(hasLine(report, "pcie_slot_0001/device1",
                        "it inherits from the slot object above it, pcie_slot_0001"))
        << report;
    EXPECT_TRUE(hasLine(report, "chassis/motherboard/pcie_slot_0001",
                        "it takes the association of its twin below the board path"))
        << report;
}

TEST(Report, SaysWhatTheRulesGiveWhereSomethingElseStands)
{
    World world = written(worldOf(sim::makeInventory(2)));
    setList(world, sim::kovdSlotPath(1), {{"chassis", "pcieslot", sim::smbiosSlotPath(2)}});
    const std::string report = reportOf(world);

    EXPECT_TRUE(hasLine(report, "board/pcie_slot_0001 ", "by the rules it belongs to pcieslot0001"))
        << report;
}

TEST(Report, CountsSlotsAsAPersonDoes)
{
    const std::string report = reportOf(written(healthy().world));

    EXPECT_LT(report.find("pcieslot2 "), report.find("pcieslot10 ")) << report;
}

TEST(Report, ShowsAProcessorsListInItsOrder)
{
    World world = worldOf(sim::makeInventory(0, 1));
    setList(world, sim::kovdCpuPath(1),
            {{"chassis", "processor", sim::smbiosCpuPath(1)},
             {"processor", "L2CacheHandle", sim::smbiosCachePath(1, 2)},
             {"processor", "L1CacheHandle", sim::smbiosCachePath(1, 1)}});
    const std::string report = reportOf(world);

    EXPECT_TRUE(hasLine(report, "board/cpu1  Kov.Socket.1", "cpu1, socket CPU1")) << report;
    EXPECT_LT(report.find("L2CacheHandle"), report.find("L1CacheHandle")) << report;
}

TEST(Report, ShowsAProcessorThatShouldHaveAListAndHasNone)
{
    const Lists lists{{sim::kovdCpuPath(1), {{"chassis", "processor", sim::smbiosCpuPath(1)}}}};
    const std::string report = reportOf(worldOf(sim::makeInventory(0, 1)), {{}, lists, {}, {}});

    EXPECT_TRUE(hasLine(report, "board/cpu1  Kov.Socket.1", "nothing")) << report;
}

TEST(Report, SaysWhyAnObjectIsUnpaired)
{
    World world = worldOf(sim::makeInventory(1));
    world.live = true;
    world.board.erase(sim::kovdDevicePath(1, 1)); // its FQDD would fit
    property(world.smbios, sim::smbiosSlotPath(1), names::smbiosSlotInterface, "SlotID") =
        sim::Value::uint16(9);
    const std::string report = reportOf(world, {{}, {}, {{"/elsewhere", "not shown"}}, {}});

    EXPECT_TRUE(hasLine(report, "board/pcie_slot_0001 ",
                        "the only SMBIOS slot, pcieslot0001, does not fit: SlotID 9, "
                        "PCIeLocatorInstanceNum 1: differ"))
        << report;
    EXPECT_TRUE(hasLine(report, "chassis/motherboard/pcieslot0001 ", "the only platform slot"))
        << report;
    EXPECT_EQ(report.find("not shown"), std::string::npos) << report;
}

TEST(Report, SaysWhyAnObjectIsNotEvenStored)
{
    World world = worldOf(sim::makeInventory(1));
    property(world.smbios, sim::smbiosSlotPath(1), names::smbiosSlotInterface, "SlotID") =
        sim::Value::uint32(1);

    EXPECT_TRUE(hasLine(reportOf(world), "chassis/motherboard/pcieslot0001 ",
                        "SlotID has type u, and the daemon reads q"));
}

} // namespace
