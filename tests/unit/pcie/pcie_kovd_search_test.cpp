#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/pcie_kovd_search.hpp"
#include "pcie_world.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using std::string;

const string slotSearch = "5 IterateKOVDPCIeSlotObjs: ";
const string deviceSearch = "5 IterateKOVDPCIeSlotDeviceObjs: ";
const string twinSearch = "5 IterateKOVDPCIeSlotObjsChassisPath: ";

/** The path of the matched slot. */
string searchSlots(int number, const string& smbiosPath)
{
    string matched;
    IterateKOVDPCIeSlotObjs(matched, smbiosSlot(number), smbiosPath);
    return matched;
}

void searchDevices(const string& matched, int number, const string& smbiosPath)
{
    IterateKOVDPCIeSlotDeviceObjs(matched, smbiosSlot(number), smbiosPath);
}

void searchTwin(const string& matched, const string& smbiosPath)
{
    IterateKOVDPCIeSlotObjsChassisPath(matched, {}, smbiosPath);
}

Lines slotSearchStarts(const string& smbiosPath)
{
    return {slotSearch + "SmbiosPath:" + smbiosPath,
            "9 IterateKOVDPCIeSlotObjs:  Finding association among kovd PCIe slot dbus objects"};
}

Lines slotPaired(const string& kovdPath, const string& smbiosPath)
{
    return {slotSearch + kovdPath + " :Associated Pcislot objpath",
            slotSearch + "Inserted in active associations",
            slotSearch + "smbios Path " + smbiosPath, slotSearch + "kovd Path " + kovdPath};
}

Lines devicePaired(const string& device, const string& smbiosPath, const string& result)
{
    return {deviceSearch + "Association found " + device, deviceSearch + "smbios " + smbiosPath,
            deviceSearch + "kovd " + device, deviceSearch + result};
}

const string deviceAdded = "Association added successfully";
const string deviceRefused = "Not able to add association";

Lines twinPaired(const string& twin, const string& smbiosPath)
{
    return {twinSearch + "Associated Pcislotdevice objpath " + twin,
            twinSearch + "Association created successfully",
            twinSearch + "smbiosObjPath: " + smbiosPath, twinSearch + "kovdObjPath: " + twin};
}

Lines handOverFailed(const string& function, int result)
{
    return {"1 " + function +
            ": OneWayChannel_Execute failed, execRet = " + std::to_string(result)};
}

// IterateKOVDPCIeSlotObjs

TEST(IterateKOVDPCIeSlotObjs, pairsWithTheFirstMatchInPathOrder)
{
    kovdPCIeSlotObjs.insertObject(slot3, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot2, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(9));
    EXPECT_EQ(searchSlots(1, smbios1), slot2);
    EXPECT_EQ(engineLines(), joined({slotSearchStarts(smbios1), slotPaired(slot2, smbios1)}));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(slot2, smbios1)});
    EXPECT_TRUE(isPair(smbios1, slot2));
    EXPECT_EQ(comparisons("NIC.Slot.1"), 1U); // the third is not compared any more
}

TEST(IterateKOVDPCIeSlotObjs, logsTheWholeMatch)
{
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    searchSlots(1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              joined({slotSearchStarts(smbios1),
                      Lines{"5 matchFQDD: KOVD fqdd NIC.Slot.1",
                            "5 matchFQDD: SMBIOS fqdd PCIe SLOT 1", "5 matchFQDD: Device Type=NIC",
                            "5 matchFQDD: Slot Type=Slot", "5 matchFQDD: Slot number=1",
                            "5 matchFQDD: Slot comparison: SMBIOS=1 vs FQDD=1 => MATCH"},
                      slotPaired(slot1, smbios1)}));
}

TEST(IterateKOVDPCIeSlotObjs, saysNoMoreWhenNothingMatches)
{
    EXPECT_EQ(searchSlots(1, smbios1), "");
    EXPECT_EQ(recorded_log::summary(), slotSearchStarts(smbios1));
    recorded_log::clear();
    kovdPCIeSlotObjs.insertObject(slot2, kovdSlot(2));
    EXPECT_EQ(searchSlots(1, smbios1), "");
    EXPECT_EQ(recorded_log::summary(), slotSearchStarts(smbios1));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDPCIeSlotObjs, writesAlsoWhenThePairIsRefused)
{
    struct Row
    {
        const char* what;
        string smbios;
        string kovd;
    };
    const Row rows[] = {
        {"the SMBIOS slot has another partner", smbios1, slot2},
        {"the KOVD slot has another partner", smbios2, slot1},
        {"they are a pair already", smbios1, slot1},
    };
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.what);
        recorded_log::clear();
        recorded_requests::clear();
        ASSERT_TRUE(addAssociationPair(row.smbios, row.kovd));
        EXPECT_EQ(searchSlots(1, smbios1), slot1);
        EXPECT_EQ(engineLines(),
                  joined({slotSearchStarts(smbios1),
                          Lines{slotSearch + slot1 + " :Associated Pcislot objpath",
                                slotSearch + "Already present in active associations"}}));
        EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios1)});
        EXPECT_TRUE(isPair(row.smbios, row.kovd));
        string partner;
        takeAssociatedKOVDPath(row.smbios, partner);
    }
}

TEST(IterateKOVDPCIeSlotObjs, keepsPairAndMatchWhenTheHandOverFails)
{
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot2, kovdSlot(1));
    recorded_requests::setResult(-1);
    EXPECT_EQ(searchSlots(1, smbios1), slot1);
    EXPECT_EQ(engineLines(), joined({slotSearchStarts(smbios1), slotPaired(slot1, smbios1),
                                     handOverFailed("IterateKOVDPCIeSlotObjs", -1)}));
    EXPECT_TRUE(isPair(smbios1, slot1));
    EXPECT_EQ(recorded_requests::refused(), 1U);
}

TEST(IterateKOVDPCIeSlotObjs, skipsASlotWithoutPropertiesAndOneThatVanished)
{
    kovdPCIeSlotObjs.insertObject(slot1, {});
    kovdPCIeSlotObjs.insertObject(slot2, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot3, kovdSlot(1));
    const string empty = slot1 + ":SMBIOS object properties could not be obtained for objPath";
    when(empty, [] { kovdPCIeSlotObjs.eraseObject(slot2); });
    EXPECT_EQ(searchSlots(1, smbios1), slot3);
    EXPECT_EQ(engineLines(), joined({slotSearchStarts(smbios1),
                                     Lines{"1 IterateKOVDPCIeSlotObjs: " + empty,
                                           "1 IterateKOVDPCIeSlotObjs: " + slot2 +
                                               ":Kovd object not found for objPath"},
                                     slotPaired(slot3, smbios1)}));
}

TEST(IterateKOVDPCIeSlotObjs, comparesWithTypeTwo)
{
    // A device is no slot, whatever its descriptor.
    kovdPCIeSlotObjs.insertObject(slot1, kovdDevice(1));
    EXPECT_EQ(searchSlots(1, smbios1), "");
    // The slot's ids have to agree.
    kovdPCIeSlotObjs.insertObject(slot2, sample::kovdSlot("NIC.Slot.1", 2));
    EXPECT_EQ(searchSlots(1, smbios1), "");
    EXPECT_EQ(comparisons("NIC.Slot.1"), 0U);
}

// IterateKOVDPCIeSlotDeviceObjs

TEST(IterateKOVDPCIeSlotDeviceObjs, takesEveryDeviceBelowTheMatchedSlot)
{
    const string gpu = slot1 + "/gpu";
    kovdPCIeDeviceObjs.insertObject(device1, sample::kovdDevice("Nothing.That.Matches"));
    kovdPCIeDeviceObjs.insertObject(gpu, kovdDevice(9));
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(), joined({devicePaired(gpu, smbios1, deviceAdded),
                                               devicePaired(device1, smbios1, deviceRefused)}));
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(gpu, smbios1), paired(device1, smbios1)}));
    EXPECT_TRUE(isPair(smbios1, gpu));
    EXPECT_FALSE(isPathAssociated(kovdSide, device1));
}

TEST(IterateKOVDPCIeSlotDeviceObjs, takesWhoeverContainsTheMatchedPath)
{
    const Paths taken = {"/prefix" + slot1 + "/a", slot1, slot1 + "/a", slot1 + "0/a", slot1 + "x"};
    const Paths left = {slot2 + "/a", "/xyz/openbmc_project/inventory/system/board/PCIE_SLOT1/a",
                        slot1.substr(0, slot1.size() - 1)};
    for (const Paths& paths : {taken, left})
    {
        for (const string& path : paths)
        {
            kovdPCIeDeviceObjs.insertObject(path, kovdDevice(9));
        }
    }
    searchDevices(slot1, 1, smbios1);
    Requests expected;
    for (const string& path : taken)
    {
        expected.push_back(paired(path, smbios1));
    }
    EXPECT_EQ(recorded_requests::all(), expected);
}

TEST(IterateKOVDPCIeSlotDeviceObjs, takesEveryDeviceThatMatchesByItself)
{
    const string far1 = "/elsewhere/a";
    const string far2 = "/elsewhere/b";
    const string far3 = "/elsewhere/c";
    kovdPCIeDeviceObjs.insertObject(far1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(far2, kovdDevice(2));
    kovdPCIeDeviceObjs.insertObject(far3, kovdDevice(1));
    for (const string matched : {"", slot1.c_str()})
    {
        SCOPED_TRACE(matched);
        recorded_log::clear();
        recorded_requests::clear();
        searchDevices(matched, 1, smbios1);
        EXPECT_EQ(recorded_requests::all(),
                  (Requests{paired(far1, smbios1), paired(far3, smbios1)}));
        string partner;
        takeAssociatedKOVDPath(smbios1, partner);
        EXPECT_EQ(engineLines(), joined({devicePaired(far1, smbios1, deviceAdded),
                                         devicePaired(far3, smbios1, deviceRefused)}));
    }
}

TEST(IterateKOVDPCIeSlotDeviceObjs, comparesWithTypeThree)
{
    // No SlotID is needed, and a slot's own properties do not make a device.
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(device2, kovdSlot(1));
    IterateKOVDPCIeSlotDeviceObjs("", sample::without(smbiosSlot(1), "SlotID"), smbios1);
    EXPECT_EQ(recorded_requests::all(), Requests{paired(device1, smbios1)});
}

TEST(IterateKOVDPCIeSlotDeviceObjs, saysNothingWhenNothingMatches)
{
    searchDevices(slot1, 1, smbios1);
    searchDevices("", 1, smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{});
    kovdPCIeDeviceObjs.insertObject(device2, sample::kovdDevice(""));
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{});
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDPCIeSlotDeviceObjs, goesOnBehindFailedHandOvers)
{
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(slot1 + "/zzz", kovdDevice(1));
    recorded_requests::setResult(3);
    searchDevices(slot1, 1, smbios1);
    const Lines failed = handOverFailed("IterateKOVDPCIeSlotDeviceObjs", 3);
    EXPECT_EQ(recorded_log::summary(),
              joined({devicePaired(device1, smbios1, deviceAdded), failed,
                      devicePaired(slot1 + "/zzz", smbios1, deviceRefused), failed}));
}

TEST(IterateKOVDPCIeSlotDeviceObjs, skipsADeviceWithoutPropertiesAndOneThatVanished)
{
    const string deviceA = slot1 + "/a";
    const string deviceB = slot1 + "/b";
    const string deviceC = slot1 + "/c";
    kovdPCIeDeviceObjs.insertObject(deviceA, {});
    kovdPCIeDeviceObjs.insertObject(deviceB, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(deviceC, kovdDevice(1));
    const string empty = "SMBIOS object properties could not be obtained for objPath: " + deviceA;
    when(empty, [&] { kovdPCIeDeviceObjs.eraseObject(deviceB); });
    searchDevices(slot1, 1, smbios1);
    // Also below the matched slot both are skipped.
    EXPECT_EQ(recorded_log::summary(),
              joined({Lines{"1 IterateKOVDPCIeSlotDeviceObjs: " + empty,
                            "1 IterateKOVDPCIeSlotDeviceObjs: Kovd object not found for objPath: " +
                                deviceB},
                      devicePaired(deviceC, smbios1, deviceAdded)}));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(deviceC, smbios1)});
}

TEST(IterateKOVDPCIeSlotDeviceObjs, endsAtAnException)
{
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(slot1 + "/zzz", kovdDevice(1));
    const string text = "Association found " + device1;
    when(text, [] { throw std::runtime_error("boom"); });
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{deviceSearch + text, "1 IterateKOVDPCIeSlotDeviceObjs: Exception in "
                                          "IterateKOVDPCIeSlotDeviceObjs: boom"}));
    recorded_log::clear();
    when(text, [] { throw 42; });
    searchDevices(slot1, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{deviceSearch + text, "1 IterateKOVDPCIeSlotDeviceObjs: Exception in "
                                          "IterateKOVDPCIeSlotDeviceObjs"}));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

// IterateKOVDPCIeSlotObjsChassisPath

TEST(IterateKOVDPCIeSlotObjsChassisPath, takesTheObjectWithTheLeafOfTheSlot)
{
    kovdChassisPathSlotObjs.insertObject(twin1, {}); // its properties do not matter
    kovdChassisPathSlotObjs.insertObject(twin2, sample::kovdChassisObject());
    kovdChassisPathSlotObjs.insertObject(twin3, {});
    searchTwin(slot2, smbios1);
    EXPECT_EQ(recorded_log::summary(), twinPaired(twin2, smbios1));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(twin2, smbios1)});
    EXPECT_TRUE(isPair(smbios1, twin2));
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, takesOnlyTheFirstInPathOrder)
{
    kovdChassisPathSlotObjs.insertObject("/b/pcie_slot1", {});
    kovdChassisPathSlotObjs.insertObject("/a/pcie_slot1", {});
    searchTwin(slot1, smbios1);
    EXPECT_EQ(recorded_requests::all(), Requests{paired("/a/pcie_slot1", smbios1)});
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, doesNothingWithoutAMatchedSlot)
{
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    searchTwin("", smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{"9 IterateKOVDPCIeSlotObjsChassisPath: No "
                                             "association found for objPath: " +
                                             smbios1});
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, saysNothingWithoutATwin)
{
    searchTwin(slot1, smbios1);
    for (const string& path : {twin2, twin1 + "0", twin1 + "/nic", string("/a/Pcie_slot1")})
    {
        kovdChassisPathSlotObjs.insertObject(path, {});
    }
    searchTwin(slot1, smbios1);
    // Below the board, but not directly: nothing converts to such a path.
    kovdChassisPathSlotObjs.insertObject(twin1 + "/nic", {});
    searchTwin(device1, smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{});
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, writesAlsoWhenThePairIsRefused)
{
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    searchTwin(slot1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{twinSearch + "Associated Pcislotdevice objpath " + twin1,
                     "1 IterateKOVDPCIeSlotObjsChassisPath: Failed to add association in the "
                     "map"}));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(twin1, smbios1)});
    EXPECT_TRUE(isPair(smbios1, slot1));
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, logsAFailedHandOver)
{
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    recorded_requests::setResult(-1);
    searchTwin(slot1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              joined({twinPaired(twin1, smbios1),
                      handOverFailed("IterateKOVDPCIeSlotObjsChassisPath", -1)}));
    EXPECT_TRUE(isPair(smbios1, twin1));
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, endsTheWalkAtAPathWithoutALeaf)
{
    kovdChassisPathSlotObjs.insertObject(twin2, {});
    for (const string bad : {"", "!", "/trailing/"})
    {
        SCOPED_TRACE(bad);
        recorded_log::clear();
        kovdChassisPathSlotObjs.insertObject(bad, {});
        searchTwin(slot2, smbios1);
        EXPECT_EQ(
            recorded_log::summary(),
            Lines{"1 IterateKOVDPCIeSlotObjsChassisPath: Objpath not in correct format " + bad});
        kovdChassisPathSlotObjs.eraseObject(bad);
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});

    // Behind the twin such a path does no harm.
    recorded_log::clear();
    kovdChassisPathSlotObjs.insertObject("zzz", {});
    searchTwin(slot2, smbios1);
    EXPECT_EQ(recorded_log::summary(), twinPaired(twin2, smbios1));
}

TEST(IterateKOVDPCIeSlotObjsChassisPath, endsAtAnException)
{
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    const string text = "Associated Pcislotdevice objpath " + twin1;
    when(text, [] { throw std::runtime_error("boom"); });
    searchTwin(slot1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{twinSearch + text, "1 IterateKOVDPCIeSlotObjsChassisPath: Exception in "
                                        "IterateKOVDPCIeSlotObjsChassisPath: boom"}));
    recorded_log::clear();
    when(text, [] { throw 42; });
    searchTwin(slot1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{twinSearch + text, "1 IterateKOVDPCIeSlotObjsChassisPath: Exception in "
                                        "IterateKOVDPCIeSlotObjsChassisPath"}));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

// IterateKOVDObjs

TEST(IterateKOVDObjs, runsTheThreeSearchesInTheirOrder)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(9));
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(
        engineLines(),
        joined({slotSearchStarts(smbios1), slotPaired(slot1, smbios1),
                devicePaired(device1, smbios1, deviceRefused),
                Lines{twinSearch + "Associated Pcislotdevice objpath " + twin1,
                      "1 IterateKOVDPCIeSlotObjsChassisPath: Failed to add association in the "
                      "map"}}));
    EXPECT_EQ(recorded_requests::all(),
              (Requests{paired(slot1, smbios1), paired(device1, smbios1), paired(twin1, smbios1)}));
    EXPECT_TRUE(isPair(smbios1, slot1));
}

TEST(IterateKOVDObjs, servesDevicesAlsoWhenNoSlotMatches)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(
        engineLines(),
        joined({slotSearchStarts(smbios1), devicePaired(device1, smbios1, deviceAdded),
                Lines{"9 IterateKOVDPCIeSlotObjsChassisPath: No association found for objPath: " +
                      smbios1}}));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(device1, smbios1)});
}

TEST(IterateKOVDObjs, takesDevicesOfSlotTenForDevicesOfSlotOne)
{
    const string slot10 = slot1 + "0";
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot10, kovdSlot(10));
    kovdPCIeDeviceObjs.insertObject(slot10 + "/nic", kovdDevice(10));
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(recorded_requests::all(),
              (Requests{paired(slot1, smbios1), paired(slot10 + "/nic", smbios1)}));
}

TEST(IterateKOVDObjs, logsWhatItCannotServe)
{
    const Lines notFound = {"1 IterateKOVDObjs: SMBIOS object not found for objPath: " + smbios1};
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(recorded_log::summary(), notFound);

    recorded_log::clear();
    smbiosPCIeSlotObjs.insertObject(smbios1, {});
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(recorded_log::summary(), notFound);

    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    for (const int type : {0, 2, 3, 4, 5, 6, 7, -1})
    {
        SCOPED_TRACE(type);
        recorded_log::clear();
        IterateKOVDObjs(smbios1, type);
        EXPECT_EQ(recorded_log::summary(), notFound);
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDObjs, endsAtAnExceptionOfTheSlotSearch)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    const string text = "SmbiosPath:" + smbios1;
    when(text, [] { throw std::runtime_error("boom"); });
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{slotSearch + text, "1 IterateKOVDObjs: Exception in IterateKOVDObjs: boom"}));
    recorded_log::clear();
    when(text, [] { throw 42; });
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(
        recorded_log::summary(),
        (Lines{slotSearch + text, "1 IterateKOVDObjs: Unknown Exception in IterateKOVDObjs"}));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateKOVDObjs, goesOnWhenOnlyTheDeviceSearchEndsAtAnException)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    when("Association found " + device1, [] { throw std::runtime_error("boom"); });
    IterateKOVDObjs(smbios1, 1);
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(slot1, smbios1), paired(twin1, smbios1)}));
}

} // namespace
