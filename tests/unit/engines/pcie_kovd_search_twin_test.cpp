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

void searchTwin(const string& matched, const string& smbiosPath)
{
    IterateKOVDPCIeSlotObjsChassisPath(matched, PropertyMap{}, smbiosPath);
}

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

} // namespace
