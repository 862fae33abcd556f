// The daemon's start: what it says and what stands on the bus, whichever services are there.

#include "compare/differences.hpp"
#include "environment.hpp"
#include "kit/bus_test.hpp"

#include <algorithm>

namespace
{

using kit::Lists;
using kit::Texts;

class StartUp : public kit::BusTest
{
};

TEST_F(StartUp, PairsWhatBothServicesShow)
{
    publish(sim::makeInventory(3, 2));
    startDaemon();
    settle();

    EXPECT_EQ(lists(), kit::listsOf(3, 2));
    EXPECT_EQ(logged("main"),
              (Texts{"starting new process", "OneWayChannel Registration success"}));
    EXPECT_EQ(logged("GetAllManagedObjects"),
              (Texts{"SMBIOS service is available", "KOVD service is available"}));
}

TEST_F(StartUp, ReadsTheSmbiosServiceFirst)
{
    publish(sim::makeInventory(2, 1));
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetManagedObjsSMBIOS"),
              (Texts{"SMBIOS service is available", "SMBIOS object reply received",
                     "SMBIOSObjPath = " + sim::smbiosCachePath(1, 1),
                     "SMBIOSObjPath = " + sim::smbiosCachePath(1, 2),
                     "SMBIOSObjPath = " + sim::smbiosCachePath(1, 3),
                     "SMBIOSObjPath = " + sim::smbiosCpuPath(1),
                     "SMBIOSObjPath = " + sim::smbiosSlotPath(1),
                     "SMBIOSObjPath = " + sim::smbiosSlotPath(2)}));
    EXPECT_EQ(logged("GetManagedObjsKOVD"),
              (Texts{"KOVD service is available", "KOVD object path = " + sim::kovdCpuPath(1),
                     "KOVD object path = " + sim::kovdSlotPath(1),
                     "KOVD object path = " + sim::kovdDevicePath(1, 1),
                     "KOVD object path = " + sim::kovdSlotPath(2),
                     "KOVD object path = " + sim::kovdDevicePath(2, 1),
                     "KOVD chassis object reply received",
                     "KOVD object path = " + sim::kovdChassisPath(1),
                     "KOVD object path = " + sim::kovdChassisPath(2)}));
}

TEST_F(StartUp, WithoutTheSmbiosServiceReadsTheOther)
{
    publish(kovd, sim::makeInventory(2, 1).kovd);
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetAllManagedObjects"),
              (Texts{"SMBIOS service is not available", "KOVD service is available"}));
    EXPECT_EQ(logged("GetManagedObjsSMBIOS"), Texts());
    EXPECT_EQ(logged("GetManagedObjsKOVD").size(), 2u + 7u);
    EXPECT_EQ(logged("AssociateSMBIOSPCIESlotsObjToKOVDObjs"),
              (Texts{"No SMBIOS objects found in the map"}));
    EXPECT_EQ(lists(), Lists());
}

TEST_F(StartUp, WithoutThePlatformServiceReadsTheOther)
{
    publish(smbios, sim::makeInventory(2, 1).smbios);
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetAllManagedObjects"),
              (Texts{"SMBIOS service is available", "KOVD dbus Service is not available"}));
    EXPECT_EQ(logged("GetManagedObjsKOVD"), Texts());
    EXPECT_EQ(logged("setAssociations"), Texts());
}

TEST_F(StartUp, WithoutAnyServiceWaits)
{
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetAllManagedObjects"),
              (Texts{"SMBIOS service is not available", "KOVD dbus Service is not available"}));
}

TEST_F(StartUp, TakesANameWithOneMoreElementForAnotherService)
{
    auto smbiosMore = sim::smbiosProfile();
    smbiosMore.busName += ".Standby";
    auto kovdMore = sim::kovdProfile();
    kovdMore.busName += ".standby";
    sim::Service smbiosStandby(bus.address(), smbiosMore);
    sim::Service kovdStandby(bus.address(), kovdMore);
    publish(smbiosStandby, sim::makeInventory(1).smbios);
    publish(kovdStandby, sim::makeInventory(1).kovd);
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetAllManagedObjects"),
              (Texts{"SMBIOS service is not available", "KOVD dbus Service is not available"}));
    EXPECT_EQ(smbiosStandby.journal().calls(), 0u);
    EXPECT_EQ(kovdStandby.journal().calls(), 0u);
}

TEST_F(StartUp, AsksEachObjectManagerOnce)
{
    publish(sim::makeInventory(1));
    startDaemon();
    settle();

    EXPECT_EQ(smbios.journal().calls("GetManagedObjects", sim::names::smbiosRoot), 1u);
    EXPECT_EQ(kovd.journal().calls("GetManagedObjects", sim::names::boardRoot), 1u);
    EXPECT_EQ(kovd.journal().calls("GetManagedObjects", sim::names::chassisRoot), 1u);
    EXPECT_EQ(smbios.journal().calls("GetManagedObjects"), 1u);
    EXPECT_EQ(kovd.journal().calls("GetManagedObjects"), 2u);
}

TEST_F(StartUp, SkipsObjectsOfOtherKinds)
{
    auto inventory = sim::makeInventory(1, 1);
    const sim::Interfaces board{{"xyz.openbmc_project.Inventory.Item.Board", {}}};
    inventory.smbios["/xyz/openbmc_project/inventory/system/chassis/motherboard"] = board;
    inventory.smbios["/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot77"] =
        board;
    inventory.kovd["/xyz/openbmc_project/inventory/system/board/fan1"] = board;
    inventory.kovd["/xyz/openbmc_project/inventory/system/board/pcie_slot_9999"] = board;
    publish(inventory);
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetManagedObjsSMBIOS").size(), 2u + 5u);
    EXPECT_EQ(logged("GetManagedObjsKOVD").size(), 2u + 4u);
    EXPECT_EQ(lists(), kit::listsOf(1, 1));
}

TEST_F(StartUp, TreatsAPathOfTwoKindsAsASlot)
{
    const std::string path = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot1"
                             "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu1";
    auto object = sim::makeSmbiosSlot(1).second;
    object.merge(sim::makeSmbiosCpu(1).second);
    publish(smbios, {{path, object}});
    publish(kovd, {sim::makeKovdSlot(1), sim::makeKovdCpu(1)});
    startDaemon();
    settle();

    EXPECT_EQ(lists(), (Lists{{sim::kovdSlotPath(1), kit::inSlot(path)}}));
    EXPECT_EQ(logged("InsertSMBIOSCPUObj"), Texts());
}

TEST_F(StartUp, TakesAnObjectWithBothPcieInterfacesForBoth)
{
    auto object = sim::makeKovdSlot(1).second;
    object.merge(sim::makeKovdDevice(1, 1).second);
    publish(smbios, {sim::makeSmbiosSlot(1)});
    publish(kovd, {{sim::kovdSlotPath(1), object}});
    startDaemon();
    settle();

    // Once for each interface, in the order of the interfaces' names.
    const auto inserted = "KOVD object path = " + sim::kovdSlotPath(1);
    EXPECT_EQ(times("GetManagedObjsKOVD", inserted), 2u);
    EXPECT_EQ(times("InsertKOVDPCIeDevicesObj", "KOVDPath:" + sim::kovdSlotPath(1)), 1u);
    EXPECT_EQ(times("InsertKOVDPCIeSlotObj", "KOVDpath = " + sim::kovdSlotPath(1)), 1u);
    EXPECT_EQ(lists(), (Lists{{sim::kovdSlotPath(1), kit::inSlot(sim::smbiosSlotPath(1))}}));
}

TEST_F(StartUp, PairsALargeMachine)
{
    const unsigned slots = environment::slots(200);
    publish(sim::makeInventory(slots));
    startDaemon({}, 5);
    settle();

    const Lists found = lists();
    EXPECT_EQ(found.size(), 3 * slots);
    EXPECT_TRUE(sameEntries(found, kit::listsOf(slots)));
    EXPECT_EQ(kovd.journal().setCount(), 3 * slots);
}

TEST_F(StartUp, SetsEachListOnce)
{
    publish(sim::makeInventory(2));
    startDaemon();
    settle();

    for (const auto& [path, list] : kit::listsOf(2))
    {
        const auto sets = kovd.journal().setsOn(path);
        ASSERT_EQ(sets.size(), 1u) << path;
        EXPECT_TRUE(sets[0].accepted);
        EXPECT_EQ(sets[0].interface, sim::names::associationDefinitions);
        EXPECT_EQ(sets[0].property, sim::names::associations);
        EXPECT_EQ(sets[0].value, sim::Value::associations(list));
    }
    EXPECT_EQ(logged("setAssociations").size(), 6u);
}

} // namespace
