#include "doubles/fresh_store.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/pcie_smbios_search.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using std::string;

void storeSmbios(const std::vector<std::pair<string, PropertyMap>>& objects)
{
    for (const auto& [path, properties] : objects)
    {
        smbiosPCIeSlotObjs.insertObject(path, properties);
    }
}

Lines added(const string& smbiosPath, const string& kovdPath)
{
    return {"5 IterateSMBIOSPCISlotObjs: Association added successfully",
            "5 IterateSMBIOSPCISlotObjs: smbios " + smbiosPath,
            "5 IterateSMBIOSPCISlotObjs: kovd " + kovdPath};
}

Lines noneFound(const string& kovdPath)
{
    return {"1 IterateSMBIOSPCISlotObjs: " + kovdPath + " No association found for objPath"};
}

// IterateSMBIOSObjs

TEST(IterateSMBIOSObjs, readsTheMapOfItsType)
{
    struct Row
    {
        int type;
        ObjectMap& map;
    };
    Row rows[] = {{2, kovdPCIeSlotObjs}, {3, kovdPCIeDeviceObjs}, {4, kovdChassisPathSlotObjs}};
    storeSmbios({{smbios1, smbiosSlot(1)}});
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.type);
        recorded_log::clear();
        recorded_requests::clear();
        row.map.insertObject(slot1, kovdSlot(1));
        IterateSMBIOSObjs(slot1, row.type);
        EXPECT_EQ(engineLines(), added(smbios1, slot1));
        EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios1)});

        row.map.eraseObject(slot1);
        EXPECT_TRUE(takeAssociatedKOVDPath(smbios1));
    }
}

TEST(IterateSMBIOSObjs, logsAnObjectThatItsMapDoesNotHold)
{
    // Stored, but as something else: each type misses the object of the two others.
    struct Row
    {
        int type;
        ObjectMap& own;
    };
    Row rows[] = {{2, kovdPCIeSlotObjs}, {3, kovdPCIeDeviceObjs}, {4, kovdChassisPathSlotObjs}};
    storeSmbios({{smbios1, smbiosSlot(1)}});
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.type);
        recorded_log::clear();
        for (const Row& other : rows)
        {
            other.own.insertObject(slot1, kovdSlot(1));
        }
        row.own.eraseObject(slot1);
        IterateSMBIOSObjs(slot1, row.type);
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"1 IterateSMBIOSObjs: KOVD object not found for objPath: " + slot1});
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateSMBIOSObjs, logsAnObjectWithoutProperties)
{
    storeSmbios({{smbios1, smbiosSlot(1)}});
    for (const int type : {2, 3, 4})
    {
        recorded_log::clear();
        kovdPCIeSlotObjs.insertObject(slot1, {});
        kovdPCIeDeviceObjs.insertObject(slot1, {});
        kovdChassisPathSlotObjs.insertObject(slot1, {});
        IterateSMBIOSObjs(slot1, type);
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"1 IterateSMBIOSObjs: KOVD object not found for objPath: " + slot1});
    }
}

TEST(IterateSMBIOSObjs, logsEveryOtherType)
{
    storeSmbios({{smbios1, smbiosSlot(1)}, {slot1, smbiosSlot(1)}});
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeDeviceObjs.insertObject(slot1, kovdSlot(1));
    kovdChassisPathSlotObjs.insertObject(slot1, kovdSlot(1));
    for (const int type : {1, 0, 5, 6, 7, -1, std::numeric_limits<int>::max()})
    {
        SCOPED_TRACE(type);
        recorded_log::clear();
        IterateSMBIOSObjs(slot1, type);
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"1 IterateSMBIOSObjs: KOVD object not found for objPath: " + slot1});
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateSMBIOSObjs, endsAtAnException)
{
    const string text = "KOVD object not found for objPath: " + slot1;
    when(text, [] { throw std::runtime_error("boom"); });
    IterateSMBIOSObjs(slot1, 2);
    EXPECT_EQ(recorded_log::summary(), (Lines{"1 IterateSMBIOSObjs: " + text,
                                              "1 IterateSMBIOSObjs: Exception in IterateSMBIOSObjs:"
                                              " boom"}));
    recorded_log::clear();
    when(text, [] { throw 42; });
    IterateSMBIOSObjs(slot1, 2);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"1 IterateSMBIOSObjs: " + text,
                     "1 IterateSMBIOSObjs: Unknown Exception in IterateSMBIOSObjs"}));
}

// IterateSMBIOSPCISlotObjs

TEST(IterateSMBIOSPCISlotObjs, pairsWithTheFirstMatchInPathOrder)
{
    // 2 and 3 both match; 1 does not.
    storeSmbios({{smbios3, smbiosSlot(5)},
                 {smbios1, smbiosSlot(4)},
                 {smbios2, sample::smbiosSlot("NIC SLOT 5", 5)}});
    IterateSMBIOSPCISlotObjs(kovdSlot(5), slot1);
    EXPECT_EQ(engineLines(), added(smbios2, slot1));
    EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios2)});
    EXPECT_TRUE(isPair(smbios2, slot1));
    EXPECT_FALSE(isPathAssociated(smbiosSide, smbios3));
    // The first was refused by its number, the third never looked at.
    EXPECT_EQ(comparisons("NIC.Slot.5"), 1U);
    EXPECT_EQ(recorded_log::count("SMBIOS fqdd NIC SLOT 5"), 1U);
}

TEST(IterateSMBIOSPCISlotObjs, logsTheWholeMatch)
{
    storeSmbios({{smbios1, smbiosSlot(1)}});
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"5 matchFQDD: KOVD fqdd NIC.Slot.1", "5 matchFQDD: SMBIOS fqdd PCIe SLOT 1",
                     "5 matchFQDD: Device Type=NIC", "5 matchFQDD: Slot Type=Slot",
                     "5 matchFQDD: Slot number=1",
                     "5 matchFQDD: Slot comparison: SMBIOS=1 vs FQDD=1 => MATCH",
                     "5 IterateSMBIOSPCISlotObjs: Association added successfully",
                     "5 IterateSMBIOSPCISlotObjs: smbios " + smbios1,
                     "5 IterateSMBIOSPCISlotObjs: kovd " + slot1}));
}

TEST(IterateSMBIOSPCISlotObjs, logsThatNothingMatched)
{
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_EQ(recorded_log::summary(), noneFound(slot1));
    recorded_log::clear();
    storeSmbios({{smbios1, smbiosSlot(2)}, {smbios2, smbiosSlot(3)}});
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_EQ(recorded_log::summary(), noneFound(slot1));
    EXPECT_EQ(recorded_requests::all(), Requests{});
    EXPECT_FALSE(isPathAssociated(kovdSide, slot1));
}

TEST(IterateSMBIOSPCISlotObjs, comparesDevicesAsIfTheyWereSlots)
{
    storeSmbios({{smbios1, smbiosSlot(1)}});
    IterateSMBIOSPCISlotObjs(kovdDevice(1), device1);
    EXPECT_EQ(recorded_log::summary(), noneFound(device1));
    recorded_log::clear();

    IterateSMBIOSPCISlotObjs(sample::both(kovdDevice(2), kovdSlot(1)), device1);
    EXPECT_EQ(engineLines(), added(smbios1, device1));
}

TEST(IterateSMBIOSPCISlotObjs, writesAlsoWhenThePairIsRefused)
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
    storeSmbios({{smbios1, smbiosSlot(1)}});
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.what);
        recorded_log::clear();
        recorded_requests::clear();
        ASSERT_TRUE(addAssociationPair(row.smbios, row.kovd));
        IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
        EXPECT_EQ(engineLines(),
                  Lines{"5 IterateSMBIOSPCISlotObjs: Association not added successfully " + slot1});
        EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios1)});
        EXPECT_TRUE(isPair(row.smbios, row.kovd));
        takeAssociatedKOVDPath(row.smbios);
    }
}

TEST(IterateSMBIOSPCISlotObjs, keepsThePairWhenTheHandOverFails)
{
    storeSmbios({{smbios1, smbiosSlot(1)}, {smbios2, smbiosSlot(1)}});
    recorded_requests::setResult(-7);
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    Lines expected = added(smbios1, slot1);
    expected.emplace_back("1 IterateSMBIOSPCISlotObjs: OneWayChannel_Execute failed, execRet = -7");
    EXPECT_EQ(engineLines(), expected);
    EXPECT_TRUE(isPair(smbios1, slot1));
    EXPECT_EQ(recorded_requests::refused(), 1U); // no second try, no second slot
}

TEST(IterateSMBIOSPCISlotObjs, goesOnBehindASlotWithoutProperties)
{
    storeSmbios({{smbios1, {}}, {smbios2, smbiosSlot(1)}});
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    Lines expected = {"1 IterateSMBIOSPCISlotObjs: SMBIOS object properties could not be obtained "
                      "for objPath: " +
                      smbios1};
    for (const string& line : added(smbios2, slot1))
    {
        expected.push_back(line);
    }
    EXPECT_EQ(engineLines(), expected);
}

TEST(IterateSMBIOSPCISlotObjs, goesOnBehindASlotThatCannotBeCompared)
{
    storeSmbios({{smbios1, sample::with(smbiosSlot(1), "SlotID", true)}, {smbios2, smbiosSlot(1)}});
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_TRUE(isPair(smbios2, slot1));
    EXPECT_EQ(engineLines().front(),
              "1 CompareAssociationProperties: Exception in CompareAssociationProperties: "
              "std::get: wrong index for variant");
}

TEST(IterateSMBIOSPCISlotObjs, endsAtASlotThatVanished)
{
    storeSmbios({{smbios1, {}}, {smbios2, smbiosSlot(2)}, {smbios3, smbiosSlot(1)}});
    const string empty = "SMBIOS object properties could not be obtained for objPath: " + smbios1;
    when(empty, [] { smbiosPCIeSlotObjs.eraseObject(smbios2); });
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_EQ(
        recorded_log::summary(),
        (Lines{"1 IterateSMBIOSPCISlotObjs: " + empty,
               "1 IterateSMBIOSPCISlotObjs: SMBIOS object not found for objPath: " + smbios2}));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(IterateSMBIOSPCISlotObjs, walksThePathsOfOneMomentAndTheObjectsOfNow)
{
    storeSmbios({{smbios1, {}}, {smbios3, smbiosSlot(2)}});
    const string empty = "SMBIOS object properties could not be obtained for objPath: " + smbios1;
    when(empty, [] { storeSmbios({{smbios2, smbiosSlot(1)}, {smbios3, smbiosSlot(1)}}); });
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_TRUE(isPair(smbios3, slot1));
}

TEST(IterateSMBIOSPCISlotObjs, endsAtAnException)
{
    storeSmbios({{smbios1, {}}, {smbios2, smbiosSlot(1)}});
    const string empty = "SMBIOS object properties could not be obtained for objPath: " + smbios1;
    when(empty, [] { throw std::runtime_error("boom"); });
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_EQ(recorded_log::summary(), (Lines{"1 IterateSMBIOSPCISlotObjs: " + empty,
                                              "1 IterateSMBIOSPCISlotObjs: Exception: boom"}));
    recorded_log::clear();
    when(empty, [] { throw 42; });
    IterateSMBIOSPCISlotObjs(kovdSlot(1), slot1);
    EXPECT_EQ(recorded_log::summary(), (Lines{"1 IterateSMBIOSPCISlotObjs: " + empty,
                                              "1 IterateSMBIOSPCISlotObjs: Unknown exception"}));
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

// By keys

/** What a search from slot3 says and writes; with the objects' keys, or by their properties. */
std::pair<Lines, Requests> searchAmongThree(bool withKeys, int level)
{
    const auto keys = [&](const MatchKeys& read) { return withKeys ? read : MatchKeys{}; };
    resetStore();
    recorded_log::setLevel(level);
    const PropertyMap otherNumber = sample::with(smbiosSlot(2), "SlotID", std::uint16_t{3});
    const std::pair<string, PropertyMap> slots[] = {
        {smbios1, smbiosSlot(1)}, {smbios2, otherNumber}, {smbios3, smbiosSlot(3)}};
    for (const auto& [path, slot] : slots)
    {
        smbiosPCIeSlotObjs.insertObject(path, slot, keys(keysOfSmbiosSlot(slot)));
    }
    const PropertyMap asking = kovdSlot(3);
    kovdPCIeSlotObjs.insertObject(slot3, asking, keys(keysOfKovdSlot(asking)));
    IterateSMBIOSObjs(slot3, 2);
    return {recorded_log::summary(), recorded_requests::all()};
}

TEST(IterateSMBIOSObjs, findsAndSaysTheSameByKeys)
{
    for (const int level : {4, 5, 9})
    {
        const auto found = searchAmongThree(true, level);
        EXPECT_EQ(found, searchAmongThree(false, level));
        EXPECT_EQ(found.second, Requests{paired(slot3, smbios3)});
        EXPECT_EQ(found.first.empty(), level < 5);
    }
}

} // namespace
