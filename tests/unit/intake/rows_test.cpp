/* The walk over rows of path text, interface and operation. */
#include "intake/rows.hpp"

#include <gtest/gtest.h>

namespace
{

void first(const std::string&) {}
void second(const std::string&) {}
void third(const std::string&) {}

constexpr std::array rows{
    RemoveRow{"/board", "i.One", first},
    RemoveRow{"/board", "i.Two", second},
    RemoveRow{"/board", "i.Three", third, "/cpu"},
    RemoveRow{"/chassis", "i.Two", third},
};

RemoveOperation found(std::string_view path, std::string_view interface)
{
    const auto* row = findRow(rows, path, interface);
    return row == nullptr ? nullptr : row->operation;
}

TEST(contains, searchesTheWholePath)
{
    EXPECT_TRUE(contains("/x/board/y", "/board"));
    EXPECT_TRUE(contains("/board", "/board"));
    EXPECT_TRUE(contains("/boards", "/board"));
    EXPECT_TRUE(contains("/board", ""));
    EXPECT_FALSE(contains("/boar", "/board"));
    EXPECT_FALSE(contains("/Board", "/board"));
    EXPECT_FALSE(contains("", "/board"));
}

TEST(branchOf, isTheFirstRowWhoseTextStandsInThePath)
{
    EXPECT_EQ(branchOf(rows, "/x/board/y"), "/board");
    EXPECT_EQ(branchOf(rows, "/chassis1"), "/chassis");
    EXPECT_EQ(branchOf(rows, "/chassis/board"), "/board");
}

TEST(branchOf, isEmptyForAPathOfNobody)
{
    EXPECT_EQ(branchOf(rows, "/elsewhere"), "");
    EXPECT_EQ(branchOf(rows, ""), "");
}

TEST(findRow, takesTheRowWithExactlyTheInterface)
{
    EXPECT_EQ(found("/board/a", "i.One"), first);
    EXPECT_EQ(found("/board/a", "i.Two"), second);
    EXPECT_EQ(found("/chassis/a", "i.Two"), third);
    EXPECT_EQ(found("/board/a", "i.Tw"), nullptr);
    EXPECT_EQ(found("/board/a", "i.Two2"), nullptr);
    EXPECT_EQ(found("/board/a", "I.two"), nullptr);
    EXPECT_EQ(found("/board/a", ""), nullptr);
}

TEST(findRow, staysInTheFirstBranch)
{
    EXPECT_EQ(found("/chassis/board", "i.Two"), second);
    EXPECT_EQ(found("/chassis/a", "i.One"), nullptr);
}

TEST(findRow, asksForTheSecondTextToo)
{
    EXPECT_EQ(found("/board/cpu0", "i.Three"), third);
    EXPECT_EQ(found("/board/a", "i.Three"), nullptr);
}

TEST(findRow, findsNothingForAPathOfNobody)
{
    EXPECT_EQ(found("/elsewhere", "i.One"), nullptr);
    EXPECT_EQ(found("", ""), nullptr);
}

} // namespace
