#include <gtest/gtest.h>
#include <sdbusplus/bus/match.hpp>

#include <string>

namespace
{

namespace rules = sdbusplus::bus::match::rules;

TEST(MatchRules, PartsEndWithAComma)
{
    EXPECT_EQ(rules::type::signal(), "type='signal',");
    EXPECT_EQ(rules::sender("a.b"), "sender='a.b',");
    EXPECT_EQ(rules::interface("a.b"), "interface='a.b',");
    EXPECT_EQ(rules::member("M"), "member='M',");
    EXPECT_EQ(rules::path("/p"), "path='/p',");
    EXPECT_EQ(rules::path_namespace("/p"), "path_namespace='/p',");
    EXPECT_EQ(rules::argN(2, "x"), "arg2='x',");
    EXPECT_EQ(rules::argNpath(0, "/x/"), "arg0path='/x/',");
}

TEST(MatchRules, JoinWithTexts)
{
    const std::string service = "a.b";
    EXPECT_EQ(rules::type::signal() + rules::sender(service) + "arg0='x'",
              "type='signal',sender='a.b',arg0='x'");
}

TEST(MatchRules, WholeRules)
{
    EXPECT_EQ(rules::nameOwnerChanged(),
              "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',");
    EXPECT_EQ(rules::nameOwnerChanged("a.b"),
              "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='a.b',");
    EXPECT_EQ(rules::interfacesAdded(),
              "type='signal',interface='org.freedesktop.DBus.ObjectManager',"
              "member='InterfacesAdded',");
    EXPECT_EQ(rules::interfacesRemoved("/p"),
              "type='signal',interface='org.freedesktop.DBus.ObjectManager',"
              "member='InterfacesRemoved',path='/p',");
    EXPECT_EQ(rules::propertiesChanged("/p", "a.b"),
              "type='signal',path='/p',member='PropertiesChanged',"
              "interface='org.freedesktop.DBus.Properties',arg0='a.b',");
}

} // namespace
