#include "inspect/picture.hpp"

#include <gtest/gtest.h>

namespace
{

using inspect::Picture;

Picture small()
{
    return {"a <place>",
            {{{"/s", "s\"1", "SMBIOS slot", "", "taken", "It is & stays.", "", {}},
              {{"/p", "p1", "platform slot", "", "paired", "", "", {}},
               {"/q", "q1", "platform slot", "", "drifted", "", "", {}}}}},
            {},
            {{"/l", "l1", "platform slot", "", "stale", "", "", {}}}};
}

TEST(toDot, drawsAnEdgeFromEachMemberToItsHead)
{
    const std::string text = toDot(small());
    EXPECT_TRUE(text.starts_with("digraph machine {\n"));
    EXPECT_NE(text.find("\"/p\" -> \"/s\";"), std::string::npos) << text;
    EXPECT_NE(text.find("label=\"s\\\"1\""), std::string::npos) << text;
    EXPECT_EQ(text.find("\"/l\" ->"), std::string::npos) << text;
}

TEST(toSvg, escapesAndGivesEachStateItsColour)
{
    const std::string text = toSvg(small());
    EXPECT_NE(text.find("<title>a &lt;place&gt;</title>"), std::string::npos) << text;
    EXPECT_NE(text.find("It is &amp; stays."), std::string::npos) << text;
    for (const char* colour : {"#2e7d32", "#7b1fa2", "#c62828"})
    {
        EXPECT_NE(text.find(colour), std::string::npos) << colour;
    }
}

} // namespace
