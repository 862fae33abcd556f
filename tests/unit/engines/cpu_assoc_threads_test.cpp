/*
 * Both workers, and a resync beside them, at one processor. Run plain these tests find what no
 * order of events may bring about; built with the thread sanitizer they find races.
 */
#include "doubles/cpu_world.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/run_together.hpp"
#include "engines/cpu_assoc.hpp"
#include "objects/cpu_objects.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>

namespace
{

using namespace cpu_world;
using std::string;

constexpr int rounds = 500;
const Handles handles = {11, 12, 13};

void insertSmbiosSide()
{
    InsertSMBIOSCPUObj(cpu1, smbiosCpu(1, handles));
}

void insertKovdSide()
{
    InsertKOVDCPUObj(kovd1, kovdCpu(1));
}

void insertCaches()
{
    InsertSMBIOSCacheObj(cacheA, cache(11));
    InsertSMBIOSCacheObj(cacheB, cache(12));
    InsertSMBIOSCacheObj(cacheC, cache(13));
}

bool isOneOfTheTuples(const AssociationTuple& tuple)
{
    const AssociationList all = {cpuTupleOf(cpu1), cacheTupleOf("L1CacheHandle", cacheA),
                                 cacheTupleOf("L2CacheHandle", cacheB),
                                 cacheTupleOf("L3CacheHandle", cacheC)};
    return std::find(all.begin(), all.end(), tuple) != all.end();
}

/** Whatever the order: lists for the one processor, of its tuples. */
void expectOnlyItsTuples()
{
    const Requests requests = recorded_requests::all();
    for (const auto& [path, list] : requests)
    {
        EXPECT_EQ(path, kovd1);
        EXPECT_TRUE(std::all_of(list.begin(), list.end(), isOneOfTheTuples));
    }
    const auto kept = written(kovd1);
    ASSERT_TRUE(kept.has_value());
    EXPECT_TRUE(std::any_of(requests.begin(), requests.end(),
                            [&](const AssociationRequest& request)
                            { return request.associations == *kept; }));
}

TEST(TwoWorkers, pairOneProcessorOnceAndWriteItsTuple)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        runTogether({insertSmbiosSide, insertKovdSide});
        EXPECT_TRUE(isPair(cpu1, kovd1));
        const AssociationList list = {cpuTupleOf(cpu1)};
        EXPECT_EQ(written(kovd1), list);
        const Requests requests = recorded_requests::all();
        EXPECT_GE(requests.size(), 1U);
        EXPECT_TRUE(std::all_of(requests.begin(), requests.end(),
                                [&](const AssociationRequest& request) {
                                    return request == AssociationRequest{kovd1, list};
                                }));
    }
}

TEST(TwoWorkers, recordEachCacheOnce)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        runTogether({[]
                     {
                         insertSmbiosSide();
                         insertCaches();
                     },
                     insertKovdSide});
        EXPECT_TRUE(isPair(cpu1, kovd1));
        EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
        expectOnlyItsTuples();
    }
}

TEST(TwoWorkers, gainFromAResyncBesideThem)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        runTogether({[]
                     {
                         insertCaches();
                         insertSmbiosSide();
                     },
                     insertKovdSide, CPUAssociation});
        EXPECT_TRUE(isPair(cpu1, kovd1));
        // Two searches at once may record a cache twice, but none is missing.
        const Paths caches = cachesOf(cpu1);
        EXPECT_EQ(std::set<string>(caches.begin(), caches.end()),
                  (std::set<string>{cacheA, cacheB, cacheC}));
        expectOnlyItsTuples();
    }
}

TEST(TwoWorkers, forgetAProcessorWhileItIsPaired)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        insertCaches();
        insertSmbiosSide();
        runTogether({[]
                     {
                         removeSMBIOSCPUAssoc(cpu1);
                         removeSMBIOSCacheAssoc(cacheB);
                     },
                     []
                     {
                         insertKovdSide();
                         removeKOVDCPUAssoc(kovd1);
                     },
                     CPUAssociation});
        EXPECT_FALSE(smbiosCPUObjs.hasObject(cpu1));
        EXPECT_FALSE(smbiosCacheObjs.hasObject(cacheB));
        EXPECT_FALSE(kovdCPUObjs.hasObject(kovd1));
        const Requests requests = recorded_requests::all();
        for (const auto& [path, list] : requests)
        {
            EXPECT_EQ(path, kovd1);
        }
    }
}

} // namespace
