// PCIe objects that come, change and go while the daemon runs.

#include "kit/bus_test.hpp"

namespace
{

using kit::inSlot;
using kit::Lists;
using sim::Value;

const auto smbiosSlot1 = sim::smbiosSlotPath(1);
const auto kovdSlot1 = sim::kovdSlotPath(1);
const auto device1 = sim::kovdDevicePath(1, 1);
const auto device2 = sim::kovdDevicePath(1, 2);
const auto chassis1 = sim::kovdChassisPath(1);

class LivePcie : public kit::BusTest
{
  protected:
    void start(const sim::InventoryCapture& inventory)
    {
        publish(inventory);
        startDaemon();
        settle();
    }

    static void add(sim::Service& service, const sim::Object& object)
    {
        service.addObject(object.first, object.second);
    }

    std::size_t setsOn(const std::string& path)
    {
        return kovd.journal().setsOn(path).size();
    }
};

// ---- appearing ----

TEST_F(LivePcie, AnSmbiosSlotBringsTheListsOfAllThatBelongsToIt)
{
    start({{}, sim::makeInventory(2).kovd});
    add(smbios, sim::makeSmbiosSlot(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosSlot1 + " Add ObjPath"), 1u);
}

TEST_F(LivePcie, APlatformSlotIsPaired)
{
    start({sim::makeInventory(2).smbios, {}});
    add(kovd, sim::makeKovdSlot(1));
    settle();

    EXPECT_EQ(lists(), (Lists{{kovdSlot1, inSlot(smbiosSlot1)}}));
    EXPECT_EQ(times("processKovdMessagesInQueue", kovdSlot1 + " ObjPath to be added"), 1u);
    EXPECT_EQ(times("processKovdMessagesInQueue", "OBJ_MGR_INTF_ADDED_SIGNAL"), 1u);
    EXPECT_EQ(
        times("processKovdMessagesInQueue", std::string("interface = ") + sim::names::kovdSlot),
        1u);
}

TEST_F(LivePcie, ADeviceInheritsItsSlotsList)
{
    start(sim::makeInventory(1));
    auto device = sim::makeKovdDevice(1, 2);
    device.second[sim::names::kovdDevice]["FQDD"] = Value::string("matches nothing");
    add(kovd, device);
    settle();

    Lists expected = kit::listsOf(1);
    expected[device2] = inSlot(smbiosSlot1);
    EXPECT_EQ(lists(), expected);
}

TEST_F(LivePcie, AChassisTwinInheritsItsSlotsList)
{
    auto inventory = sim::makeInventory(1);
    inventory.kovd.erase(chassis1);
    start(inventory);
    add(kovd, sim::makeKovdChassisDevice(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
}

TEST_F(LivePcie, ADeviceWithoutAPairedSlotStaysWithoutList)
{
    start({sim::makeInventory(1).smbios, {}});
    add(kovd, sim::makeKovdDevice(1, 1));
    settle();

    EXPECT_EQ(lists(), Lists());
    EXPECT_EQ(times("IterateSMBIOSPCISlotObjs", device1 + " No association found for objPath"), 1u);
}

TEST_F(LivePcie, AChassisTwinWithoutAPairedSlotStaysWithoutList)
{
    start({sim::makeInventory(1).smbios, {}});
    add(kovd, sim::makeKovdChassisDevice(1));
    settle();

    EXPECT_EQ(lists(), Lists());
    EXPECT_EQ(times("FindAssociation", "SMBIOS association not found for objPath: " + chassis1),
              1u);
}

TEST_F(LivePcie, WhatBothServicesAddAtOnceIsPaired)
{
    start({});
    smbios.perform(
        [](sim::Player& player)
        {
            for (const auto& [path, interfaces] : sim::makeInventory(20).smbios)
            {
                player.addObject(path, interfaces);
            }
        });
    for (const auto& [path, interfaces] : sim::makeInventory(20).kovd)
    {
        kovd.addObject(path, interfaces);
    }
    settle();

    Lists found = lists();
    for (unsigned slot = 1; slot <= 20; ++slot)
    {
        EXPECT_EQ(found[sim::kovdSlotPath(slot)], inSlot(sim::smbiosSlotPath(slot)));
    }
}

TEST_F(LivePcie, AnObjectThatIsAddedTwiceIsWrittenOnce)
{
    start(sim::makeInventory(1));
    add(kovd, sim::makeKovdSlot(1));
    add(smbios, sim::makeSmbiosSlot(1));
    settle();

    EXPECT_EQ(setsOn(kovdSlot1), 1u);
    EXPECT_EQ(times("InsertKOVDPCIeSlotObj", "Association exists " + kovdSlot1), 1u);
    EXPECT_EQ(times("InsertSMBIOSPCIeSlotObj", "Association exists " + smbiosSlot1), 1u);
}

// ---- changing ----

TEST_F(LivePcie, AnSmbiosSlotPairsWhenItsDesignationComesRight)
{
    start({{sim::makeSmbiosSlot(1, "Connector", 1)}, sim::makeInventory(1).kovd});
    EXPECT_EQ(lists(), Lists());
    // SlotID is not part of the change: what is stored is merged with it.
    smbios.changeProperties(smbiosSlot1, sim::names::smbiosSlot,
                            {{"SlotDesignation", Value::string("PCIe Slot 1")}});
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosSlot1 + " :Object path to be updated"),
              1u);
}

TEST_F(LivePcie, APairedSmbiosSlotIsNotUpdated)
{
    start(sim::makeInventory(1));
    smbios.changeProperties(smbiosSlot1, sim::names::smbiosSlot,
                            {{"SlotDesignation", Value::string("PCIe Slot 7")}});
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(times("InsertSMBIOSPCIeSlotObj", "Association exists " + smbiosSlot1), 1u);
    EXPECT_EQ(times("InsertSMBIOSPCIeSlotObj", "SlotDesignation=PCIe Slot 7"), 0u);
}

TEST_F(LivePcie, APlatformSlotPairsWhenItsInstanceComesRight)
{
    start({{sim::makeSmbiosSlot(1)}, {sim::makeKovdSlot(1, "Nic.Slot.1-1", 6, 17)}});
    EXPECT_EQ(lists(), Lists());
    kovd.changeProperties(kovdSlot1, sim::names::kovdSlot,
                          {{"PCIeLocatorInstanceNum", Value::uint16(1)}});
    settle();

    EXPECT_EQ(lists(), (Lists{{kovdSlot1, inSlot(smbiosSlot1)}}));
    EXPECT_EQ(times("processKovdMessagesInQueue", kovdSlot1 + " :Object path to be updated"), 1u);
}

TEST_F(LivePcie, AChangedDeviceIsWrittenAgain)
{
    start(sim::makeInventory(1));
    kovd.changeProperties(device1, sim::names::kovdDevice, {{"Bus", Value::byte(9)}});
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(setsOn(device1), 2u);
}

TEST_F(LivePcie, AChangedChassisTwinIsWrittenAgain)
{
    start(sim::makeInventory(1));
    kovd.changeProperties(chassis1, sim::names::kovdChassisDevice,
                          {{"Function0ClassCode", Value::string("0x010802")}});
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(setsOn(chassis1), 2u);
    // Said once by the decoder and once by the worker.
    EXPECT_EQ(times("GetKovdMsgData", chassis1 + " :Object path to be updated"), 1u);
    EXPECT_EQ(times("processKovdMessagesInQueue", chassis1 + " :Object path to be updated"), 1u);
}

TEST_F(LivePcie, AChangeOfOtherPropertiesWritesNothing)
{
    start(sim::makeInventory(1));
    smbios.changeProperties(smbiosSlot1, sim::names::smbiosSlot,
                            {{"CurrentUsage", Value::byte(3)}});
    kovd.changeProperties(device1, sim::names::kovdDevice, {{"Device", Value::byte(3)}});
    kovd.changeProperties(chassis1, sim::names::kovdChassisDevice,
                          {{"Manufacturer", Value::string("Somebody")}});
    settle();

    EXPECT_EQ(kovd.journal().setCount(), 3u);
}

TEST_F(LivePcie, AnEmptyChangeIsLoggedOnly)
{
    start({{sim::makeSmbiosSlot(1)}, {sim::makeKovdSlot(1)}});
    smbios.changeProperties(smbiosSlot1, sim::names::smbiosSlot, {});
    settle();

    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosSlot1 + " :Object path to be updated"),
              1u);
    EXPECT_EQ(times("InsertSMBIOSPCIeSlotObj", "Association exists " + smbiosSlot1), 0u);
}

TEST_F(LivePcie, TheDaemonsOwnWritesAreNoChange)
{
    start(sim::makeInventory(3));
    settle();

    EXPECT_EQ(kovd.journal().setCount(), 9u);
    EXPECT_EQ(times("GetKovdMsgData", kovdSlot1 + " :Object path to be updated"), 0u);
    EXPECT_EQ(times("processKovdMessagesInQueue", kovdSlot1 + " :Object path to be updated"), 0u);
}

// ---- going ----

TEST_F(LivePcie, AVanishedSmbiosSlotClearsItsPartnersListOnly)
{
    start(sim::makeInventory(2));
    smbios.removeObject(smbiosSlot1);
    settle();

    Lists expected = kit::listsOf(2);
    expected.erase(kovdSlot1);
    EXPECT_EQ(lists(), expected);
    EXPECT_EQ(kovd.associationsOf(kovdSlot1), sim::Associations());
    EXPECT_EQ(setsOn(kovdSlot1), 2u);
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosSlot1 + " :Object path to be removed"),
              1u);
    EXPECT_EQ(times("removeSMBIOSPCIeAssociations", "associated kovd objpath  = " + kovdSlot1), 1u);
}

TEST_F(LivePcie, AnSmbiosSlotThatComesBackPairsAgain)
{
    start(sim::makeInventory(2));
    smbios.removeObject(smbiosSlot1);
    add(smbios, sim::makeSmbiosSlot(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(2));
    EXPECT_EQ(setsOn(kovdSlot1), 3u);
}

TEST_F(LivePcie, AnUnpairedSmbiosSlotVanishesQuietly)
{
    start({{sim::makeSmbiosSlot(1)}, {}});
    smbios.removeObject(smbiosSlot1);
    settle(); // the two services' workers go side by side
    add(kovd, sim::makeKovdSlot(1));
    settle();

    EXPECT_EQ(
        times("removeSMBIOSPCIeAssociations", "No associations found for path: " + smbiosSlot1),
        1u);
    EXPECT_EQ(times("removeSMBIOSPCIeAssociations", "Entry removed from the map"), 1u);
    EXPECT_EQ(lists(), Lists());
}

TEST_F(LivePcie, AVanishedPlatformSlotStaysPaired)
{
    start(sim::makeInventory(1));
    kovd.removeObject(kovdSlot1);
    add(kovd, sim::makeKovdSlot(1));
    settle();

    // It came back with an empty list; for the daemon nothing has happened.
    EXPECT_EQ(kovd.associationsOf(kovdSlot1), sim::Associations());
    EXPECT_EQ(setsOn(kovdSlot1), 1u);
    EXPECT_EQ(times("InsertKOVDPCIeSlotObj", "Association exists " + kovdSlot1), 1u);
    EXPECT_EQ(times("processKovdMessagesInQueue", "OBJ_MGR_INTF_REMOVED_SIGNAL"), 0u);
}

TEST_F(LivePcie, ADeviceThatComesBackGetsItsListAgain)
{
    start(sim::makeInventory(1));
    kovd.removeObject(device1);
    settle();
    EXPECT_EQ(setsOn(device1), 1u);
    add(kovd, sim::makeKovdDevice(1, 1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(setsOn(device1), 2u);
}

TEST_F(LivePcie, AChassisTwinThatComesBackGetsItsListAgain)
{
    start(sim::makeInventory(1));
    kovd.removeObject(chassis1);
    add(kovd, sim::makeKovdChassisDevice(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(setsOn(chassis1), 2u);
}

TEST_F(LivePcie, ARemovedInterfaceOfAnotherKindChangesNothing)
{
    auto slot = sim::makeSmbiosSlot(1);
    slot.second[sim::names::item] = {};
    start({{slot}, sim::makeInventory(1).kovd});
    smbios.removeObject(smbiosSlot1, {sim::names::item});
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosSlot1 + " :Object path to be removed"),
              0u);
}

TEST_F(LivePcie, ARestartedPlatformServiceGetsWhatItAnnounces)
{
    start(sim::makeInventory(1));
    kovd.stop();
    kovd.load({});
    kovd.start();
    add(kovd, sim::makeKovdDevice(1, 1));
    add(kovd, sim::makeKovdChassisDevice(1));
    settle();

    const auto list = inSlot(smbiosSlot1);
    EXPECT_EQ(lists(), (Lists{{device1, list}, {chassis1, list}}));
}

} // namespace
