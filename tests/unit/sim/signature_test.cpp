#include "sim/signature.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace
{

using std::string;
using std::string_view;

TEST(Signature, AcceptsCompleteTypes)
{
    for (const string_view type :
         {"s", "y", "v", "as", "ay", "a(sss)", "a{sv}", "a{oa{sa{sv}}}", "(ii)", "((s)ai)", "aas"})
    {
        EXPECT_TRUE(sim::isCompleteType(type)) << type;
    }
}

TEST(Signature, RefusesWhatIsNoCompleteType)
{
    for (const string_view type : {"", "ss", "a", "()", "(s", "s)", "a{s}", "a{vs}", "a{sss}",
                                   "{sv}", "a{sv", "h", "z", "a{(s)s}", "(a)"})
    {
        EXPECT_FALSE(sim::isCompleteType(type)) << type;
    }
}

TEST(Signature, IsAListOfTypesPossiblyEmpty)
{
    EXPECT_TRUE(sim::isSignature(""));
    EXPECT_TRUE(sim::isSignature("sa{sv}as"));
    EXPECT_FALSE(sim::isSignature("sa"));
}

TEST(Signature, SplitsIntoItsTypes)
{
    EXPECT_EQ(sim::splitSignature("oa{sa{sv}}(ii)y"),
              (std::vector<string_view>{"o", "a{sa{sv}}", "(ii)", "y"}));
    EXPECT_TRUE(sim::splitSignature("").empty());
}

TEST(Signature, TellsWhereTheFirstTypeEnds)
{
    EXPECT_EQ(sim::completeTypeLength("a{sv}as"), 5U);
    EXPECT_EQ(sim::completeTypeLength("?"), 0U);
}

TEST(Signature, HoldsTheLimitsOfTheProtocol)
{
    EXPECT_TRUE(sim::isCompleteType(string(32, 'a') + "s"));
    EXPECT_FALSE(sim::isCompleteType(string(33, 'a') + "s"));
    EXPECT_TRUE(sim::isCompleteType(string(32, '(') + "s" + string(32, ')')));
    EXPECT_FALSE(sim::isCompleteType(string(33, '(') + "s" + string(33, ')')));
    EXPECT_TRUE(sim::isSignature(string(255, 's')));
    EXPECT_FALSE(sim::isSignature(string(256, 's')));
}

TEST(Signature, KnowsDictionaries)
{
    EXPECT_TRUE(sim::isDictionary("a{sv}"));
    EXPECT_FALSE(sim::isDictionary("a(sv)"));
    EXPECT_FALSE(sim::isDictionary("s"));
}

} // namespace
