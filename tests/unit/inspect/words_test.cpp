#include "inspect/words.hpp"

#include <gtest/gtest.h>

namespace
{

TEST(counted, makesThePlural)
{
    EXPECT_EQ(inspect::counted(0, "slot"), "0 slots");
    EXPECT_EQ(inspect::counted(1, "slot"), "1 slot");
    EXPECT_EQ(inspect::counted(2, "bus"), "2 buses");
    EXPECT_EQ(inspect::counted(1, "inventory"), "1 inventory");
    EXPECT_EQ(inspect::counted(2, "inventory"), "2 inventories");
}

TEST(textOf, isEmptyForWhatIsNoText)
{
    const PropertyMap properties{{"A", std::string("a")}, {"B", std::uint16_t{1}}};
    EXPECT_EQ(inspect::textOf(properties, "A"), "a");
    EXPECT_EQ(inspect::textOf(properties, "B"), "");
    EXPECT_EQ(inspect::textOf(properties, "C"), "");
}

TEST(partnerText, namesThePartnerAndCountsItsCaches)
{
    const AssociationTuple slot{"chassis", "pcieslot", "/a/pcieslot1"};
    const AssociationTuple cpu{"chassis", "processor", "/a/cpu0"};
    const AssociationTuple cache{"processor", "L1CacheHandle", "/a/cache0"};
    EXPECT_EQ(inspect::partnerText({}, "-"), "-");
    EXPECT_EQ(inspect::partnerText({slot}, "-"), "pcieslot1");
    EXPECT_EQ(inspect::partnerText({cpu, cache}, "-"), "cpu0 +1 cache");
    EXPECT_EQ(inspect::partnerText({cache, cpu, cache}, "-"), "cpu0 +2 caches");
}

TEST(tuplesOf, keepsTheOrderOfTheList)
{
    EXPECT_EQ(inspect::tuplesOf({{"f", "r", "/e"}, {"g", "s", "/h"}}).dump(),
              R"([["f","r","/e"],["g","s","/h"]])");
    EXPECT_EQ(inspect::tuplesOf({}).dump(), "[]");
}

TEST(shortPath, leavesOutWhatAllPathsBeginWith)
{
    EXPECT_EQ(inspect::shortPath("/xyz/openbmc_project/inventory/system/board/x/y"), "board/x/y");
    EXPECT_EQ(inspect::shortPath("/elsewhere/x"), "/elsewhere/x");
}

TEST(escapeMarkup, leavesNoMarkupAndNoControlCharacter)
{
    EXPECT_EQ(inspect::escapeMarkup("<a href=\"x\">&\n\x01y"),
              "&lt;a href=&quot;x&quot;&gt;&amp;  y");
    EXPECT_EQ(inspect::escapeMarkup("PCIe \xc3\xa9"), "PCIe \xc3\xa9");
}

} // namespace
