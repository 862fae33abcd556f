/* What the KOVD worker makes of each record: its lines, then one operation. */
#include "doubles/test_message.hpp"
#include "intake/signal_decoding.hpp"
#include "unit/intake/worker_kit.hpp"

#include <algorithm>

namespace
{

const std::string board = "/xyz/openbmc_project/inventory/system/board";
const std::string boardPcie = "/xyz/openbmc_project/inventory/system/board/pcie";
const std::string boardCpu = "/xyz/openbmc_project/inventory/system/board/cpu";
const std::string chassis = "/xyz/openbmc_project/inventory/system/chassis";
const std::string chassisPcie = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie";

const std::string slotInterface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
const std::string deviceInterface = "com.vexa.bmc.kovd.OEMPcieInventory";
const std::string itemInterface = "xyz.openbmc_project.Inventory.Item";
const std::string chassisInterface = "xyz.openbmc_project.Inventory.Item.PCIeDevice";

const Lines otherInterfaces{"", "xyz.openbmc_project.Inventory.Item.Cpu",
                            "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9",
                            "xyz.openbmc_project.Inventory.Item.PCIeSlotDevices",
                            "com.vexa.bmc.kovd.OEMPcieInventor"};

struct Kind
{
    std::string interface;
    std::string insert;
    std::string map;
    PropertyMap stored; // of keptByAnyInsert("mark")
};

const Kind slot{slotInterface,
                "InsertKOVDPCIeSlotObj",
                "kovdPCIeSlotObjs",
                {{"PCIeFQDD", std::string{"mark"}}}};
const Kind device{deviceInterface,
                  "InsertKOVDPCIeDevicesObj",
                  "kovdPCIeDeviceObjs",
                  {{"FQDD", std::string{"mark"}}}};
const Kind cpu{
    itemInterface, "InsertKOVDCPUObj", "kovdCPUObjs", {{"TargetDevKey", std::string{"mark"}}}};
const Kind chassisDevice{chassisInterface,
                         "InsertKOVDChassisPathSlotObjs",
                         "kovdChassisPathSlotObjs",
                         {{"Function0ClassCode", std::string{"mark"}}}};
const std::vector<Kind> kinds{slot, device, cpu, chassisDevice};

/** At these paths exactly these kinds are taken, in each of the tables that say so. */
struct Place
{
    std::vector<std::string> paths;
    std::vector<std::string> interfaces;

    bool takes(const std::string& interface) const
    {
        return std::find(interfaces.begin(), interfaces.end(), interface) != interfaces.end();
    }
};

class processKovdMessagesInQueue : public FreshStore
{
  protected:
    static void process(const SignalRecord& record)
    {
        recorded_log::clear();
        work(kovdWorker, {record});
    }

    static std::string line(int level, const std::string& text)
    {
        return kovdWorker.line(level, text);
    }

    static void expectOwnLinesThen(const Lines& lines, const std::string& operation)
    {
        EXPECT_EQ(ownLines(kovdWorker), lines);
        const Lines all = allLines(kovdWorker);
        EXPECT_EQ(Lines(all.begin(), all.begin() + static_cast<long>(lines.size())), lines);
        EXPECT_EQ(loggingFunctions().at(0), kovdWorker.function);
        EXPECT_EQ(loggingFunctions().at(1), operation);
        EXPECT_FALSE(takeRecoveryRequest());
    }

    static void expectIgnored(const SignalRecord& record)
    {
        process(record);
        EXPECT_EQ(allLines(kovdWorker), Lines{}) << record;
        EXPECT_EQ(storedUnder(record.objectPath), nothing) << record;
        EXPECT_FALSE(takeRecoveryRequest());
    }

    static void expectStored(const std::string& path, const Kind& kind)
    {
        EXPECT_EQ(storedUnder(path), (std::map<std::string, PropertyMap>{{kind.map, kind.stored}}));
    }

    static Lines boardAddLines(const std::string& path, const std::string& interface)
    {
        return {line(9, "OBJ_MGR_INTF_ADDED_SIGNAL"), line(5, path + " ObjPath to be added"),
                line(9, "interface = " + interface)};
    }

    static Lines chassisAddLines(const std::string& path, const std::string& interface)
    {
        return {line(9, "OBJ_MGR_INTF_ADDED_SIGNAL"), line(9, "interface = " + interface),
                line(5, path + " ObjPath to be added")};
    }

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

    static Lines joined(std::vector<Lines> parts)
    {
        Lines all;
        for (const auto& part : parts)
        {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
};

TEST_F(processKovdMessagesInQueue, insertsWhatIsAddedToTheBoard)
{
    const std::vector<Place> places{
        {{boardPcie + "/slot1", board, board + "/dimm0", board + "x", "/x" + board + "/y"},
         {slotInterface, deviceInterface}},
        {{boardCpu, boardCpu + "0", "/x" + boardCpu + "/y", board + chassis + boardCpu,
          boardPcie + boardCpu},
         {slotInterface, deviceInterface, itemInterface}},
        {{chassis + board, board + chassis, chassisPcie + boardPcie},
         {slotInterface, deviceInterface}},
    };
    for (const auto& place : places)
    {
        for (const auto& path : place.paths)
        {
            for (const auto& kind : kinds)
            {
                resetStore();
                const auto record = addedRecord(path, {{kind.interface, keptByAnyInsert("mark")}});
                if (!place.takes(kind.interface))
                {
                    expectIgnored(record);
                    continue;
                }
                process(record);
                expectOwnLinesThen(boardAddLines(path, kind.interface), kind.insert);
                expectStored(path, kind);
            }
        }
    }
}

TEST_F(processKovdMessagesInQueue, insertsWhatIsAddedToTheChassisWithTheInterfaceLineFirst)
{
    for (const std::string& path :
         {chassis, chassis + "/fan1", chassisPcie + "/dev1", chassis + "x", "/x" + chassis + "/y"})
    {
        for (const auto& kind : kinds)
        {
            resetStore();
            const auto record = addedRecord(path, {{kind.interface, keptByAnyInsert("mark")}});
            if (kind.interface != chassisInterface)
            {
                expectIgnored(record);
                continue;
            }
            process(record);
            expectOwnLinesThen(chassisAddLines(path, kind.interface), kind.insert);
            expectStored(path, kind);
        }
    }
}

TEST_F(processKovdMessagesInQueue, insertsASlotThatIsADeviceIntoBothMaps)
{
    const std::string path = boardPcie + "/slot1";
    process(addedRecord(path, {{slotInterface, keptByAnyInsert("slot")},
                               {deviceInterface, keptByAnyInsert("device")}}));
    EXPECT_EQ(ownLines(kovdWorker),
              joined({boardAddLines(path, deviceInterface), boardAddLines(path, slotInterface)}));
    EXPECT_EQ(storedUnder(path), (std::map<std::string, PropertyMap>{
                                     {"kovdPCIeDeviceObjs", {{"FQDD", std::string{"device"}}}},
                                     {"kovdPCIeSlotObjs", {{"PCIeFQDD", std::string{"slot"}}}}}));
}

TEST_F(processKovdMessagesInQueue, visitsAddedInterfacesInAscendingOrder)
{
    process(addedRecord(boardCpu, {{slotInterface, {}},
                                   {itemInterface, {}},
                                   {chassisInterface, {}},
                                   {"a.First", {}},
                                   {deviceInterface, {}}}));
    EXPECT_EQ(ownLines(kovdWorker), joined({boardAddLines(boardCpu, deviceInterface),
                                            boardAddLines(boardCpu, itemInterface),
                                            boardAddLines(boardCpu, slotInterface)}));
    EXPECT_EQ(storedUnder(boardCpu), nothing);
}

TEST_F(processKovdMessagesInQueue, ignoresWhatIsAddedOrChangedElsewhere)
{
    for (const char* path :
         {"", "/", "/xyz/openbmc_project/inventory", "/xyz/openbmc_project/inventory/system",
          "/xyz/openbmc_project/inventory/system/boar", "/openbmc_project/inventory/system/board",
          "/xyz/openbmc_project/inventory/system/Board/pcie/1",
          "/xyz/openbmc_project/inventory/system/chassi"})
    {
        for (const auto& kind : kinds)
        {
            expectIgnored(addedRecord(path, {{kind.interface, keptByAnyInsert("mark")}}));
            expectIgnored(changedRecord(path, kind.interface, keptByAnyInsert("mark")));
        }
    }
}

TEST_F(processKovdMessagesInQueue, ignoresEveryOtherInterface)
{
    for (const auto& path : {boardPcie, boardCpu, chassisPcie, board, chassis})
    {
        for (const auto& interface : otherInterfaces)
        {
            expectIgnored(addedRecord(path, {{interface, keptByAnyInsert("mark")}}));
            expectIgnored(changedRecord(path, interface, keptByAnyInsert("mark")));
        }
        expectIgnored(addedRecord(path, {}));
    }
}

TEST_F(processKovdMessagesInQueue, passesOnTheChangedProperties)
{
    const std::vector<Place> places{
        {{boardPcie, boardPcie + "/slot1", "/x" + boardPcie + "y", boardPcie + chassisPcie,
          chassisPcie + boardPcie, boardCpu + boardPcie, chassisPcie + boardCpu + boardPcie},
         {slotInterface, deviceInterface}},
        {{chassisPcie, chassisPcie + "slot1", "/x" + chassisPcie + "/y", boardCpu + chassisPcie,
          chassisPcie + boardCpu},
         {chassisInterface}},
        {{boardCpu, boardCpu + "0", "/x" + boardCpu + "/y"}, {itemInterface}},
        {{board, chassis, board + "/dimm0", chassis + "/pcie", board + "/pci"}, {}},
    };
    for (const auto& place : places)
    {
        for (const auto& path : place.paths)
        {
            for (const auto& kind : kinds)
            {
                resetStore();
                const auto record = changedRecord(path, kind.interface, keptByAnyInsert("mark"));
                if (!place.takes(kind.interface))
                {
                    expectIgnored(record);
                    continue;
                }
                process(record);
                expectOwnLinesThen({line(1, path + " :Object path to be updated")}, kind.insert);
                expectStored(path, kind);
            }
        }
    }
}

TEST_F(processKovdMessagesInQueue, logsAChangeOfNothingAndInsertsNothing)
{
    const std::vector<std::pair<std::string, std::string>> objects{{boardPcie, slotInterface},
                                                                   {boardPcie, deviceInterface},
                                                                   {chassisPcie, chassisInterface},
                                                                   {boardCpu, itemInterface}};
    for (const auto& [path, interface] : objects)
    {
        process(changedRecord(path, interface, {}));
        EXPECT_EQ(allLines(kovdWorker), Lines{line(1, path + " :Object path to be updated")});
        EXPECT_EQ(storedUnder(path), nothing);
    }
}

/** A removal on this queue: no decoder puts one there, and the branch is complete all the same. */
class KovdRemoval : public processKovdMessagesInQueue
{
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
