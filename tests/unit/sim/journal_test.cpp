#include "sim/journal.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace
{

using namespace std::chrono_literals;
using sim::Journal;

sim::SetCall setOf(const std::string& path)
{
    return {path, "x.y", "P", sim::Value::byte(1), true, sim::Clock::now()};
}

TEST(Journal, CountsCallsByMemberAndPath)
{
    Journal journal;
    journal.recordCall("Get", "/a");
    journal.recordCall("Get", "/b");
    journal.recordCall("Set", "/a");
    EXPECT_EQ(journal.calls(), 3U);
    EXPECT_EQ(journal.calls("Get"), 2U);
    EXPECT_EQ(journal.calls("Get", "/a"), 1U);
    EXPECT_EQ(journal.calls("", "/a"), 2U);
    EXPECT_EQ(journal.calls("None"), 0U);
}

TEST(Journal, KeepsSetsInOrder)
{
    Journal journal;
    for (const char* path : {"/b", "/a", "/b"})
    {
        journal.recordSet(setOf(path));
    }
    EXPECT_EQ(journal.setCount(), 3U);
    EXPECT_EQ(journal.sets()[1].path, "/a");
    EXPECT_EQ(journal.setsOn("/b").size(), 2U);
}

TEST(Journal, ForgetsOnRequest)
{
    Journal journal;
    journal.recordCall("Get", "/a");
    journal.recordSet(setOf("/a"));
    journal.clear();
    EXPECT_EQ(journal.calls(), 0U);
    EXPECT_EQ(journal.setCount(), 0U);
}

TEST(Journal, EndsAWaitWithTheFact)
{
    Journal journal;
    std::thread other(
        [&]
        {
            journal.recordCall("Get", "/a");
            journal.recordSet(setOf("/a"));
            journal.recordSet(setOf("/b"));
        });
    EXPECT_TRUE(journal.waitForSets(2, 20s));
    EXPECT_TRUE(journal.waitForCalls("Get", "/a", 1, 20s));
    other.join();
}

TEST(Journal, EndsAWaitWhenTheTimeRunsOut)
{
    const Journal journal;
    EXPECT_FALSE(journal.waitForSets(1, 10ms));
    EXPECT_FALSE(journal.waitUntil([] { return false; }, 0ms));
}

TEST(Journal, LetsAFactLookIntoTheJournal)
{
    Journal journal;
    journal.recordCall("Get", "/a");
    EXPECT_TRUE(journal.waitUntil([&] { return journal.calls("Get") == 1; }, 0ms));
}

} // namespace
