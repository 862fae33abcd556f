#include "base/names.hpp"
#include "inspect/findings.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using inspect::Finding;
using inspect::World;

using namespace worlds;

std::vector<std::string> codesOf(const World& world)
{
    std::vector<std::string> codes;
    for (const Finding& finding : inspect::check(inspect::examine(world)))
    {
        codes.push_back(finding.code + " " + inspect::leafOf(finding.path));
    }
    return codes;
}

using Codes = std::vector<std::string>;

TEST(check, findsNothingOnAHealthyMachine)
{
    EXPECT_EQ(codesOf(worldOf(sim::makeInventory(12, 2))), Codes());
    EXPECT_EQ(codesOf(inspect::readFolder(inventories / "two-socket-2u")), Codes());
}

TEST(check, namesTheOnePropertyThatKeepsTwoApart)
{
    World world = worldOf(sim::makeInventory(3));
    property(world.board, sim::kovdSlotPath(2), names::kovdSlotInterface,
             "PCIeLocatorInstanceNum") = sim::Value::uint16(40);
    const auto findings = inspect::check(inspect::examine(world));
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].code, "near-miss");
    EXPECT_EQ(findings[0].severity, inspect::Severity::error);
    EXPECT_EQ(findings[0].path, sim::kovdSlotPath(2));
    EXPECT_NE(findings[0].sentence.find("SlotID 2, PCIeLocatorInstanceNum 40: differ"),
              std::string::npos);
}

TEST(check, findsAKeptPropertyOfAnotherType)
{
    World world = worldOf(sim::makeInventory(1));
    property(world.smbios, sim::smbiosSlotPath(1), names::smbiosSlotInterface, "SlotID") =
        sim::Value::uint32(1);
    EXPECT_EQ(codesOf(world), Codes{"kept-type " + inspect::leafOf(sim::smbiosSlotPath(1))});
}

TEST(check, findsTwoSlotsWithOneIdentifier)
{
    World world = worldOf(sim::makeInventory(1));
    world.smbios.insert(sim::makeSmbiosSlot(7, "PCIe Slot 7", 1));
    EXPECT_EQ(codesOf(world), Codes{"same-slot-id " + inspect::leafOf(sim::smbiosSlotPath(1))});
}

TEST(check, findsPathsOfWhichOneBeginsAnother)
{
    World world = worldOf(sim::makeInventory(1));
    const std::string longer = sim::kovdSlotPath(1) + "0/nic1";
    world.board.emplace(longer, sim::makeKovdDevice(1, 1).second);
    EXPECT_EQ(codesOf(world), Codes{"path-prefix " + inspect::leafOf(sim::kovdSlotPath(1))});
}

TEST(check, findsDescriptorsThatNameNoSlot)
{
    World world = worldOf(sim::makeInventory(1));
    property(world.board, sim::kovdDevicePath(1, 1), names::kovdDeviceInterface, "FQDD") =
        sim::Value::string("NIC.Slot");
    EXPECT_EQ(codesOf(world), Codes{"fqdd-short " + inspect::leafOf(sim::kovdDevicePath(1, 1))});
}

TEST(check, findsLocatorTypesThatNoRuleKnows)
{
    World world = worldOf(sim::makeInventory(1));
    world.board.insert(sim::makeKovdSlot(9, "Nic.Slot.9-1", 3, 9));
    EXPECT_EQ(codesOf(world), Codes{"locator-type " + inspect::leafOf(sim::kovdSlotPath(9))});
}

TEST(check, findsNumbersThatDoNotFit)
{
    World world = worldOf(sim::makeInventory(1));
    world.smbios.insert(sim::makeSmbiosSlot(7, "PCIe Slot 99999999999", 7));
    EXPECT_EQ(codesOf(world), Codes{"number-range " + inspect::leafOf(sim::smbiosSlotPath(7))});
}

TEST(check, findsCachesThatNoProcessorNames)
{
    World world = worldOf(sim::makeInventory(0, 1));
    property(world.smbios, sim::smbiosCachePath(1, 2), names::smbiosCacheInterface, "Handle") =
        sim::Value::uint16(9999);
    EXPECT_EQ(codesOf(world),
              Codes{"cache-unnamed " + inspect::leafOf(sim::smbiosCachePath(1, 2))});
}

TEST(check, findsProcessorsWhoseKeyAndNumberDisagree)
{
    World world = worldOf(sim::makeInventory(0, 1));
    property(world.board, sim::kovdCpuPath(1), names::kovdItemInterface, "TargetDevKey") =
        sim::Value::string("Kov.Socket.01");
    const std::string cpu = inspect::leafOf(sim::kovdCpuPath(1));
    EXPECT_EQ(codesOf(world), (Codes{"near-miss " + cpu, "cpu-key " + cpu}));
}

} // namespace
