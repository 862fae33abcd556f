#include "hwinv_demo/table.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace
{

using Lines = std::vector<std::vector<std::string>>;

std::string tableOf(const Lines& lines, std::size_t columns)
{
    std::ostringstream out;
    hwinv_demo::printTable(out, lines, columns);
    return out.str();
}

TEST(Table, IsAsWideAsItsCells)
{
    EXPECT_EQ(tableOf({{"a", "bb", "c"}, {"aaa", "b", ""}}, hwinv_demo::unlimited), "  a    bb  c\n"
                                                                                    "  aaa  b\n");
}

TEST(Table, ThatFitsIsLeftAlone)
{
    EXPECT_EQ(tableOf({{"one", "a cell of some length"}}, 28), "  one  a cell of some length\n");
}

TEST(Table, BreaksItsWidestCellsBehindABlankOrASlash)
{
    EXPECT_EQ(tableOf({{"one", "a cell of some length"}}, 27), "  one  a cell of some\n"
                                                               "       length\n");
    EXPECT_EQ(tableOf({{"chassis/motherboard/slot1", "why"}}, 27), "  chassis/motherboard/  why\n"
                                                                   "  slot1\n");
}

TEST(Table, BreaksALongWordAnywhere)
{
    EXPECT_EQ(tableOf({{"one", "abcdefghijklmnopqrstuvwxyz"}}, 27), "  one  abcdefghijklmnopqrst\n"
                                                                    "       uvwxyz\n");
}

TEST(Table, StaysReadableWhereThereIsNoRoom)
{
    EXPECT_EQ(tableOf({{"abcdefghijklmnop", "short"}}, 1), "  abcdefghijkl  short\n"
                                                           "  mnop\n");
}

} // namespace
