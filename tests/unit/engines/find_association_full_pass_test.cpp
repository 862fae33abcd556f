#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/find_association.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace
{

using namespace world;
using std::string;

const string pass = "AssociateSMBIOSPCIESlotsObjToKOVDObjs: ";

/** The paths of the SMBIOS slots for which a search was begun. */
Paths searched()
{
    const string start = "SmbiosPath:";
    Paths paths;
    for (const LogLine& line : recorded_log::lines())
    {
        if (line.text.find(start) == 0)
        {
            paths.push_back(line.text.substr(start.size()));
        }
    }
    return paths;
}

void storeThreeSmbiosSlots()
{
    smbiosPCIeSlotObjs.insertObject(smbios3, smbiosSlot(3));
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, logsThatThereIsNoSlot)
{
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(recorded_log::summary(), Lines{"1 " + pass + "No SMBIOS objects found in the map"});
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, offersEachSlotToSlotsDevicesAndTwins)
{
    storeThreeSmbiosSlots();
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot3, kovdSlot(3));
    kovdPCIeDeviceObjs.insertObject(device1, kovdDevice(1));
    kovdPCIeDeviceObjs.insertObject(device2, kovdDevice(2));
    kovdPCIeDeviceObjs.insertObject(device3, kovdDevice(9));
    kovdChassisPathSlotObjs.insertObject(twin1, {});
    kovdChassisPathSlotObjs.insertObject(twin2, {});
    kovdChassisPathSlotObjs.insertObject(twin3, {});
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(searched(), (Paths{smbios1, smbios2, smbios3}));
    EXPECT_EQ(recorded_requests::all(),
              (Requests{paired(slot1, smbios1), paired(device1, smbios1), paired(twin1, smbios1),
                        paired(device2, smbios2), paired(slot3, smbios3), paired(device3, smbios3),
                        paired(twin3, smbios3)}));
    // Slot 2 has no match of its own, so neither has it that of slot 1.
    EXPECT_TRUE(isPair(smbios1, slot1));
    EXPECT_TRUE(isPair(smbios2, device2));
    EXPECT_TRUE(isPair(smbios3, slot3));
    EXPECT_TRUE(recorded_log::contains("No association found for objPath: " + smbios2));
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, logsTheWholePass)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, {});
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
    smbiosPCIeSlotObjs.insertObject(smbios3, smbiosSlot(3));
    ASSERT_TRUE(addAssociationPair(smbios2, slot2));
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(
        recorded_log::summary(),
        (Lines{
            "1 " + pass + "SMBIOS object properties could not be obtained for objPath: " + smbios1,
            "4 " + pass + "SMBIOS object already associated with KOVD object: " + smbios2,
            "5 IterateKOVDPCIeSlotObjs: SmbiosPath:" + smbios3,
            "9 IterateKOVDPCIeSlotObjs:  Finding association among kovd PCIe slot dbus objects",
            "9 IterateKOVDPCIeSlotObjsChassisPath: No association found for objPath: " + smbios3}));
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, skipsAPairedSlotWithoutLookingAtIt)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, {});
    ASSERT_TRUE(addAssociationPair(smbios1, slot1));
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(recorded_log::summary(),
              Lines{"4 " + pass + "SMBIOS object already associated with KOVD object: " + smbios1});
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, doesNotMistakeThePlatformsPathForTheSlots)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    ASSERT_TRUE(addAssociationPair("/other", smbios1));
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(searched(), Paths{smbios1});
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, skipsAtTheNextPassWhatCouldNotBeHandedOver)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    recorded_requests::setResult(-1);
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(recorded_log::summary().at(recorded_log::summary().size() - 1),
              "1 IterateKOVDPCIeSlotObjs: OneWayChannel_Execute failed, execRet = -1");
    recorded_requests::setResult(0);
    recorded_log::clear();
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(recorded_log::summary(),
              Lines{"4 " + pass + "SMBIOS object already associated with KOVD object: " + smbios1});
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, endsAtASlotThatVanished)
{
    storeThreeSmbiosSlots();
    kovdPCIeSlotObjs.insertObject(slot1, kovdSlot(1));
    kovdPCIeSlotObjs.insertObject(slot3, kovdSlot(3));
    when("SmbiosPath:" + smbios1, [] { smbiosPCIeSlotObjs.eraseObject(smbios2); });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(searched(), Paths{smbios1});
    EXPECT_EQ(recorded_requests::all(), Requests{paired(slot1, smbios1)});
    EXPECT_EQ(recorded_log::summary().back(),
              "1 " + pass + "SMBIOS object not found for objPath: " + smbios2);

    // The next pass goes on.
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_TRUE(isPair(smbios3, slot3));
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, asksForThePairBeforeTheObject)
{
    storeThreeSmbiosSlots();
    when("SmbiosPath:" + smbios1,
         []
         {
             smbiosPCIeSlotObjs.eraseObject(smbios2);
             addAssociationPair(smbios2, slot2);
         });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(searched(), (Paths{smbios1, smbios3}));
    EXPECT_TRUE(
        recorded_log::contains("SMBIOS object already associated with KOVD object: " + smbios2));
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, walksThePathsOfOneMomentAndTheObjectsOfNow)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    smbiosPCIeSlotObjs.insertObject(smbios3, smbiosSlot(3));
    kovdPCIeSlotObjs.insertObject(slot3, kovdSlot(7));
    when("SmbiosPath:" + smbios1,
         []
         {
             smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
             smbiosPCIeSlotObjs.insertObject(smbios3, smbiosSlot(7));
         });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(searched(), (Paths{smbios1, smbios3}));
    EXPECT_TRUE(isPair(smbios3, slot3));
}

TEST(AssociateSMBIOSPCIESlotsObjToKOVDObjs, endsAtAnException)
{
    storeThreeSmbiosSlots();
    const string text = "SmbiosPath:" + smbios1;
    when(text, [] { throw std::runtime_error("boom"); });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(recorded_log::summary(),
              (Lines{"5 IterateKOVDPCIeSlotObjs: " + text,
                     "1 " + pass + "Exception in AssociateSMBIOSPCIESlotsToKOVDPCIESlots: boom"}));
    recorded_log::clear();
    when(text, [] { throw 42; });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(
        recorded_log::summary(),
        (Lines{"5 IterateKOVDPCIeSlotObjs: " + text,
               "1 " + pass + "Unknown Exception in AssociateSMBIOSPCIESlotsToKOVDPCIESlots"}));
}

} // namespace
