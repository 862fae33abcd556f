/* Which signals of the platform daemon are kept, and on which queue. */
#include "intake/signal_decoding.hpp"
#include "unit/intake/decoding_kit.hpp"

#include <algorithm>

namespace
{

const std::string boardPath = "/xyz/openbmc_project/inventory/system/board";
const std::string chassisPath = "/xyz/openbmc_project/inventory/system/chassis";
const std::string boardPcie = "/xyz/openbmc_project/inventory/system/board/pcie";
const std::string boardCpu = "/xyz/openbmc_project/inventory/system/board/cpu";
const std::string chassisPcie = "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie";

const std::string slotInterface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
const std::string deviceInterface = "com.vexa.bmc.kovd.OEMPcieInventory";
const std::string chassisInterface = "xyz.openbmc_project.Inventory.Item.PCIeDevice";
const std::string itemInterface = "xyz.openbmc_project.Inventory.Item";

const Strings allInterfaces{slotInterface,
                            deviceInterface,
                            chassisInterface,
                            itemInterface,
                            "xyz.openbmc_project.Inventory.Item.Cpu",
                            "xyz.openbmc_project.Inventory.Item.pcieDevice",
                            "xyz.openbmc_project.Inventory.Item.PCIeDevices",
                            ""};

const Strings boardAndChassisPaths{
    boardPath,
    chassisPath,
    boardPath + "/dimm0",
    chassisPath + "/fan1",
    boardPath + "2",
    "/x" + boardPath + "/y",
    "/x" + chassisPath,
    boardPcie + "/slot1",
    boardCpu + "0",
    chassisPcie + "/dev1",
};

const Strings otherPaths{
    "/",
    "/xyz/openbmc_project/inventory",
    "/xyz/openbmc_project/inventory/system",
    "/xyz/openbmc_project/inventory/system/boar",
    "/xyz/openbmc_project/inventory/system/chassi",
    "/xyz/openbmc_project/inventory/system/Board/pcie/slot1",
    "/xyz/openbmc_project/inventory/board",
    "/openbmc_project/inventory/system/board/pcie/slot1",
};

class GetKovdMsgData : public Decoding
{
  protected:
    static void decode(sdbusplus::message_t message)
    {
        ::GetKovdMsgData(message);
    }

    static void expectQueued(MessageQueue& queue, const SignalRecord& record)
    {
        EXPECT_EQ(takeRecords(queue), Records{record});
        expectNothingQueued("the rest");
        EXPECT_FALSE(takeRecoveryRequest());
    }

    /** Of all interfaces at that path only those are kept, each with those lines. */
    static void expectKept(const std::string& path, const Strings& kept, const Lines& lines)
    {
        for (const auto& interface : allInterfaces)
        {
            resetStore();
            auto message = changedMessage(path, interface);
            ::GetKovdMsgData(message);
            const bool isKept = std::find(kept.begin(), kept.end(), interface) != kept.end();
            EXPECT_EQ(test_message::atEnd(message), isKept) << path << " " << interface;
            if (isKept)
            {
                EXPECT_EQ(utilLines(), lines) << path << " " << interface;
                expectQueued(kovdMessageQueue, changedOf(path, interface));
            }
            else
            {
                expectDropped(path + " " + interface);
            }
        }
    }

    static Lines updateLine(const std::string& path)
    {
        return {"1 GetKovdMsgData: " + path + " :Object path to be updated"};
    }
};

TEST(isKovdPathOfInterest, findsEachTextAnywhereInThePath)
{
    for (const auto& text : {boardPcie, boardCpu, chassisPcie})
    {
        for (const auto& path : {text, text + "0", text + "/slot1", "/x" + text, "/x" + text + "y"})
        {
            EXPECT_TRUE(isKovdPathOfInterest(path)) << path;
        }
    }
    EXPECT_TRUE(isKovdPathOfInterest(chassisPcie + "slot3"));
}

TEST(isKovdPathOfInterest, refusesWhatIsJustOutside)
{
    for (const std::string& path :
         {std::string{}, std::string{"/"}, boardPath, boardPath + "/pci", boardPath + "/cp",
          boardPath + "/dimm0", boardPath + "cpu", boardPath + "/x/cpu0", chassisPath,
          chassisPath + "/pcie", chassisPath + "/motherboard/pci",
          chassisPath + "/motherboard/cpu0", chassisPath + "/board/pcie",
          std::string{"/openbmc_project/inventory/system/board/cpu0"}})
    {
        EXPECT_FALSE(isKovdPathOfInterest(path)) << path;
    }
}

TEST_F(GetKovdMsgData, queuesWhatIsAddedToBoardOrChassisForTheKovdWorker)
{
    for (const auto& path : boardAndChassisPaths)
    {
        decode(addedMessage(path, "any.Other", slotInterface.c_str()));
        EXPECT_EQ(utilLines(), Lines{});
        expectQueued(kovdMessageQueue,
                     addedRecord(path, addedInterfaces({"any.Other", slotInterface})));
    }
}

TEST_F(GetKovdMsgData, queuesWhatIsRemovedFromBoardOrChassisForTheSmbiosWorker)
{
    for (const auto& path : boardAndChassisPaths)
    {
        decode(removedMessage(path, {"any.Other", slotInterface}));
        EXPECT_EQ(utilLines(), Lines{});
        expectQueued(smbiosMessageQueue, removedRecord(path, {"any.Other", slotInterface}));
    }
}

TEST_F(GetKovdMsgData, dropsWhatIsAddedOrRemovedElsewhere)
{
    for (const auto& path : otherPaths)
    {
        decode(addedMessage(path, slotInterface.c_str()));
        expectDropped(path);
        decode(removedMessage(path, {slotInterface}));
        expectDropped(path);
    }
}

TEST_F(GetKovdMsgData, dropsChangesElsewhereUnread)
{
    Strings paths = otherPaths;
    paths.insert(paths.end(), {boardPath, chassisPath, boardPath + "/dimm0", boardPath + "/pci",
                               chassisPath + "/motherboard/cpu0", chassisPath + "/pcie1"});
    for (const auto& path : paths)
    {
        for (const auto& interface : allInterfaces)
        {
            auto message = changedMessage(path, interface);
            test_message::readToEnd(message);
            ::GetKovdMsgData(message);
            expectDropped(path + " " + interface);
        }
    }
}

TEST_F(GetKovdMsgData, keepsChangesOfChassisDevicesAndSaysSo)
{
    for (const auto& path :
         {chassisPcie, chassisPcie + "/dev1", chassisPcie + "slot3", "/x" + chassisPcie})
    {
        expectKept(path, {chassisInterface}, updateLine(path));
    }
}

TEST_F(GetKovdMsgData, keepsChangesOfProcessorsAndSaysSo)
{
    for (const auto& path : {boardCpu, boardCpu + "0", "/x" + boardCpu + "0/core1"})
    {
        expectKept(path, {itemInterface}, updateLine(path));
    }
}

TEST_F(GetKovdMsgData, keepsChangesOfBoardSlotsAndDevicesSilently)
{
    for (const auto& path : {boardPcie, boardPcie + "/slot1", "/x" + boardPcie + "device7"})
    {
        expectKept(path, {slotInterface, deviceInterface}, {});
    }
}

TEST_F(GetKovdMsgData, letsBoardPcieDecideWhateverElseThePathContains)
{
    for (const auto& path : {boardPcie + chassisPcie, chassisPcie + boardPcie, boardCpu + boardPcie,
                             boardPcie + boardCpu, chassisPcie + boardCpu + boardPcie})
    {
        expectKept(path, {slotInterface, deviceInterface}, {});
    }
}

TEST_F(GetKovdMsgData, letsChassisPcieDecideOverAProcessor)
{
    for (const auto& path : {boardCpu + chassisPcie, chassisPcie + boardCpu})
    {
        expectKept(path, {chassisInterface}, updateLine(path));
    }
}

TEST_F(GetKovdMsgData, announcesNoUpdateThatItCannotRead)
{
    const std::vector<std::pair<std::string, std::string>> objects{
        {chassisPcie, chassisInterface},
        {boardCpu, itemInterface},
        {boardPcie, deviceInterface},
    };
    for (const auto& [path, interface] : objects)
    {
        resetStore();
        auto message = changedMessage(path, interface);
        // Says that it has rewound, and has not.
        faultyReads.rewind = [] { return std::optional<int>(1); };
        ::GetKovdMsgData(message);
        faultyReads.rewind = nullptr;
        const auto lines = utilLines();
        ASSERT_EQ(lines.size(), 1U) << path;
        EXPECT_EQ(lines[0].find("1 GetKovdMsgData: failed to read message err["), 0U) << lines[0];
        EXPECT_TRUE(takeRecoveryRequest());
        expectNothingQueued(path);
    }
}

} // namespace
