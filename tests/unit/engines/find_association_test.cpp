#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/find_association.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace
{

using namespace world;
using std::string;

constexpr int fromKovd = 1;
constexpr int fromSmbios = 2;
constexpr int fullPass = 3;
constexpr int device = 3;
constexpr int chassis = 4;

const string cpu = "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu0";

Lines handOverFailed(int result)
{
    return {"1 FindAssociation: OneWayChannel_Execute failed, execRet = " + std::to_string(result)};
}

// The dispatcher

TEST(FindAssociation, handsEachObjectToItsEngine)
{
    struct Row
    {
        int source;
        int type;
        string firstLine; // of the engine, which does not find the object
    };
    const Row rows[] = {
        {2, 1, "1 IterateKOVDObjs: SMBIOS object not found for objPath: " + cpu},
        {2, 5, "1 AssocForSmbiosCPU: SMBIOS object not found for objPath: " + cpu},
        {2, 6, "1 AddCacheAssoc: " + cpu + " SMbios Cache object not found for objPath"},
        {1, 2, "1 IterateSMBIOSObjs: KOVD object not found for objPath: " + cpu},
        {1, 3, "1 IterateSMBIOSObjs: KOVD object not found for objPath: " + cpu},
        {1, 4, "1 FindAssociation: SMBIOS association not found for objPath: " + cpu},
        {1, 7, "1 AssocForKovdCPU: KOVD object not found for objPath: " + cpu},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.source << ", " << row.type);
        recorded_log::clear();
        FindAssociation(row.source, row.type, cpu);
        EXPECT_EQ(recorded_log::summary(), Lines{row.firstLine});
    }
}

TEST(FindAssociation, runsTheFullPassWhateverTheType)
{
    for (const int type : {0, 1, 2, 7, 99, -1})
    {
        recorded_log::clear();
        FindAssociation(fullPass, type, "");
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"1 AssociateSMBIOSPCIESlotsObjToKOVDObjs: No SMBIOS objects found in the "
                        "map"});
    }
}

TEST(FindAssociation, logsWhatItDoesNotSupport)
{
    struct Row
    {
        int source;
        std::vector<int> types;
    };
    constexpr int most = std::numeric_limits<int>::max();
    const Row rows[] = {
        {fromKovd, {0, 1, 5, 6, 8, -1, most}},
        {fromSmbios, {0, 2, 3, 4, 7, 8, -1, most}},
        {0, {1, 2, 3, 7}},
        {4, {1, 2}},
        {-1, {1, 2}},
        {most, {most}},
    };
    ASSERT_TRUE(addAssociationPair(cpu, cpu));
    for (const Row& row : rows)
    {
        for (const int type : row.types)
        {
            SCOPED_TRACE(testing::Message() << row.source << ", " << type);
            recorded_log::clear();
            FindAssociation(row.source, type, cpu);
            EXPECT_EQ(recorded_log::summary(), Lines{"1 FindAssociation: interface type " +
                                                     std::to_string(type) + " not supported"});
        }
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(FindAssociation, leavesAPairedObjectAlone)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeDeviceObjs.insertObject(slot1, kovdSlot(1));
    kovdChassisPathSlotObjs.insertObject(slot1, {});
    kovdCPUObjs.insertObject(slot1, {});
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    FindAssociation(fromSmbios, 1, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              Lines{"5 FindAssociation: Association already exists " + smbios1});
    for (const int type : {2, 3, 4, 7})
    {
        SCOPED_TRACE(type);
        recorded_log::clear();
        FindAssociation(fromKovd, type, slot1);
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"5 FindAssociation: Association already exists " + slot1});
    }
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(FindAssociation, looksForThePairOnTheSideOfTheSource)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    FindAssociation(fromSmbios, 1, slot1);
    FindAssociation(fromKovd, 2, smbios1);
    FindAssociation(fromKovd, device, smbios1);
    FindAssociation(fromKovd, chassis, smbios1);
    FindAssociation(fromKovd, 7, smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"1 IterateKOVDObjs: SMBIOS object not found for objPath: " + slot1,
                     "1 IterateSMBIOSObjs: KOVD object not found for objPath: " + smbios1,
                     "1 IterateSMBIOSObjs: KOVD object not found for objPath: " + smbios1,
                     "1 FindAssociation: SMBIOS association not found for objPath: " + smbios1,
                     "1 AssocForKovdCPU: KOVD object not found for objPath: " + smbios1}));
}

TEST(FindAssociation, doesNotAskWhetherASmbiosProcessorOrCacheIsPaired)
{
    ASSERT_TRUE(addAssociationPair(cpu, slot1));
    FindAssociation(fromSmbios, 5, cpu);
    FindAssociation(fromSmbios, 6, cpu);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"1 AssocForSmbiosCPU: SMBIOS object not found for objPath: " + cpu,
                     "1 AddCacheAssoc: " + cpu + " SMbios Cache object not found for objPath"}));
}

TEST(FindAssociation, pairsASlotFromEitherSide)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot2, kovdSlot(2));
    FindAssociation(fromKovd, 2, slot1);
    FindAssociation(fromSmbios, 1, smbios2);
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(slot1, smbios1), paired(slot2, smbios2)}));
    EXPECT_TRUE(isPair(smbios1, slot1));
    EXPECT_TRUE(isPair(smbios2, slot2));
}

// Slot devices

TEST(FindAssociation, givesADeviceTheEndpointOfItsParent)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    // Its own properties would match another slot; they are not asked.
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
    kovdPCIeDeviceObjs.insertObject(device1, kovdSlot(2));
    FindAssociation(fromKovd, device, device1);
    EXPECT_EQ(recorded_log::summary(),
              Lines{"5 FindAssociation: " + smbios1 + " Associated SMBIOSobjPath"});
    EXPECT_EQ(recorded_requests::all(), Requests{paired(device1, smbios1)});
    EXPECT_FALSE(isPathAssociated(kovdSide, device1));

    // Without a pair it is written again each time.
    FindAssociation(fromKovd, device, device1);
    EXPECT_EQ(recorded_requests::all(), (Requests(2, paired(device1, smbios1))));
}

TEST(FindAssociation, takesTheTextBeforeTheLastSlashForTheParent)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    ASSERT_TRUE(addAssociationPair(smbios2, "")); // what is before the slash of "/nic"
    FindAssociation(fromKovd, device, slot1 + "/");
    FindAssociation(fromKovd, device, "/nic");
    EXPECT_EQ(recorded_requests::all(),
              (Requests{paired(slot1 + "/", smbios1), paired("/nic", smbios2)}));
    // The parent, not a slot further up.
    FindAssociation(fromKovd, device, device1 + "/port");
    EXPECT_EQ(recorded_log::summary().back(),
              "1 IterateSMBIOSObjs: KOVD object not found for objPath: " + device1 + "/port");
}

TEST(FindAssociation, searchesByItselfForADeviceWithoutAPairedParent)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1)); // stored, but not paired
    kovdPCIeDeviceObjs.insertObject(device1, sample::both(kovdDevice(2), kovdSlot(1)));
    FindAssociation(fromKovd, device, device1);
    EXPECT_EQ(recorded_requests::all(), Requests{paired(device1, smbios1)});
    EXPECT_TRUE(isPair(smbios1, device1));
}

TEST(FindAssociation, logsADevicePathWithoutASlash)
{
    for (const string path : {"nic", "", "%s%n"})
    {
        SCOPED_TRACE(path);
        recorded_log::clear();
        FindAssociation(fromKovd, device, path);
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"1 FindAssociation: Objpath not correct for " + path});
    }
}

TEST(FindAssociation, logsADeviceWhoseParentHasAnEmptyPartner)
{
    ASSERT_TRUE(addAssociationPair("", slot1));
    FindAssociation(fromKovd, device, device1);
    EXPECT_EQ(recorded_log::summary(),
              Lines{"1 FindAssociation: SMBIOS association not found for objPath: " + device1});
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(FindAssociation, logsAFailedHandOverOfADevice)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    recorded_requests::setResult(-1);
    FindAssociation(fromKovd, device, device1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"5 FindAssociation: " + smbios1 + " Associated SMBIOSobjPath",
                     handOverFailed(-1).front()}));
}

// Chassis objects

TEST(FindAssociation, givesAChassisObjectTheEndpointOfItsTwin)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    FindAssociation(fromKovd, chassis, twin1);
    EXPECT_EQ(recorded_log::summary(),
              Lines{"5 FindAssociation: Associated SMBIOS  objPath: " + smbios1});
    EXPECT_EQ(recorded_requests::all(), Requests{paired(twin1, smbios1)});
    EXPECT_FALSE(isPathAssociated(kovdSide, twin1));

    FindAssociation(fromKovd, chassis, twin1);
    EXPECT_EQ(recorded_requests::all(), (Requests(2, paired(twin1, smbios1))));
}

TEST(FindAssociation, doesNotSearchForAChassisObjectWithoutAPairedTwin)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdChassisPathSlotObjs.insertObject(twin1, kovdSlot(1));
    FindAssociation(fromKovd, chassis, twin1);
    EXPECT_EQ(recorded_log::summary(),
              Lines{"1 FindAssociation: SMBIOS association not found for objPath: " + twin1});
    EXPECT_EQ(recorded_requests::all(), Requests{});

    // The full pass serves it later.
    FindAssociation(fullPass, 0, "");
    EXPECT_EQ(recorded_requests::all(), (Requests{paired(slot1, smbios1), paired(twin1, smbios1)}));
}

TEST(FindAssociation, logsAChassisObjectWhoseTwinHasAnEmptyPartner)
{
    ASSERT_TRUE(addAssociationPair("", slot1));
    FindAssociation(fromKovd, chassis, twin1);
    EXPECT_EQ(recorded_log::summary(),
              Lines{"1 FindAssociation: SMBIOS association not found for objPath: " + twin1});
}

TEST(FindAssociation, logsAChassisPathWithoutALeaf)
{
    for (const string path : {"", "/", "nic", "/a/b/", "%s%n"})
    {
        SCOPED_TRACE(path);
        recorded_log::clear();
        FindAssociation(fromKovd, chassis, path);
        EXPECT_EQ(recorded_log::summary(),
                  Lines{"1 FindAssociation: Objpath not in correct format " + path});
    }
}

TEST(FindAssociation, logsAFailedHandOverOfAChassisObject)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    recorded_requests::setResult(12);
    FindAssociation(fromKovd, chassis, twin1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"5 FindAssociation: Associated SMBIOS  objPath: " + smbios1,
                     handOverFailed(12).front()}));
}

} // namespace
