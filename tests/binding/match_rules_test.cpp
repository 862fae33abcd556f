#include <gtest/gtest.h>
#include <sdbusplus/bus/match.hpp>

#include <string>

namespace
{

namespace rules = sdbusplus::bus::match::rules;

TEST(MatchRules, PartsEndWithAComma)
{
    EXPECT_EQ(std::string(rules::type::signal()), "type='signal',");
    EXPECT_EQ(rules::sender("a.b"), "sender='a.b',");
    EXPECT_EQ(rules::interface("a.b"), "interface='a.b',");
    EXPECT_EQ(rules::member("M"), "member='M',");
    EXPECT_EQ(rules::path("/p"), "path='/p',");
}

TEST(MatchRules, JoinWithTexts)
{
    const std::string service = "a.b";
    EXPECT_EQ(rules::type::signal() + rules::sender(service) + "arg0='x'",
              "type='signal',sender='a.b',arg0='x'");
}

} // namespace
