#include "dlog/journal.hpp"

#include <gtest/gtest.h>

TEST(NamesStream, AcceptsTheVeryFile)
{
    EXPECT_TRUE(dlog::namesStream("8:1234", 8, 1234));
    EXPECT_TRUE(dlog::namesStream("18446744073709551615:0", 18446744073709551615U, 0));
}

TEST(NamesStream, RejectsAnotherFile)
{
    EXPECT_FALSE(dlog::namesStream("8:1234", 8, 1235));
    EXPECT_FALSE(dlog::namesStream("8:1234", 9, 1234));
}

TEST(NamesStream, RejectsWhatIsNoPairOfNumbers)
{
    for (const char* value : {"", ":", "8", "8:", ":1234", "8:1234 ", " 8:1234", "8;1234",
                              "8:1234:", "a:b", "8:-1234", "8:99999999999999999999"})
    {
        EXPECT_FALSE(dlog::namesStream(value, 8, 1234)) << value;
    }
    EXPECT_FALSE(dlog::namesStream(nullptr, 0, 0));
}

TEST(PriorityOf, FollowsTheLevels)
{
    EXPECT_EQ(dlog::priorityOf(1), 3);
    EXPECT_EQ(dlog::priorityOf(4), 4);
    EXPECT_EQ(dlog::priorityOf(5), 6);
    EXPECT_EQ(dlog::priorityOf(9), 7);
}
