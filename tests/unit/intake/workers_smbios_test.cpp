/* What the SMBIOS worker makes of each record: its lines, then one operation. */
#include "unit/intake/worker_kit.hpp"

namespace
{

const std::string slotPath = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot";
const std::string cpuPath = "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu";
const std::string cachePath = "/xyz/openbmc_project/inventory/system/chassis/cacheinfo";

const std::string slotInterface = "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9";
const std::string cpuInterface = "xyz.openbmc_project.Inventory.Item.Cpu";
const std::string cacheInterface = "xyz.openbmc_project.Inventory.Item.CacheInformationType7";

/** What the SMBIOS service says of one kind of object, and what becomes of it. */
struct Kind
{
    std::string path;
    std::string interface;
    std::string insert;
    std::string removal;
    std::string map;
    PropertyMap stored; // of keptByAnyInsert("mark")
};

const std::vector<Kind> kinds{
    {slotPath,
     slotInterface,
     "InsertSMBIOSPCIeSlotObj",
     "removeSMBIOSPCIeAssociations",
     "smbiosPCIeSlotObjs",
     {{"SlotDesignation", std::string{"mark"}}}},
    {cpuPath,
     cpuInterface,
     "InsertSMBIOSCPUObj",
     "removeSMBIOSCPUAssoc",
     "smbiosCPUObjs",
     {{"Socket", std::string{"mark"}}}},
    {cachePath,
     cacheInterface,
     "InsertSMBIOSCacheObj",
     "removeSMBIOSCacheAssoc",
     "smbiosCacheObjs",
     {{"Handle", std::uint16_t{7}}}},
};

const Lines otherInterfaces{"",
                            "xyz.openbmc_project.Inventory.Item",
                            "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice",
                            "com.vexa.bmc.kovd.OEMPcieInventory",
                            "xyz.openbmc_project.Inventory.Item.PCIeDevice",
                            "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9x",
                            "xyz.openbmc_project.Inventory.Item.cpu"};

class processSmbiosMessagesInQueue : public FreshStore
{
  protected:
    static void process(const SignalRecord& record)
    {
        recorded_log::clear();
        work(smbiosWorker, {record});
    }

    static std::string line(const std::string& text)
    {
        return smbiosWorker.line(1, text);
    }

    /** One own line, before the operation's first. */
    static void expectLineThen(const std::string& text, const std::string& operation)
    {
        EXPECT_EQ(ownLines(smbiosWorker), Lines{line(text)});
        EXPECT_EQ(loggingFunctions().at(0), smbiosWorker.function) << text;
        EXPECT_EQ(loggingFunctions().at(1), operation) << text;
        EXPECT_FALSE(takeRecoveryRequest());
    }

    /** The record passes without a trace. */
    static void expectIgnored(const SignalRecord& record)
    {
        process(record);
        EXPECT_EQ(allLines(smbiosWorker), Lines{}) << record;
        EXPECT_EQ(storedUnder(record.objectPath), nothing) << record;
        EXPECT_FALSE(takeRecoveryRequest());
    }

    static void expectStored(const std::string& path, const Kind& kind)
    {
        EXPECT_EQ(storedUnder(path), (std::map<std::string, PropertyMap>{{kind.map, kind.stored}}));
    }
};

TEST_F(processSmbiosMessagesInQueue, insertsWhatIsAddedAnywhereInTheInventory)
{
    for (const auto& kind : kinds)
    {
        for (const std::string& path :
             {kind.path + "1", slotPath + "2", cpuPath + "2", cachePath + "2",
              std::string{"/xyz/openbmc_project/inventory"},
              std::string{"/xyz/openbmc_project/inventory/elsewhere"},
              std::string{"/x/xyz/openbmc_project/inventory/system/board/cpu0"}})
        {
            resetStore();
            process(addedRecord(path, {{kind.interface, keptByAnyInsert("mark")}}));
            expectLineThen(path + " Add ObjPath", kind.insert);
            expectStored(path, kind);
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, visitsAddedInterfacesInAscendingOrderEachWithItsProperties)
{
    const std::string path = "/xyz/openbmc_project/inventory/all";
    process(addedRecord(path, {{slotInterface, keptByAnyInsert("slot")},
                               {cpuInterface, keptByAnyInsert("cpu")},
                               {cacheInterface, keptByAnyInsert("cache")},
                               {"any.Other", keptByAnyInsert("other")}}));
    const std::string added = line(path + " Add ObjPath");
    EXPECT_EQ(ownLines(smbiosWorker), (Lines{added, added, added}));
    Lines inserts;
    for (const auto& function : loggingFunctions())
    {
        if (function.find("Insert") == 0 || function == smbiosWorker.function)
        {
            inserts.push_back(function);
        }
    }
    EXPECT_EQ(inserts, (Lines{smbiosWorker.function, "InsertSMBIOSCacheObj", smbiosWorker.function,
                              "InsertSMBIOSCPUObj", smbiosWorker.function,
                              "InsertSMBIOSPCIeSlotObj", smbiosWorker.function}));
    EXPECT_EQ(storedUnder(path),
              (std::map<std::string, PropertyMap>{
                  {"smbiosCacheObjs", {{"Handle", std::uint16_t{7}}}},
                  {"smbiosCPUObjs", {{"Socket", std::string{"cpu"}}}},
                  {"smbiosPCIeSlotObjs", {{"SlotDesignation", std::string{"slot"}}}}}));
}

TEST_F(processSmbiosMessagesInQueue, callsTheInsertAlsoForAnInterfaceWithoutProperties)
{
    process(addedRecord(cpuPath + "0", {{cpuInterface, {}}}));
    expectLineThen(cpuPath + "0 Add ObjPath", "InsertSMBIOSCPUObj");
    EXPECT_EQ(storedUnder(cpuPath + "0"), nothing);
}

TEST_F(processSmbiosMessagesInQueue, ignoresWhatIsAddedOutsideTheInventory)
{
    for (const char* path : {"/", "/xyz/openbmc_project/inventor", "/openbmc_project/inventory",
                             "/xyz/openbmc_project/Inventory/system/chassis/cacheinfo0", ""})
    {
        for (const auto& kind : kinds)
        {
            expectIgnored(addedRecord(path, {{kind.interface, keptByAnyInsert("mark")}}));
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, ignoresEveryOtherInterface)
{
    for (const auto& kind : kinds)
    {
        for (const auto& interface : otherInterfaces)
        {
            expectIgnored(addedRecord(kind.path, {{interface, keptByAnyInsert("mark")}}));
            expectIgnored(removedRecord(kind.path, {interface}));
            expectIgnored(changedRecord(kind.path, interface, keptByAnyInsert("mark")));
        }
        expectIgnored(addedRecord(kind.path, {}));
        expectIgnored(removedRecord(kind.path, {}));
    }
}

TEST_F(processSmbiosMessagesInQueue, removesTheObjectOfTheInterfaceThatBelongsToThePath)
{
    for (const auto& kind : kinds)
    {
        for (const std::string& path : {kind.path, kind.path + "1/part", "/x" + kind.path})
        {
            resetStore();
            process(addedRecord(path, {{kind.interface, keptByAnyInsert("mark")}}));
            expectStored(path, kind);
            process(removedRecord(path, {"any.Other", kind.interface}));
            expectLineThen(path + " :Object path to be removed", kind.removal);
            EXPECT_EQ(storedUnder(path), nothing);
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, removesOnceForEachNameInTheList)
{
    for (const auto& kind : kinds)
    {
        process(removedRecord(kind.path, {kind.interface, "any.Other", kind.interface}));
        const std::string removed = line(kind.path + " :Object path to be removed");
        EXPECT_EQ(ownLines(smbiosWorker), (Lines{removed, removed}));
        EXPECT_EQ(loggingFunctions(),
                  (Lines{smbiosWorker.function, kind.removal, smbiosWorker.function, kind.removal,
                         smbiosWorker.function}));
    }
}

TEST_F(processSmbiosMessagesInQueue, removesNothingAtThePathOfAnotherKind)
{
    for (const auto& kind : kinds)
    {
        for (const auto& other : kinds)
        {
            if (other.path == kind.path)
            {
                continue;
            }
            resetStore();
            process(addedRecord(kind.path, {{other.interface, keptByAnyInsert("mark")}}));
            process(removedRecord(kind.path, {other.interface}));
            EXPECT_EQ(allLines(smbiosWorker), Lines{});
            expectStored(kind.path, other);
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, ignoresRemovalsAndChangesElsewhere)
{
    for (const char* path : {"/xyz/openbmc_project/inventory",
                             "/xyz/openbmc_project/inventory/system/chassis/motherboard/dimm0",
                             "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslo",
                             "/xyz/openbmc_project/inventory/system/chassis/motherboard/cp",
                             "/xyz/openbmc_project/inventory/system/chassis/cacheinf", "/", ""})
    {
        for (const auto& kind : kinds)
        {
            expectIgnored(removedRecord(path, {kind.interface}));
            expectIgnored(changedRecord(path, kind.interface, keptByAnyInsert("mark")));
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, passesOnTheChangedProperties)
{
    for (const auto& kind : kinds)
    {
        for (const std::string& path : {kind.path, kind.path + "1/part", "/x" + kind.path})
        {
            resetStore();
            process(changedRecord(path, kind.interface, keptByAnyInsert("mark")));
            expectLineThen(path + " :Object path to be updated", kind.insert);
            expectStored(path, kind);
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, logsAChangeOfNothingAndInsertsNothing)
{
    for (const auto& kind : kinds)
    {
        process(changedRecord(kind.path, kind.interface, {}));
        EXPECT_EQ(allLines(smbiosWorker), Lines{line(kind.path + " :Object path to be updated")});
        EXPECT_EQ(storedUnder(kind.path), nothing);
    }
}

TEST_F(processSmbiosMessagesInQueue, passesOnNoChangeAtThePathOfAnotherKind)
{
    for (const auto& kind : kinds)
    {
        for (const auto& other : kinds)
        {
            if (other.path != kind.path)
            {
                expectIgnored(changedRecord(kind.path, other.interface, keptByAnyInsert("mark")));
            }
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, letsTheFirstOfSeveralTextsInThePathDecide)
{
    const std::vector<std::pair<std::string, Kind>> paths{
        {cachePath + cpuPath + slotPath, kinds[0]},
        {cpuPath + slotPath, kinds[0]},
        {cachePath + slotPath, kinds[0]},
        {cachePath + cpuPath, kinds[1]},
    };
    for (const auto& [path, winner] : paths)
    {
        for (const auto& kind : kinds)
        {
            if (kind.interface != winner.interface)
            {
                expectIgnored(changedRecord(path, kind.interface, keptByAnyInsert("mark")));
                expectIgnored(removedRecord(path, {kind.interface}));
                continue;
            }
            process(changedRecord(path, kind.interface, keptByAnyInsert("mark")));
            expectLineThen(path + " :Object path to be updated", kind.insert);
            process(removedRecord(path, {kind.interface}));
            expectLineThen(path + " :Object path to be removed", kind.removal);
        }
    }
}

TEST_F(processSmbiosMessagesInQueue, looksAtTheFieldsOfTheRecordsOwnTypeAlone)
{
    SignalRecord record = addedRecord(slotPath + "1", {});
    record.interfaceName = slotInterface;
    record.changedProperties = keptByAnyInsert("mark");
    record.removedInterfaces = {slotInterface};
    expectIgnored(record);

    record = removedRecord(slotPath + "1", {});
    record.interfaceName = slotInterface;
    record.changedProperties = keptByAnyInsert("mark");
    record.interfaces[slotInterface] = keptByAnyInsert("mark");
    expectIgnored(record);

    record = changedRecord(slotPath + "1", "any.Other", keptByAnyInsert("mark"));
    record.removedInterfaces = {slotInterface};
    record.interfaces[slotInterface] = keptByAnyInsert("mark");
    expectIgnored(record);
}

TEST_F(processSmbiosMessagesInQueue, ignoresTheRemovalsOfThePlatformDaemon)
{
    const std::string slot = "/xyz/openbmc_project/inventory/system/board/pcie/slot1";
    const std::string twin = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot1";
    const Lines interfaces{
        "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice", "com.vexa.bmc.kovd.OEMPcieInventory",
        "xyz.openbmc_project.Inventory.Item", "xyz.openbmc_project.Inventory.Item.PCIeDevice"};
    for (ObjectMap* objects :
         {&kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs, &kovdCPUObjs})
    {
        objects->insertObject(slot, {});
        objects->insertObject(twin, {});
    }
    ASSERT_TRUE(addAssociationPair("/smbios/1", slot));
    ASSERT_TRUE(addAssociationPair("/smbios/2", twin));
    for (const auto& path : {slot, twin})
    {
        process(removedRecord(path, interfaces));
        EXPECT_EQ(allLines(smbiosWorker), Lines{});
        EXPECT_EQ(storedUnder(path).size(), 4U);
        EXPECT_TRUE(isPathAssociated(kovdSide, path));
    }
    EXPECT_FALSE(takeRecoveryRequest());
}

} // namespace
