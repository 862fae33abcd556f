#include "inspect/fleet.hpp"
#include "sim/error.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(checkCaptures, reportsEachInItsOrderAndWhatCannotBeRead)
{
    const std::vector<std::string> folders{(inventories / "awkward").string(), "/nowhere",
                                           (inventories / "two-socket-2u").string()};
    std::size_t calls = 0;
    const auto count = [&](std::size_t done, std::size_t all)
    {
        EXPECT_EQ(done, ++calls);
        EXPECT_EQ(all, 3U);
    };
    const auto reports = inspect::checkCaptures(folders, count);
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(calls, 3U);
    EXPECT_FALSE(reports[0].findings.empty());
    EXPECT_NE(reports[1].error.find("No such file"), std::string::npos);
    EXPECT_TRUE(reports[2].findings.empty());
    EXPECT_TRUE(reports[2].error.empty());
}

TEST(findCaptures, looksIntoFolders)
{
    const auto found = inspect::findCaptures({inventories, inventories / "awkward"});
    EXPECT_GE(found.size(), 4U);
    EXPECT_EQ(found.back(), (inventories / "awkward").string());
    EXPECT_THROW(inspect::findCaptures({"/nowhere"}), sim::Error);
}

} // namespace
