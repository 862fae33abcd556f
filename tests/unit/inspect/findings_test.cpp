#include "base/names.hpp"
#include "inspect/findings.hpp"
#include "inspect/fleet.hpp"
#include "inspect/near_miss.hpp"
#include "sim/error.hpp"
#include "sim/samples.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace
{

using inspect::Finding;
using inspect::World;

const std::filesystem::path inventories = INVENTORY_FOLDER;

World worldOf(const sim::InventoryCapture& made)
{
    World world;
    world.smbios = made.smbios;
    for (const auto& [path, interfaces] : made.kovd)
    {
        (path.starts_with(names::kovdBoardPath) ? world.board : world.chassis)
            .emplace(path, interfaces);
    }
    return world;
}

sim::Value& property(sim::Objects& objects, const std::string& path, std::string_view interface,
                     const char* name)
{
    return objects[path][std::string(interface)][name];
}

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

TEST(nearMisses, nameAChangeThatMakesThePair)
{
    World world = inspect::readFolder(inventories / "awkward");
    const auto misses = inspect::nearMisses(inspect::runEngine(world));
    EXPECT_GE(misses.size(), 8U);
    for (const inspect::NearMiss& miss : misses)
    {
        World changed = world;
        for (sim::Objects* objects : {&changed.smbios, &changed.board})
        {
            const auto object = objects->find(miss.changedPath);
            if (object == objects->end())
            {
                continue;
            }
            for (auto& [interface, properties] : object->second)
            {
                const bool text = miss.value.front() == '"';
                const auto number = text ? 0 : std::stoi(miss.value);
                properties[miss.property] =
                    text ? sim::Value::string(miss.value.substr(1, miss.value.size() - 2))
                    : miss.property == "PCIeLocatorType"
                        ? sim::Value::byte(static_cast<std::uint8_t>(number))
                        : sim::Value::uint16(static_cast<std::uint16_t>(number));
            }
        }
        const auto lists = inspect::runEngine(changed).lists;
        ASSERT_TRUE(lists.contains(miss.platformPath)) << miss.platformPath;
        EXPECT_EQ(inspect::partnerOf(lists.at(miss.platformPath)), miss.smbiosPath);
    }
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

TEST(checkCaptures, reportsEachInItsOrderAndWhatCannotBeRead)
{
    const std::vector<std::string> folders{(inventories / "awkward").string(), "/nowhere",
                                           (inventories / "two-socket-2u").string()};
    std::size_t calls = 0;
    const auto count = [&](std::size_t done, std::size_t all)
    {
        EXPECT_EQ(done, ++calls);
        EXPECT_EQ(all, 3U);
    };
    const auto reports = inspect::checkCaptures(folders, count);
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(calls, 3U);
    EXPECT_FALSE(reports[0].findings.empty());
    EXPECT_NE(reports[1].error.find("No such file"), std::string::npos);
    EXPECT_TRUE(reports[2].findings.empty());
    EXPECT_TRUE(reports[2].error.empty());
}

TEST(findCaptures, looksIntoFolders)
{
    const auto found = inspect::findCaptures({inventories, inventories / "awkward"});
    EXPECT_GE(found.size(), 4U);
    EXPECT_EQ(found.back(), (inventories / "awkward").string());
    EXPECT_THROW(inspect::findCaptures({"/nowhere"}), sim::Error);
}

} // namespace
