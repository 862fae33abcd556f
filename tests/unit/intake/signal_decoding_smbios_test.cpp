/* Which signals of the SMBIOS service are kept. */
#include "intake/signal_decoding.hpp"
#include "unit/intake/decoding_kit.hpp"

namespace
{

const std::string slotPath = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot";
const std::string cpuPath = "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu";
const std::string cachePath = "/xyz/openbmc_project/inventory/system/chassis/cacheinfo";

const std::string slotInterface = "xyz.openbmc_project.Inventory.Item.systemSlotInfoType9";
const std::string cpuInterface = "xyz.openbmc_project.Inventory.Item.Cpu";
const std::string cacheInterface = "xyz.openbmc_project.Inventory.Item.CacheInformationType7";

/** Whether the text of interest stands at the end, in front of more, or behind something else. */
const Strings pathsOfInterest{
    slotPath,
    cpuPath,
    cachePath,
    slotPath + "1",
    cpuPath + "0",
    cachePath + "/12",
    slotPath + "/a",
    "/x" + slotPath,
    "/x" + cpuPath + "/y",
    "/x" + cachePath + "9",
    slotPath + "es",
};

const Strings pathsJustOutside{
    "/",
    "/xyz/openbmc_project/inventory",
    "/xyz/openbmc_project/inventory/system/chassis",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslo",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie/slot",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/PCIeslot",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/cp",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/dimm0",
    "/xyz/openbmc_project/inventory/system/chassis/cacheinf",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/cacheinfo0",
    "/xyz/openbmc_project/inventory/system/cpu0",
    "/openbmc_project/inventory/system/chassis/motherboard/cpu0",
    "/xyz/openbmc_project/inventory/system/board/cpu0",
    "/xyz/openbmc_project/inventory/system/board/pcie/slot1",
};

class GetSmbiosMsgData : public Decoding
{
  protected:
    static void decode(sdbusplus::message_t message)
    {
        ::GetSmbiosMsgData(message);
    }

    /** The one record is on the worker's own queue, and nothing else happened. */
    static void expectQueued(const SignalRecord& record)
    {
        EXPECT_EQ(takeRecords(smbiosMessageQueue), Records{record});
        expectDropped("the rest");
    }
};

TEST(isSmbiosPathOfInterest, findsEachTextAnywhereInThePath)
{
    for (const auto& path : pathsOfInterest)
    {
        EXPECT_TRUE(isSmbiosPathOfInterest(path)) << path;
    }
}

TEST(isSmbiosPathOfInterest, refusesWhatIsJustOutside)
{
    for (const auto& path : pathsJustOutside)
    {
        EXPECT_FALSE(isSmbiosPathOfInterest(path)) << path;
    }
    EXPECT_FALSE(isSmbiosPathOfInterest(""));
}

TEST_F(GetSmbiosMsgData, queuesWhatIsAddedAnywhereInTheInventory)
{
    for (const char* path :
         {"/xyz/openbmc_project/inventory", "/xyz/openbmc_project/inventory/system/board/pcie/s1",
          "/xyz/openbmc_project/inventory2", "/x/xyz/openbmc_project/inventory/y",
          "/xyz/openbmc_project/inventory/system/chassis/motherboard/dimm0"})
    {
        decode(addedMessage(path, "any.Other", slotInterface.c_str()));
        expectQueued(addedRecord(path, addedInterfaces({"any.Other", slotInterface})));
    }
}

TEST_F(GetSmbiosMsgData, dropsWhatIsAddedOutsideTheInventory)
{
    for (const char* path : {"/", "/xyz/openbmc_project", "/xyz/openbmc_project/inventor",
                             "/xyz/openbmc_project/Inventory", "/openbmc_project/inventory/system",
                             "/xyz/openbmc_project/sensors/inventory"})
    {
        decode(addedMessage(path, slotInterface.c_str()));
        expectDropped(path);
    }
}

TEST_F(GetSmbiosMsgData, queuesRemovalsAtThePathsOfInterestWhateverTheInterface)
{
    for (const auto& path : pathsOfInterest)
    {
        decode(removedMessage(path, {"any.Other", slotInterface}));
        expectQueued(removedRecord(path, {"any.Other", slotInterface}));
    }
}

TEST_F(GetSmbiosMsgData, dropsRemovalsElsewhere)
{
    for (const auto& path : pathsJustOutside)
    {
        decode(removedMessage(path, {slotInterface, cpuInterface, cacheInterface}));
        expectDropped(path);
    }
}

TEST_F(GetSmbiosMsgData, dropsChangesElsewhereUnread)
{
    for (const auto& path : pathsJustOutside)
    {
        for (const auto& interface : {slotInterface, cpuInterface, cacheInterface})
        {
            auto message = changedMessage(path, interface);
            test_message::readToEnd(message);
            ::GetSmbiosMsgData(message);
            expectDropped(path);
        }
    }
}

struct ChangeRule
{
    std::string path;
    std::string interface;
    bool readsBeforeItJudges;
};

const std::vector<ChangeRule> changeRules{
    {slotPath, slotInterface, false},
    {cpuPath, cpuInterface, true},
    {cachePath, cacheInterface, true},
};

TEST_F(GetSmbiosMsgData, queuesAChangeOfTheInterfaceThatBelongsToThePath)
{
    for (const auto& rule : changeRules)
    {
        for (const auto& path : {rule.path, rule.path + "1/part", "/x" + rule.path})
        {
            decode(changedMessage(path, rule.interface));
            expectQueued(changedOf(path, rule.interface));
        }
    }
}

TEST_F(GetSmbiosMsgData, dropsAChangeOfEveryOtherInterface)
{
    for (const auto& rule : changeRules)
    {
        for (const std::string& interface :
             {slotInterface, cpuInterface, cacheInterface, slotInterface + "x",
              std::string{"xyz.openbmc_project.Inventory.Item"},
              std::string{"xyz.openbmc_project.Inventory.Item.cpu"}, std::string{}})
        {
            if (interface == rule.interface)
            {
                continue;
            }
            auto message = changedMessage(rule.path, interface);
            ::GetSmbiosMsgData(message);
            expectDropped(rule.path + " " + interface);
            EXPECT_EQ(test_message::atEnd(message), rule.readsBeforeItJudges) << rule.path;
        }
    }
}

/** With the rewind left out, reading the whole body fails: who reads, says so. */
TEST_F(GetSmbiosMsgData, readsAProcessorsOrCachesBodyBeforeItJudgesTheInterface)
{
    for (const auto& rule : changeRules)
    {
        auto message = changedMessage(rule.path, "any.Other");
        faultyReads.rewind = [] { return std::optional<int>(1); };
        ::GetSmbiosMsgData(message);
        faultyReads.rewind = nullptr;
        EXPECT_EQ(utilLines().size(), rule.readsBeforeItJudges ? 1U : 0U) << rule.path;
        EXPECT_EQ(takeRecoveryRequest(), rule.readsBeforeItJudges) << rule.path;
        expectNothingQueued(rule.path);
        resetStore();
    }
}

TEST_F(GetSmbiosMsgData, letsTheFirstOfSeveralTextsInThePathDecide)
{
    const auto keptAlone = [](const std::string& path, const std::string& kept)
    {
        for (const auto& interface : {slotInterface, cpuInterface, cacheInterface})
        {
            decode(changedMessage(path, interface));
            if (interface == kept)
            {
                expectQueued(changedOf(path, interface));
            }
            expectDropped(path + " " + interface);
        }
    };
    keptAlone(cachePath + cpuPath + slotPath, slotInterface);
    keptAlone(cachePath + cpuPath, cpuInterface);
    keptAlone(cpuPath + slotPath, slotInterface);
    keptAlone(cachePath + slotPath, slotInterface);
}

} // namespace
