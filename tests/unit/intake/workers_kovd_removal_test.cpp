/* What the KOVD worker makes of removed objects: its lines, the entry's end and the pair's. */
#include "doubles/test_message.hpp"
#include "intake/signal_decoding.hpp"
#include "unit/intake/kovd_dispatch_kit.hpp"

namespace
{

using namespace kovd_objects;

/** A removal on this queue: no decoder puts one there, and the branch is complete all the same. */
class KovdRemoval : public KovdWork
{
  protected:
    static Lines boardRemoveLines(const std::string& path, const std::string& interface)
    {
        return {line(9, "OBJ_MGR_INTF_REMOVED_SIGNAL"),
                line(1, path + " Object path to be removed"),
                line(interface == itemInterface ? 1 : 9, "interface = " + interface)};
    }

    static Lines chassisRemoveLines(const std::string& path)
    {
        return {line(9, "OBJ_MGR_INTF_REMOVED_SIGNAL"),
                line(1, "Object path to be removed = " + path),
                line(1, "interface = " + chassisInterface)};
    }

    static std::string noPairLine(const std::string& path)
    {
        return line(4, "No associations found for path: " + path);
    }
};

TEST_F(KovdRemoval, erasesASlotOrDeviceOfTheBoardAndItsPair)
{
    const std::vector<std::pair<std::string, ObjectMap*>> rows{
        {slotInterface, &kovdPCIeSlotObjs},
        {deviceInterface, &kovdPCIeDeviceObjs},
    };
    for (const std::string& path : {boardPcie + "/slot1", board, board + chassis, "/x" + boardCpu})
    {
        for (const auto& [interface, map] : rows)
        {
            resetStore();
            kovdPCIeSlotObjs.insertObject(path, {});
            kovdPCIeDeviceObjs.insertObject(path, {});
            kovdChassisPathSlotObjs.insertObject(path, {});
            kovdCPUObjs.insertObject(path, {});
            ASSERT_TRUE(addAssociationPair("/smbios", path));
            process(removedRecord(path, {interface}));
            EXPECT_EQ(allLines(kovdWorker),
                      joined({boardRemoveLines(path, interface),
                              {line(5, "Entry " + path + " removed from the map"),
                               line(9, "Entry " + path + " removed from association map")}}));
            EXPECT_FALSE(map->hasObject(path));
            EXPECT_EQ(storedUnder(path).size(), 3U);
            EXPECT_FALSE(isPathAssociated(kovdSide, path));
            EXPECT_FALSE(isPathAssociated(smbiosSide, "/smbios"));
        }
    }
}

TEST_F(KovdRemoval, saysThatThereWasNoEntryAndNoPair)
{
    const std::string path = boardPcie + "/slot1";
    for (const auto& interface : {slotInterface, deviceInterface})
    {
        process(removedRecord(path, {interface}));
        EXPECT_EQ(allLines(kovdWorker),
                  joined({boardRemoveLines(path, interface),
                          {line(1, "Failed to remove the entry from the map"), noPairLine(path)}}));
    }
}

TEST_F(KovdRemoval, removesAProcessorWhereverOnTheBoard)
{
    for (const auto& path : {boardCpu + "0", boardPcie + "/slot1", board})
    {
        resetStore();
        kovdCPUObjs.insertObject(path, {});
        ASSERT_TRUE(addAssociationPair("/smbios", path));
        process(removedRecord(path, {itemInterface}));
        EXPECT_EQ(allLines(kovdWorker),
                  joined({boardRemoveLines(path, itemInterface),
                          {"5 removeKOVDCPUAssoc: " + path + " KOVD path removed from the map:"},
                          {line(9, "Entry " + path + " removed from association map")}}));
        EXPECT_FALSE(kovdCPUObjs.hasObject(path));
        EXPECT_FALSE(isPathAssociated(kovdSide, path));
    }
}

TEST_F(KovdRemoval, removesAProcessorThatIsNotPaired)
{
    const std::string path = boardCpu + "0";
    process(removedRecord(path, {itemInterface}));
    EXPECT_EQ(ownLines(kovdWorker),
              joined({boardRemoveLines(path, itemInterface), {noPairLine(path)}}));
}

TEST_F(KovdRemoval, erasesAChassisDeviceAndItsPairWithoutALineForThePair)
{
    for (const std::string& path : {chassisPcie + "/dev1", chassis, "/x" + chassis + "y"})
    {
        resetStore();
        kovdChassisPathSlotObjs.insertObject(path, {});
        kovdPCIeSlotObjs.insertObject(path, {});
        ASSERT_TRUE(addAssociationPair("/smbios", path));
        process(removedRecord(path, {chassisInterface}));
        EXPECT_EQ(allLines(kovdWorker),
                  joined({chassisRemoveLines(path),
                          {line(5, "Entry " + path + " removed from the map")}}));
        EXPECT_FALSE(kovdChassisPathSlotObjs.hasObject(path));
        EXPECT_TRUE(kovdPCIeSlotObjs.hasObject(path));
        EXPECT_FALSE(isPathAssociated(kovdSide, path));
    }
}

TEST_F(KovdRemoval, saysThatThereWasNoChassisEntryAndNoPair)
{
    const std::string path = chassisPcie + "/dev1";
    process(removedRecord(path, {chassisInterface}));
    EXPECT_EQ(allLines(kovdWorker),
              joined({chassisRemoveLines(path),
                      {line(1, "Failed to remove the entry from the map"), noPairLine(path)}}));
}

TEST_F(KovdRemoval, visitsTheNamesInTheOrderOfTheListAndErasesThePairOnce)
{
    const std::string path = boardPcie + "/slot1";
    kovdPCIeSlotObjs.insertObject(path, {});
    kovdPCIeDeviceObjs.insertObject(path, {});
    ASSERT_TRUE(addAssociationPair("/smbios", path));
    process(removedRecord(path, {slotInterface, chassisInterface, deviceInterface, slotInterface}));
    EXPECT_EQ(allLines(kovdWorker),
              joined({boardRemoveLines(path, slotInterface),
                      {line(5, "Entry " + path + " removed from the map")},
                      boardRemoveLines(path, deviceInterface),
                      {line(5, "Entry " + path + " removed from the map")},
                      boardRemoveLines(path, slotInterface),
                      {line(1, "Failed to remove the entry from the map")},
                      {line(9, "Entry " + path + " removed from association map")}}));
}

TEST_F(KovdRemoval, erasesThePairAlsoWhenNoNameMatchesOrNoneIsThere)
{
    for (const std::vector<std::string>& names :
         {std::vector<std::string>{}, std::vector<std::string>{"any.Other", ""}})
    {
        for (const auto& [path, erased] :
             {std::pair{boardPcie,
                        Lines{line(9, "Entry " + boardPcie + " removed from association map")}},
              std::pair{chassisPcie, Lines{}}})
        {
            resetStore();
            kovdPCIeSlotObjs.insertObject(path, {});
            ASSERT_TRUE(addAssociationPair("/smbios", path));
            process(removedRecord(path, names));
            EXPECT_EQ(allLines(kovdWorker), erased);
            EXPECT_FALSE(isPathAssociated(kovdSide, path));
            EXPECT_TRUE(kovdPCIeSlotObjs.hasObject(path));

            process(removedRecord(path, names));
            EXPECT_EQ(allLines(kovdWorker), Lines{noPairLine(path)});
        }
    }
}

TEST_F(KovdRemoval, matchesNoInterfaceOfTheOtherBranch)
{
    process(removedRecord(boardPcie, {chassisInterface}));
    EXPECT_EQ(allLines(kovdWorker), Lines{noPairLine(boardPcie)});
    process(removedRecord(chassis, {slotInterface, deviceInterface, itemInterface}));
    EXPECT_EQ(allLines(kovdWorker), Lines{noPairLine(chassis)});
    process(removedRecord(chassis + board, {chassisInterface}));
    EXPECT_EQ(allLines(kovdWorker), Lines{noPairLine(chassis + board)});
}

TEST_F(KovdRemoval, leavesOtherPairsAlone)
{
    ASSERT_TRUE(addAssociationPair("/smbios/1", boardPcie + "/slot1"));
    ASSERT_TRUE(addAssociationPair("/smbios/2", boardPcie + "/slot10"));
    ASSERT_TRUE(addAssociationPair(boardPcie + "/slot2", "/kovd"));
    process(removedRecord(boardPcie + "/slot1", {}));
    EXPECT_FALSE(isPathAssociated(kovdSide, boardPcie + "/slot1"));
    EXPECT_TRUE(isPathAssociated(kovdSide, boardPcie + "/slot10"));
    process(removedRecord(boardPcie + "/slot2", {}));
    EXPECT_EQ(allLines(kovdWorker), Lines{noPairLine(boardPcie + "/slot2")});
    EXPECT_TRUE(isPathAssociated(smbiosSide, boardPcie + "/slot2"));
}

TEST_F(KovdRemoval, ignoresAPathElsewhereWithItsPair)
{
    const std::string path = "/xyz/openbmc_project/inventory/system/other";
    kovdPCIeSlotObjs.insertObject(path, {});
    ASSERT_TRUE(addAssociationPair("/smbios", path));
    process(removedRecord(path, {slotInterface, chassisInterface}));
    EXPECT_EQ(allLines(kovdWorker), Lines{});
    EXPECT_TRUE(kovdPCIeSlotObjs.hasObject(path));
    EXPECT_TRUE(isPathAssociated(kovdSide, path));
}

TEST_F(KovdRemoval, ofTheBusLeavesEverythingAsItWas)
{
    const std::string path = boardPcie + "/slot1";
    for (ObjectMap* objects : {&kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs})
    {
        objects->insertObject(path, {});
    }
    ASSERT_TRUE(addAssociationPair("/smbios", path));
    auto message = test_message::signal(
        {board, "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved"}, "oas", path.c_str(), 3,
        slotInterface.c_str(), deviceInterface.c_str(), chassisInterface.c_str());
    GetKovdMsgData(message);
    work(kovdWorker, {});
    EXPECT_EQ(allLines(kovdWorker), Lines{});
    recorded_log::clear();
    work(smbiosWorker, {});
    EXPECT_EQ(allLines(smbiosWorker), Lines{});
    EXPECT_EQ(storedUnder(path).size(), 3U);
    EXPECT_TRUE(isPathAssociated(kovdSide, path));
}

} // namespace
