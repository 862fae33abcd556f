#include "doubles/failing_allocation.hpp"
#include "doubles/recorded_log.hpp"
#include "store/association_pairs.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>

namespace
{

using std::string;

// Longer than what a string holds without memory of its own.
const string prefix = "/xyz/openbmc_project/inventory/system/";
const string smbiosA = prefix + "chassis/motherboard/pcieslot1";
const string smbiosD = prefix + "chassis/motherboard/pcieslot2";
const string kovdB = prefix + "board/pcie_slot2";
const string kovdC = prefix + "board/pcie_slot1";

std::optional<string> smbiosOf(const string& kovdPath)
{
    return findAssociatedSMBIOSPath(kovdPath);
}

std::optional<string> kovdOf(const string& smbiosPath)
{
    return findAssociatedKOVDPath(smbiosPath);
}

void erase(const string& kovdPath)
{
    MutexLock lock(associationPairsMutex);
    eraseAssociationPairByKOVDPath(kovdPath);
}

TEST(addAssociationPair, pairsBothSides)
{
    EXPECT_TRUE(addAssociationPair(smbiosA, kovdC));
    EXPECT_EQ(smbiosOf(kovdC), smbiosA);
    EXPECT_EQ(kovdOf(smbiosA), kovdC);
}

TEST(addAssociationPair, refusesAPathThatIsPairedAlready)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    EXPECT_FALSE(addAssociationPair(smbiosA, kovdB));
    EXPECT_FALSE(addAssociationPair(smbiosD, kovdC));
    EXPECT_FALSE(addAssociationPair(smbiosA, kovdC));
    EXPECT_EQ(smbiosOf(kovdC), smbiosA);
    EXPECT_EQ(kovdOf(smbiosA), kovdC);
    EXPECT_EQ(smbiosOf(kovdB), std::nullopt);
    EXPECT_EQ(kovdOf(smbiosD), std::nullopt);
    // The refused partners are free.
    EXPECT_TRUE(addAssociationPair(smbiosD, kovdB));
}

TEST(addAssociationPair, keepsTheSidesApart)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    EXPECT_TRUE(addAssociationPair(kovdC, smbiosA));
    EXPECT_TRUE(addAssociationPair("", ""));
    EXPECT_TRUE(isPathAssociated(smbiosSide, ""));
}

TEST(addAssociationPair, staysConsistentWhenMemoryRunsOut)
{
    for (std::size_t spared = 0;; ++spared)
    {
        SCOPED_TRACE(spared);
        bool added = false;
        failing_allocation::arm(spared);
        try
        {
            added = addAssociationPair(smbiosA, kovdC);
        }
        catch (const std::bad_alloc&)
        {
            added = false;
        }
        if (!failing_allocation::disarm())
        {
            EXPECT_TRUE(added);
            break;
        }
        EXPECT_FALSE(added);
        EXPECT_FALSE(isPathAssociated(smbiosSide, smbiosA));
        EXPECT_FALSE(isPathAssociated(kovdSide, kovdC));
    }
    EXPECT_EQ(smbiosOf(kovdC), smbiosA);
}

TEST(isPathAssociated, looksAtOneSide)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    EXPECT_TRUE(isPathAssociated(2, smbiosA));
    EXPECT_TRUE(isPathAssociated(1, kovdC));
    EXPECT_FALSE(isPathAssociated(1, smbiosA));
    EXPECT_FALSE(isPathAssociated(2, kovdC));
    EXPECT_FALSE(isPathAssociated(1, kovdB));
    EXPECT_FALSE(isPathAssociated(2, ""));
}

TEST(isPathAssociated, isFalseOnAnyOtherSide)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    for (const int side : {3, 0, -1, std::numeric_limits<int>::max()})
    {
        EXPECT_FALSE(isPathAssociated(side, smbiosA)) << side;
        EXPECT_FALSE(isPathAssociated(side, kovdC)) << side;
        EXPECT_FALSE(isPathAssociated(side, "")) << side;
    }
}

TEST(findAssociatedSMBIOSPath, findsThePartnerOfAKOVDPathOnly)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    EXPECT_EQ(findAssociatedSMBIOSPath(smbiosA), std::nullopt);
    EXPECT_EQ(findAssociatedSMBIOSPath(kovdB), std::nullopt);
    EXPECT_EQ(findAssociatedSMBIOSPath(kovdC), smbiosA);
}

TEST(findAssociatedKOVDPath, findsThePartnerOfAnSMBIOSPathOnly)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    EXPECT_EQ(findAssociatedKOVDPath(kovdC), std::nullopt);
    EXPECT_EQ(findAssociatedKOVDPath(smbiosA), kovdC);
}

TEST(takeAssociatedKOVDPath, takesThePairOut)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    ASSERT_TRUE(addAssociationPair(smbiosD, kovdB));
    EXPECT_EQ(takeAssociatedKOVDPath(kovdC), std::nullopt);
    EXPECT_EQ(takeAssociatedKOVDPath(smbiosA), kovdC);
    EXPECT_EQ(takeAssociatedKOVDPath(smbiosA), std::nullopt);
    EXPECT_FALSE(isPathAssociated(smbiosSide, smbiosA));
    EXPECT_FALSE(isPathAssociated(kovdSide, kovdC));
    EXPECT_EQ(smbiosOf(kovdB), smbiosD);
}

TEST(eraseAssociationPairByKOVDPath, erasesBothSidesOfThatPair)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    ASSERT_TRUE(addAssociationPair(smbiosD, kovdB));
    erase(kovdC);
    EXPECT_EQ(smbiosOf(kovdC), std::nullopt);
    EXPECT_EQ(kovdOf(smbiosA), std::nullopt);
    EXPECT_EQ(smbiosOf(kovdB), smbiosD);
    EXPECT_TRUE(addAssociationPair(smbiosA, kovdC));
}

TEST(eraseAssociationPairByKOVDPath, ofAnUnknownPathChangesNothing)
{
    ASSERT_TRUE(addAssociationPair(smbiosA, kovdC));
    erase(smbiosA);
    erase(kovdB);
    erase("");
    EXPECT_EQ(smbiosOf(kovdC), smbiosA);
}

} // namespace
