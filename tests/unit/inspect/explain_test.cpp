#include "inspect/explain.hpp"
#include "sim/error.hpp"

#include <gtest/gtest.h>

namespace
{

const std::filesystem::path inventories = INVENTORY_FOLDER;
const std::string system = "/xyz/openbmc_project/inventory/system/";

const inspect::Machine& healthy()
{
    static const inspect::Machine machine =
        inspect::examine(inspect::readFolder(inventories / "two-socket-2u"));
    return machine;
}

const inspect::Machine& awkward()
{
    static const inspect::Machine machine =
        inspect::examine(inspect::readFolder(inventories / "awkward"));
    return machine;
}

std::string sentenceOf(const inspect::Machine& machine, const std::string& named)
{
    return inspect::explain(machine, inspect::resolve(machine, named)).sentence;
}

TEST(resolve, takesAPathALeafOrASlotNumber)
{
    const std::string slot = system + "board/pcie_slot_03";
    EXPECT_EQ(inspect::resolve(healthy(), slot), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "pcie_slot_03"), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "board/pcie_slot_03"), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "3"), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "motherboard/pcie_slot_03"),
              system + "chassis/motherboard/pcie_slot_03");
}

TEST(resolve, refusesWhatIsNotThereAndNamesWhatIsNear)
{
    EXPECT_THROW(inspect::resolve(healthy(), "nothing"), sim::UsageError);
    EXPECT_THROW(inspect::resolve(healthy(), "4711"), sim::UsageError);
    EXPECT_THROW(inspect::resolve(awkward(), "30"), sim::UsageError); // two slots have it
    try
    {
        inspect::resolve(healthy(), "SLOT_05");
        FAIL();
    }
    catch (const sim::UsageError& error)
    {
        EXPECT_NE(std::string(error.what()).find("board/pcie_slot_05"), std::string::npos);
    }
}

TEST(explain, saysWhyAPlatformSlotIsPaired)
{
    EXPECT_EQ(sentenceOf(healthy(), "pcie_slot_03"),
              "pcie_slot_03 belongs to pcieslot3: that is the first SMBIOS slot that fits.");
}

TEST(explain, triesNoCandidateBehindTheFirstMatch)
{
    const auto made = inspect::explain(healthy(), system + "board/pcie_slot_03");
    ASSERT_EQ(made.searches.size(), 1U);
    bool matched = false;
    for (const inspect::Candidate& candidate : made.searches[0].candidates)
    {
        EXPECT_EQ(candidate.verdict, matched                                  ? "not tried"
                                     : candidate.path.ends_with("/pcieslot3") ? "first match"
                                                                              : "no");
        matched = matched || candidate.verdict == "first match";
    }
    EXPECT_TRUE(matched);
}

TEST(explain, saysWhichConditionTheNearestCandidateFails)
{
    EXPECT_EQ(sentenceOf(awkward(), "board/pcie_slot_7"),
              "pcie_slot_7 is unpaired: none of 21 SMBIOS slots fits; nearest is pcieslot7: "
              "PCIeFQDD \"Nic.Slots.7-1\": its second token, \"Slots\", is not SLOT.");
}

TEST(explain, saysThatADeviceInherits)
{
    EXPECT_EQ(sentenceOf(healthy(), "pcie_slot_01/nic1"),
              "nic1 belongs to pcieslot1: it inherits from the slot object above it, "
              "pcie_slot_01.");
}

TEST(explain, saysThatATwinTakesTheAssociationOfItsBoardObject)
{
    EXPECT_EQ(sentenceOf(healthy(), "motherboard/pcie_slot_03"),
              "pcie_slot_03 below the chassis path belongs to pcieslot3: it takes the association "
              "of its twin below the board path.");
    EXPECT_EQ(sentenceOf(awkward(), "motherboard/pcie_slot_2"),
              "pcie_slot_2 below the chassis path is unpaired: it waits for its twin below the "
              "board path, which has no partner.");
}

TEST(explain, saysThatAPairWasRefusedAndWrittenAllTheSame)
{
    const auto made = inspect::explain(awkward(), system + "board/pcie_slot_30_stale");
    ASSERT_FALSE(made.notes.empty());
    EXPECT_EQ(made.notes[0], "The pair itself was refused: pcieslot30 is paired with pcie_slot_30. "
                             "The association is written all the same.");
}

TEST(explain, saysThatAnObjectIsNotStored)
{
    EXPECT_EQ(sentenceOf(awkward(), "pcieslot16"),
              "pcieslot16 is not stored: SlotID has type u, and the daemon reads q.");
}

TEST(explain, showsSocketKeyAndEachCacheHandle)
{
    const auto made = inspect::explain(healthy(), system + "board/cpu1");
    EXPECT_EQ(made.sentence,
              "cpu1 belongs to cpu0, with 3 caches: socket, number and key name one socket.");
    ASSERT_EQ(made.searches.size(), 2U);
    EXPECT_EQ(made.searches[0].candidates[0].text,
              "Socket \"CPU1\", SlotNumber 1: the same socket; Socket \"CPU1\", TargetDevKey "
              "\"Kov.Socket.1\": the same socket");
    EXPECT_EQ(made.searches[1].candidates.size(), 6U);
}

TEST(explain, worksForEveryObjectOfEveryShippedInventory)
{
    for (const inspect::Machine* machine : {&healthy(), &awkward()})
    {
        for (const sim::Objects* objects :
             {&machine->world.smbios, &machine->world.board, &machine->world.chassis})
        {
            for (const auto& [path, interfaces] : *objects)
            {
                EXPECT_FALSE(inspect::explain(*machine, path).sentence.empty()) << path;
            }
        }
    }
}

TEST(compareTwo, takesTheTwoInEitherOrder)
{
    const std::string smbios = system + "chassis/motherboard/pcieslot4";
    const std::string platform = system + "board/pcie_slot_03";
    const auto one = inspect::compareTwo(healthy(), smbios, platform);
    const auto other = inspect::compareTwo(healthy(), platform, smbios);
    EXPECT_EQ(one.sentence, "pcieslot4 and pcie_slot_03 do not fit: SlotID 4, "
                            "PCIeLocatorInstanceNum 3: differ.");
    EXPECT_EQ(other.sentence, one.sentence);
    EXPECT_THROW(inspect::compareTwo(healthy(), platform, platform), sim::UsageError);
}

} // namespace
