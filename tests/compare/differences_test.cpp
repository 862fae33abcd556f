#include "compare/differences.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace
{

using Map = std::map<std::string, int>;
using Sequence = std::vector<std::string>;

TEST(sameEntries, acceptsEqualMaps)
{
    EXPECT_TRUE(sameEntries(Map{{"a", 1}}, Map{{"a", 1}}));
    EXPECT_TRUE(sameEntries(Map{}, Map{}));
}

TEST(sameEntries, namesWhatIsMissingWhatDiffersAndWhatIsTooMuch)
{
    const auto result = sameEntries(Map{{"b", 2}, {"c", 3}}, Map{{"a", 1}, {"b", 7}});
    EXPECT_FALSE(result);
    EXPECT_STREQ(result.message(), "3 differences between the 2 entries found and the 2 expected\n"
                                   "  \"a\" is missing\n"
                                   "  \"b\" is 2, not 7\n"
                                   "  \"c\" is not expected: 3");
}

TEST(sameEntries, showsTheFirstFewOfMany)
{
    Map many;
    for (int i = 0; i < 1000; ++i)
    {
        many["key " + std::to_string(i)] = i;
    }
    const std::string message = sameEntries(Map{}, many).message();
    EXPECT_TRUE(message.starts_with("1000 differences")) << message;
    EXPECT_TRUE(message.ends_with("\n  ...")) << message;
    EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 11);
}

TEST(sameSequence, acceptsEqualOnes)
{
    EXPECT_TRUE(sameSequence(Sequence{"a", "b"}, Sequence{"a", "b"}));
}

TEST(sameSequence, namesEachPlaceThatDiffers)
{
    const auto result = sameSequence(Sequence{"a", "x", "c"}, Sequence{"a", "b"});
    EXPECT_FALSE(result);
    EXPECT_STREQ(result.message(), "2 differences between the 3 entries found and the 2 expected\n"
                                   "  at 1 is \"x\", not \"b\"\n"
                                   "  at 2 is \"c\", not nothing");
}

} // namespace
