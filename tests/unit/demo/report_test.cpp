#include "hwinv_demo/report.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace
{

using namespace hwinv_demo;

std::string reportOf(const Facts& facts, const Expectation& expected = {})
{
    std::ostringstream out;
    printReport(out, facts, expected);
    return out.str();
}

sim::Associations inSlot(unsigned number)
{
    return {{"chassis", "pcieslot", sim::smbiosSlotPath(number)}};
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
    const auto inventory = sim::makeInventory(1);
    const Facts facts{inventory.smbios,
                      inventory.kovd,
                      {{sim::kovdSlotPath(1), inSlot(1)},
                       {sim::kovdDevicePath(1, 1), inSlot(1)},
                       {sim::kovdChassisPath(1), inSlot(1)}}};
    const std::string report = reportOf(facts);

    EXPECT_TRUE(
        hasLine(report, "pcieslot0001  \"PCIe Slot 1\", id 1", "FQDD Nic.Slot.1-1, slot id 1"))
        << report;
    EXPECT_TRUE(
        hasLine(report, "pcie_slot_0001/device1", "device in pcie_slot_0001, FQDD Nic.Slot.1-1-1"))
        << report;
    EXPECT_TRUE(
        hasLine(report, "chassis/motherboard/pcie_slot_0001", "same name as its slot on the board"))
        << report;
}

TEST(Report, TellsADeviceInASlotFromOneWhosePathOnlyContainsIts)
{
    const std::string slot = "/xyz/openbmc_project/inventory/system/board/pcie_slot_1";
    const std::string device = slot + "0/nic1";
    const Facts facts{{sim::makeSmbiosSlot(1)},
                      {{slot, sim::makeKovdSlot(1).second},
                       {slot + "0", sim::makeKovdSlot(10).second},
                       {device, sim::makeKovdDevice(10, 1).second}},
                      {{slot, inSlot(1)}, {device, inSlot(1)}}};
    const std::string report = reportOf(facts);

    EXPECT_TRUE(hasLine(report, "board/pcie_slot_10/nic1", "its path contains pcie_slot_1"))
        << report;
}

TEST(Report, GivesADeviceWithoutASlotItsDescriptor)
{
    const Facts facts{{sim::makeSmbiosSlot(1)},
                      {sim::makeKovdDevice(1, 1)},
                      {{sim::kovdDevicePath(1, 1), inSlot(1)}}};
    const std::string report = reportOf(facts);

    EXPECT_TRUE(hasLine(report, "pcie_slot_0001/device1", "  FQDD Nic.Slot.1-1-1")) << report;
    EXPECT_FALSE(hasLine(report, "pcie_slot_0001/device1", "device in")) << report;
}

TEST(Report, CountsSlotsAsAPersonDoes)
{
    const std::string slot = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot";
    Facts facts;
    for (const char* number : {"10", "2"})
    {
        facts.kovd[std::string("/board") + number] = sim::makeKovdSlot(1).second;
        facts.associations[std::string("/board") + number] = {
            {"chassis", "pcieslot", slot + number}};
    }
    const std::string report = reportOf(facts);

    EXPECT_LT(report.find("pcieslot2 "), report.find("pcieslot10 ")) << report;
}

TEST(Report, ShowsAProcessorsListInItsOrder)
{
    const auto inventory = sim::makeInventory(0, 1);
    const Lists lists{{sim::kovdCpuPath(1),
                       {{"chassis", "processor", sim::smbiosCpuPath(1)},
                        {"processor", "L2CacheHandle", sim::smbiosCachePath(1, 2)},
                        {"processor", "L1CacheHandle", sim::smbiosCachePath(1, 1)}}}};
    const std::string report =
        reportOf({inventory.smbios, inventory.kovd, lists}, {{}, lists, {}, {}});

    EXPECT_TRUE(hasLine(report, "board/cpu1  Kov.Socket.1", "cpu1, socket CPU1")) << report;
    EXPECT_LT(report.find("L2CacheHandle"), report.find("L1CacheHandle")) << report;
}

TEST(Report, ShowsWhatIsUnpairedOnTheBusWithItsReason)
{
    const auto inventory = sim::makeInventory(1);
    const std::string report =
        reportOf({inventory.smbios, inventory.kovd, {}},
                 {{}, {}, {{sim::kovdSlotPath(1), "a reason"}}, {{"/elsewhere", "not shown"}}});

    EXPECT_TRUE(hasLine(report, "board/pcie_slot_0001 ", "a reason")) << report;
    EXPECT_TRUE(hasLine(report, "chassis/motherboard/pcieslot0001", "")) << report;
    EXPECT_EQ(report.find("not shown"), std::string::npos) << report;
}

} // namespace
