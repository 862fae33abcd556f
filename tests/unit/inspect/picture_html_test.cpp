#include "inspect/picture.hpp"

#include <gtest/gtest.h>

namespace
{

using inspect::Picture;

Picture picture()
{
    return {"<machine>",
            {{{"/s",
               "<s>",
               "SMBIOS slot",
               "\"PCIe\" & more",
               "untaken",
               "Why not.",
               "Values.",
               {"A </note>."}},
              {}}},
            {},
            {}};
}

TEST(toHtml, letsNoTextBecomeMarkup)
{
    const std::string text = toHtml(picture());
    EXPECT_NE(text.find("<h1>&lt;machine&gt;</h1>"), std::string::npos);
    EXPECT_NE(text.find("&quot;PCIe&quot; &amp; more"), std::string::npos);
    EXPECT_EQ(text.find("<s>"), std::string::npos);
    EXPECT_EQ(text.find("</note>"), std::string::npos);
}

TEST(toHtml, loadsNothing)
{
    const std::string text = toHtml(picture());
    for (const char* outside : {"://", " src=", " href=", "url(", "@import"})
    {
        EXPECT_EQ(text.find(outside), std::string::npos) << outside;
    }
    EXPECT_NE(text.find("default-src 'none'"), std::string::npos);
}

TEST(toHtml, hasAFilterForEachStateThatOccurs)
{
    const std::string text = toHtml(picture());
    EXPECT_NE(text.find("taken by nobody <b>1</b>"), std::string::npos) << text;
    EXPECT_EQ(text.find("<b>0</b>"), std::string::npos) << text;
}

} // namespace
