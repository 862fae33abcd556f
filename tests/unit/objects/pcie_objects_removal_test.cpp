#include "doubles/fresh_store.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "objects/pcie_objects.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using sample::received;
using std::string;

const string removed = "1 removeSMBIOSPCIeAssociations: Entry removed from the map";
const string unpaired =
    "4 removeSMBIOSPCIeAssociations: No associations found for path: " + smbios1;
const string partner = "1 removeSMBIOSPCIeAssociations: associated kovd objpath  = " + slot1;

TEST(removeSMBIOSPCIeAssociations, forgetsTheSlotAndClearsItsPartner)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    ASSERT_TRUE(addAssociationPair(smbios2, slot2));
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_log::summary(), (Lines{removed, partner}));
    EXPECT_EQ(recorded_requests::all(), (Requests{{slot1, {}}}));
    EXPECT_FALSE(smbiosPCIeSlotObjs.hasObject(smbios1));
    EXPECT_FALSE(isPathAssociated(smbiosSide, smbios1));
    EXPECT_FALSE(isPathAssociated(kovdSide, slot1));
    EXPECT_TRUE(smbiosPCIeSlotObjs.hasObject(smbios2));
    EXPECT_TRUE(isPair(smbios2, slot2));
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST(removeSMBIOSPCIeAssociations, forgetsASlotThatWasNeverPaired)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    ASSERT_TRUE(addAssociationPair("/other", smbios1)); // the wrong side
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_log::summary(), (Lines{removed, unpaired}));
    EXPECT_FALSE(smbiosPCIeSlotObjs.hasObject(smbios1));
    EXPECT_EQ(recorded_requests::all(), Requests{});
    EXPECT_TRUE(isPair("/other", smbios1));
}

TEST(removeSMBIOSPCIeAssociations, knowsNothingOfAnUnknownSlot)
{
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{unpaired});
}

TEST(removeSMBIOSPCIeAssociations, clearsThePartnerOfASlotThatIsNotStored)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_log::summary(), Lines{partner});
    EXPECT_EQ(recorded_requests::all(), (Requests{{slot1, {}}}));
}

TEST(removeSMBIOSPCIeAssociations, touchesNoOtherMap)
{
    for (ObjectMap* map : {&kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs,
                           &smbiosCPUObjs, &smbiosCacheObjs, &kovdCPUObjs})
    {
        map->insertObject(smbios1, {});
        map->insertObject(slot1, {});
    }
    smbiosPCIeSlotObjs.insertObject(smbios1, {});
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    removeSMBIOSPCIeAssociations(smbios1);
    for (ObjectMap* map : {&kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs,
                           &smbiosCPUObjs, &smbiosCacheObjs, &kovdCPUObjs})
    {
        EXPECT_TRUE(map->hasObject(smbios1));
        EXPECT_TRUE(map->hasObject(slot1));
    }
}

TEST(removeSMBIOSPCIeAssociations, clearsNoObjectThatWasWrittenWithoutAPair)
{
    InsertKOVDPCIeSlotObj(slot1, received(kovdSlot(1)));
    InsertKOVDPCIeDevicesObj(device1, received(kovdDevice(1)));
    InsertKOVDChassisPathSlotObjs(twin1, received(sample::kovdChassisObject()));
    InsertSMBIOSPCIeSlotObj(smbios1, received(smbiosSlot(1)));
    ASSERT_EQ(recorded_requests::all().size(), 3U);
    recorded_requests::clear();
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{slot1, {}}}));

    // The platform's objects stay; a new SMBIOS slot is paired with them again.
    recorded_requests::clear();
    InsertSMBIOSPCIeSlotObj(smbios2, received(smbiosSlot(1)));
    EXPECT_EQ(recorded_requests::all(),
              (Requests{paired(slot1, smbios2), paired(device1, smbios2), paired(twin1, smbios2)}));
}

TEST(removeSMBIOSPCIeAssociations, logsAFailedHandOver)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    recorded_requests::setResult(-1);
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{removed, partner,
                     "1 removeSMBIOSPCIeAssociations: OneWayChannel_Execute failed, execRet = "
                     "-1"}));
    EXPECT_EQ(recorded_requests::refused(), 1U);
    EXPECT_FALSE(isPathAssociated(kovdSide, slot1)); // the pair is gone all the same
}

TEST(removeSMBIOSPCIeAssociations, logsAnyException)
{
    const string entry = "Entry removed from the map";
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    when(entry, [] { throw std::runtime_error("boom"); });
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(
        recorded_log::summary(),
        (Lines{removed, "1 removeSMBIOSPCIeAssociations: failed to remove association[boom]"}));

    recorded_log::clear();
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    when(entry, [] { throw 42; });
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(recorded_log::summary(),
              (Lines{removed, "1 removeSMBIOSPCIeAssociations: failed to remove association"}));
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST(removeSMBIOSPCIeAssociations, releasesThePairsAlsoAfterAnException)
{
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    when("associated kovd objpath  = " + slot1, [] { throw std::runtime_error("boom"); });
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_EQ(
        recorded_log::summary(),
        (Lines{partner, "1 removeSMBIOSPCIeAssociations: failed to remove association[boom]"}));
    EXPECT_TRUE(addAssociationPair(smbios3, slot3)); // would never return
}

TEST(removeSMBIOSPCIeAssociations, clearsOnlyWhenThePairIsGone)
{
    // Whoever sees the property cleared finds both objects free.
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    recorded_requests::setResult(-1);
    bool free = false;
    when("OneWayChannel_Execute failed, execRet = -1", [&]
         { free = !isPathAssociated(smbiosSide, smbios1) && !isPathAssociated(kovdSide, slot1); });
    removeSMBIOSPCIeAssociations(smbios1);
    EXPECT_TRUE(free);
}

} // namespace
