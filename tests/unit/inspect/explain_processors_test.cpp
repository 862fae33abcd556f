#include "inspect/explain.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(explain, showsSocketKeyAndEachCacheHandle)
{
    const auto made = inspect::explain(healthy(), systemPath + "board/cpu1");
    EXPECT_EQ(made.sentence,
              "cpu1 belongs to cpu0, with 3 caches: socket, number and key name one socket.");
    ASSERT_EQ(made.searches.size(), 2U);
    EXPECT_EQ(made.searches[0].candidates[0].text,
              "Socket \"CPU1\", SlotNumber 1: the same socket; Socket \"CPU1\", TargetDevKey "
              "\"Kov.Socket.1\": the same socket");
    EXPECT_EQ(made.searches[1].candidates.size(), 6U);
}

TEST(explain, saysWhyAProcessorIsUnpaired)
{
    EXPECT_EQ(sentenceOf(awkward(), "board/cpu2"),
              "cpu2 is unpaired: none of " +
                  std::to_string(awkward().outcome.of(inspect::Kind::smbiosCpu).size()) +
                  " SMBIOS processors fits; nearest is cpu1: Socket \"CPU2\", TargetDevKey "
                  "\"Kov.Socket.02\": differ.");
    EXPECT_TRUE(sentenceOf(awkward(), "motherboard/cpu1").starts_with("cpu1 is taken by nobody: "));
}

TEST(explain, saysWhichProcessorNamesACache)
{
    EXPECT_EQ(sentenceOf(healthy(), "cache5"), "cache5 belongs to cpu1, which names its handle.");
    const auto made = inspect::explain(healthy(), inspect::resolve(healthy(), "cache5"));
    EXPECT_EQ(made.reason, "L3CacheHandle is 1797");
    ASSERT_EQ(made.notes.size(), 1U);
    EXPECT_EQ(made.notes[0], "On the platform side cpu2 leads to it.");
    EXPECT_TRUE(sentenceOf(awkward(), "cache2").starts_with("cache2 is taken by nobody: "));
    EXPECT_EQ(inspect::explain(awkward(), inspect::resolve(awkward(), "cache3")).reason,
              "cpu1 has no partner that could lead to it");
}

} // namespace
