#include "doubles/fresh_store.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/pcie_kovd_search.hpp"
#include "kovd_search_lines.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using std::string;

/** The path of the matched slot. */
string searchSlots(int number, const string& smbiosPath)
{
    string matched;
    IterateKOVDPCIeSlotObjs(matched, smbiosSlot(number), smbiosPath);
    return matched;
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
        takeAssociatedKOVDPath(row.smbios);
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

// By keys

/** What a search from the second SMBIOS slot says and writes. */
std::pair<Lines, Requests> searchAmongThree(bool withKeys, int level)
{
    const auto keys = [&](const MatchKeys& read) { return withKeys ? read : MatchKeys{}; };
    resetStore();
    recorded_log::setLevel(level);
    const std::string slots[] = {slot1, slot2, slot3};
    const std::string devices[] = {inventory + "board/nic1", inventory + "board/nic2",
                                   inventory + "board/nic3"};
    for (int number = 1; number <= 3; ++number)
    {
        const PropertyMap slot = kovdSlot(number);
        kovdPCIeSlotObjs.insertObject(slots[number - 1], slot, keys(keysOfKovdSlot(slot)));
        const PropertyMap device = kovdDevice(number);
        kovdPCIeDeviceObjs.insertObject(devices[number - 1], device,
                                        keys(keysOfKovdDevice(device)));
    }
    const PropertyMap asking = smbiosSlot(2);
    smbiosPCIeSlotObjs.insertObject(smbios2, asking, keys(keysOfSmbiosSlot(asking)));
    IterateKOVDObjs(smbios2, 1);
    return {recorded_log::summary(), recorded_requests::all()};
}

TEST(IterateKOVDObjs, findsAndSaysTheSameByKeys)
{
    for (const int level : {4, 5, 9})
    {
        const auto found = searchAmongThree(true, level);
        EXPECT_EQ(found, searchAmongThree(false, level));
        EXPECT_EQ(found.second,
                  (Requests{paired(slot2, smbios2), paired(inventory + "board/nic2", smbios2)}));
    }
}

} // namespace
