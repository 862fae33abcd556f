#include "doubles/cpu_world.hpp"
#include "doubles/failing_allocation.hpp"
#include "store/cpu_cache_pairs.hpp"

#include <gtest/gtest.h>

#include <new>

namespace
{

using namespace cpu_world;

TEST(CpuCachePairs, holdNothingAtFirst)
{
    const CpuCachePairs pairs;
    EXPECT_FALSE(pairs.containsCPU(cpu1));
    EXPECT_FALSE(pairs.containsCache(cacheA));
    EXPECT_EQ(pairs.cachesOfCPU(cpu1), Paths{});
    EXPECT_EQ(pairs.cpusOfCache(cacheA), Paths{});
}

TEST(CpuCachePairs, takeManyOnBothSides)
{
    CpuCachePairs pairs;
    EXPECT_TRUE(pairs.add(cpu1, cacheB));
    EXPECT_TRUE(pairs.add(cpu2, cacheB));
    EXPECT_TRUE(pairs.add(cpu1, cacheA));
    EXPECT_EQ(pairs.cachesOfCPU(cpu1), (Paths{cacheB, cacheA}));
    EXPECT_EQ(pairs.cachesOfCPU(cpu2), Paths{cacheB});
    EXPECT_EQ(pairs.cpusOfCache(cacheB), (Paths{cpu1, cpu2}));
    EXPECT_EQ(pairs.cpusOfCache(cacheA), Paths{cpu1});
}

TEST(CpuCachePairs, keepTheOrderOfAddingWithinAKey)
{
    CpuCachePairs pairs;
    for (const auto& [cpu, cache] :
         {std::pair(cpu2, cacheC), std::pair(cpu1, cacheC), std::pair(cpu3, cacheC),
          std::pair(cpu1, cacheA), std::pair(cpu1, cacheD), std::pair(cpu1, cacheB)})
    {
        pairs.add(cpu, cache);
    }
    EXPECT_EQ(pairs.cpusOfCache(cacheC), (Paths{cpu2, cpu1, cpu3}));
    EXPECT_EQ(pairs.cachesOfCPU(cpu1), (Paths{cacheC, cacheA, cacheD, cacheB}));
}

TEST(CpuCachePairs, takeAnEqualPairAgain)
{
    CpuCachePairs pairs;
    EXPECT_TRUE(pairs.add(cpu1, cacheA));
    EXPECT_TRUE(pairs.add(cpu1, cacheA));
    EXPECT_EQ(pairs.cachesOfCPU(cpu1), (Paths{cacheA, cacheA}));
    EXPECT_EQ(pairs.cpusOfCache(cacheA), (Paths{cpu1, cpu1}));

    pairs.eraseCache(cacheA);
    EXPECT_FALSE(pairs.containsCPU(cpu1));
    EXPECT_FALSE(pairs.containsCache(cacheA));
}

TEST(CpuCachePairs, forgetAProcessorOnBothSides)
{
    CpuCachePairs pairs;
    pairs.add(cpu1, cacheA);
    pairs.add(cpu2, cacheA);
    pairs.add(cpu1, cacheB);
    pairs.eraseCPU(cpu1);
    EXPECT_FALSE(pairs.containsCPU(cpu1));
    EXPECT_FALSE(pairs.containsCache(cacheB));
    EXPECT_EQ(pairs.cpusOfCache(cacheA), Paths{cpu2});
    EXPECT_EQ(pairs.cachesOfCPU(cpu2), Paths{cacheA});
}

TEST(CpuCachePairs, forgetACacheOnBothSides)
{
    CpuCachePairs pairs;
    pairs.add(cpu1, cacheB);
    pairs.add(cpu2, cacheB);
    pairs.add(cpu1, cacheC);
    pairs.add(cpu1, cacheA);
    pairs.eraseCache(cacheB);
    EXPECT_FALSE(pairs.containsCache(cacheB));
    EXPECT_FALSE(pairs.containsCPU(cpu2));
    EXPECT_EQ(pairs.cachesOfCPU(cpu1), (Paths{cacheC, cacheA}));
}

TEST(CpuCachePairs, forgetWhatTheyDoNotHold)
{
    CpuCachePairs pairs;
    pairs.add(cpu1, cacheA);
    pairs.eraseCPU(cpu2);
    pairs.eraseCache(cacheB);
    pairs.eraseCPU(cacheA); // a path of the other side is no path of this one
    pairs.eraseCache(cpu1);
    EXPECT_EQ(pairs.cachesOfCPU(cpu1), Paths{cacheA});
}

TEST(CpuCachePairs, keepAPairOnBothSidesOrNoneWhenMemoryRunsOut)
{
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures)
    {
        CpuCachePairs pairs;
        pairs.add(cpu2, cacheA);
        bool added = false;
        failing_allocation::arm(failures);
        try
        {
            added = pairs.add(cpu1, cacheA);
        }
        catch (const std::bad_alloc&)
        {
        }
        failed = failing_allocation::disarm();
        EXPECT_NE(added, failed);
        EXPECT_EQ(pairs.cachesOfCPU(cpu1), added ? Paths{cacheA} : Paths{});
        EXPECT_EQ(pairs.cpusOfCache(cacheA), added ? (Paths{cpu2, cpu1}) : Paths{cpu2});
    }
    EXPECT_GT(failures, 2U); // both sides have failed
}

TEST(addCpuCachePair, fillsTheTableOfTheProcess)
{
    EXPECT_FALSE(hasCachesOfCPU(cpu1));
    EXPECT_FALSE(hasCPUsOfCache(cacheA));
    EXPECT_TRUE(addCpuCachePair(cpu1, cacheA));
    EXPECT_TRUE(addCpuCachePair(cpu1, cacheA));
    EXPECT_TRUE(hasCachesOfCPU(cpu1));
    EXPECT_TRUE(hasCPUsOfCache(cacheA));
    EXPECT_FALSE(hasCachesOfCPU(cacheA));
    EXPECT_FALSE(hasCPUsOfCache(cpu1));
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheA}));
    EXPECT_EQ(cpusOf(cacheA), (Paths{cpu1, cpu1}));
}

} // namespace
