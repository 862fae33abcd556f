#include "inspect/explain.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(explain, saysWhyAPlatformSlotIsPaired)
{
    EXPECT_EQ(sentenceOf(healthy(), "pcie_slot_03"),
              "pcie_slot_03 belongs to pcieslot3: that is the first SMBIOS slot that fits.");
}

TEST(explain, triesNoCandidateBehindTheFirstMatch)
{
    const auto made = inspect::explain(healthy(), systemPath + "board/pcie_slot_03");
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
    const auto made = inspect::explain(awkward(), systemPath + "board/pcie_slot_30_stale");
    ASSERT_FALSE(made.notes.empty());
    EXPECT_EQ(made.notes[0], "The pair itself was refused: pcieslot30 is paired with pcie_slot_30. "
                             "The association is written all the same.");
}

TEST(explain, givesTheValuesThatMatchAsTheReason)
{
    EXPECT_EQ(reasonOf(healthy(), "board/pcie_slot_03"),
              "both name slot 3 (Accel.Slot.3-1), both have identifier 3");
    EXPECT_EQ(reasonOf(healthy(), "pcie_slot_01/nic1"),
              "it inherits from the slot object above it, pcie_slot_01");
    EXPECT_EQ(reasonOf(healthy(), "motherboard/pcie_slot_03"),
              "it takes the association of its twin below the board path");
}

TEST(explain, saysThatADeviceWithoutASlotObjectFitsByItself)
{
    EXPECT_EQ(sentenceOf(healthy(), "pcie_boot_01/m2"),
              "m2 belongs to pcieslot10: its own FQDD fits.");
    EXPECT_EQ(reasonOf(healthy(), "pcie_boot_01/m2"), "both name slot 11 (Ahci.Slot.11-1)");
}

TEST(explain, saysThatAPathContainsThatOfAnotherSlot)
{
    EXPECT_EQ(sentenceOf(awkward(), "pcie_slot_10/nic1"),
              "nic1 belongs to pcieslot13: its path contains that of pcie_slot_1, which fits "
              "pcieslot13.");
}

TEST(explain, saysThatWhatFitsADeviceHasAnotherPartner)
{
    EXPECT_EQ(sentenceOf(awkward(), "pcie_slot_30_stale/nic1"),
              "nic1 is unpaired: its slot object, pcie_slot_30_stale, is nobody's partner, and "
              "pcieslot30, which its own FQDD fits, has another partner already.");
    EXPECT_EQ(sentenceOf(awkward(), "motherboard/pcie_slot_30_stale"),
              "pcie_slot_30_stale below the chassis path is unpaired: its twin below the board "
              "path has the association, and is not recorded as the partner.");
}

TEST(explain, saysThatAPartnerLeadsElsewhere)
{
    EXPECT_EQ(sentenceOf(awkward(), "motherboard/pcieslot1"),
              "pcieslot1 is paired with pcie_slot_1, which does not lead to it: pcieslot13 fits "
              "pcie_slot_1 too, and was written later.");
}

TEST(explain, saysWhatAnObjectThatIsSlotAndDeviceOwesToBeingADevice)
{
    const auto& list = awkward().outcome.lists.at(systemPath + "board/pcie_slot_37");
    const std::string partner = inspect::leafOf(inspect::partnerOf(list));
    EXPECT_TRUE(sentenceOf(awkward(), "board/pcie_slot_37")
                    .starts_with("pcie_slot_37 belongs to " + partner + ": "));
}

TEST(explain, saysWhoLeadsToAnSmbiosSlot)
{
    const auto made = inspect::explain(healthy(), systemPath + "chassis/motherboard/pcieslot3");
    EXPECT_EQ(made.sentence, "pcieslot3 is paired with pcie_slot_03.");
    ASSERT_FALSE(made.notes.empty());
    EXPECT_TRUE(made.notes[0].ends_with("lead to it: pcie_slot_03, gpu1, pcie_slot_03 (chassis)."))
        << made.notes[0];
    EXPECT_TRUE(sentenceOf(healthy(), "pcieslot23").starts_with("pcieslot23 is taken by nobody: "));
}

} // namespace
