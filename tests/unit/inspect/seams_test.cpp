#include "base/log.hpp"
#include "dlog/dlog.hpp"
#include "inspect/seams.hpp"

#include <gtest/gtest.h>

namespace
{

TEST(takeRequests, givesWhatWasHandedOverOnceAndInOrder)
{
    inspect::takeRequests();
    const Site site = UTIL_SITE;
    EXPECT_EQ(sendAssociations(site, "/a", {{"chassis", "pcieslot", "/s"}}), 0);
    EXPECT_EQ(sendAssociations(site, "/b", {}), 0);
    const auto taken = inspect::takeRequests();
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_EQ(taken[0].objectPath, "/a");
    EXPECT_EQ(taken[0].associations.size(), 1U);
    EXPECT_EQ(taken[1].objectPath, "/b");
    EXPECT_TRUE(inspect::takeRequests().empty());
}

TEST(dlogThreshold, letsNoLineThrough)
{
    EXPECT_EQ(dlog_threshold, 0);
}

} // namespace
