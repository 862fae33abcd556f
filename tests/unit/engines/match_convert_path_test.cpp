#include "doubles/failing_allocation.hpp"
#include "doubles/recorded_log.hpp"
#include "engines/match.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using std::string;
using Lines = std::vector<string>;

const string board = "/xyz/openbmc_project/inventory/system/board";

TEST(convertPath, putsTheLeafOnTheBoard)
{
    struct Row
    {
        string path;
        string leaf;
    };
    const Row rows[] = {
        {"/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie_slot1", "pcie_slot1"},
        {"/a/b/c", "c"},
        {"/c", "c"},
        {"a/c", "c"},
        {"//c", "c"},
        {"/a/c d%s\n\xff", "c d%s\n\xff"},
        {board + "/c", "c"},
        {"/a/" + string(5000, 'x'), string(5000, 'x')},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.path);
        string converted = "before";
        EXPECT_TRUE(convertPath(row.path, converted));
        EXPECT_EQ(converted, board + "/" + row.leaf);
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(convertPath, refusesAPathWithoutALeaf)
{
    for (const string path : {"", "/", "//", "/a/", "leaf", "a/b/"})
    {
        SCOPED_TRACE(path);
        string converted = "before";
        EXPECT_FALSE(convertPath(path, converted));
        EXPECT_EQ(converted, "before");
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(convertPath, reportsThatMemoryRanOut)
{
    const string path = "/a/" + string(200, 'x');
    string converted = "before";
    bool answer = true;
    failing_allocation::arm(0);
    answer = convertPath(path, converted);
    ASSERT_TRUE(failing_allocation::disarm());
    EXPECT_FALSE(answer);
    EXPECT_EQ(converted, "before");
    EXPECT_EQ(recorded_log::summary(),
              Lines{"1 convertPath: Exception in convertPath: std::bad_alloc"});
}

TEST(convertPath, leavesTheOutputAloneWhereverMemoryRunsOut)
{
    const string path = "/a/" + string(200, 'x');
    for (std::size_t spared = 0;; ++spared)
    {
        SCOPED_TRACE(spared);
        string converted = "before";
        failing_allocation::arm(spared);
        const bool answer = convertPath(path, converted);
        if (!failing_allocation::disarm())
        {
            EXPECT_TRUE(answer);
            break;
        }
        EXPECT_FALSE(answer);
        EXPECT_EQ(converted, "before");
    }
}

} // namespace
