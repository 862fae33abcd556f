/* What the KOVD worker makes of added and changed objects: its lines, then one operation. */
#include "unit/intake/kovd_dispatch_kit.hpp"

#include <algorithm>

namespace
{

using namespace kovd_objects;

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

class processKovdMessagesInQueue : public KovdWork
{
  protected:
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

} // namespace
