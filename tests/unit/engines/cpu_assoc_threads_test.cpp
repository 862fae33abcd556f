/*
 * Both workers, and a full pass beside them, at one processor: nothing is lost, whoever comes
 * first. Built with the thread sanitizer these tests find races too.
 */
#include "base/names.hpp"
#include "doubles/cpu_world.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/records.hpp"
#include "doubles/run_together.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_assoc.hpp"
#include "intake/workers.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

namespace
{

using namespace cpu_world;
using std::string;
using std::string_view;

constexpr int rounds = 500;
const Handles handles = {11, 12, 13};

const AssociationList whole = {cpuTupleOf(cpu1), cacheTupleOf("L1CacheHandle", cacheA),
                               cacheTupleOf("L2CacheHandle", cacheB),
                               cacheTupleOf("L3CacheHandle", cacheC)};

void addSmbios(const string& path, string_view interface, const PropertyMap& properties)
{
    processSmbiosRecord(UTIL_SITE,
                        addedRecord(path, {{string(interface), sample::received(properties)}}));
}

void removeSmbios(const string& path, string_view interface)
{
    processSmbiosRecord(UTIL_SITE, removedRecord(path, {string(interface)}));
}

void addSmbiosSide()
{
    addSmbios(cpu1, names::smbiosCpuInterface, smbiosCpu(1, handles));
}

void addKovdSide()
{
    processKovdRecord(UTIL_SITE, addedRecord(kovd1, {{string(names::kovdItemInterface),
                                                      sample::received(kovdCpu(1))}}));
}

void addCaches()
{
    addSmbios(cacheA, names::smbiosCacheInterface, cache(11));
    addSmbios(cacheB, names::smbiosCacheInterface, cache(12));
    addSmbios(cacheC, names::smbiosCacheInterface, cache(13));
}

/** What is kept and what was handed over last, for the one processor and no other object. */
void expectList(const AssociationList& list)
{
    EXPECT_EQ(written(kovd1), list);
    const Requests requests = recorded_requests::all();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().associations, list);
    EXPECT_TRUE(std::all_of(requests.begin(), requests.end(),
                            [](const AssociationRequest& request)
                            { return request.objectPath == kovd1; }));
}

TEST(TwoWorkers, pairOneProcessorOnceAndWriteItsTupleOnce)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        runTogether({addSmbiosSide, addKovdSide});
        EXPECT_TRUE(isPair(cpu1, kovd1));
        expectList({cpuTupleOf(cpu1)});
        EXPECT_EQ(recorded_requests::all().size(), 1U);
    }
}

TEST(TwoWorkers, writeEveryCache)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        runTogether({[]
                     {
                         addSmbiosSide();
                         addCaches();
                     },
                     addKovdSide});
        EXPECT_TRUE(isPair(cpu1, kovd1));
        EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
        expectList(whole);
    }
}

TEST(TwoWorkers, recordEachCacheOnceBesideAPass)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        runTogether({[]
                     {
                         addCaches();
                         addSmbiosSide();
                     },
                     addKovdSide, CPUAssociation});
        EXPECT_TRUE(isPair(cpu1, kovd1));
        EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
        expectList(whole);
    }
}

TEST(TwoWorkers, forgetAProcessorWhileItIsPaired)
{
    for (int round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        resetStore();
        addCaches();
        addSmbiosSide();
        runTogether({[]
                     {
                         removeSmbios(cpu1, names::smbiosCpuInterface);
                         removeSmbios(cacheB, names::smbiosCacheInterface);
                     },
                     addKovdSide, CPUAssociation});
        EXPECT_FALSE(smbiosCPUObjs.hasObject(cpu1));
        EXPECT_FALSE(smbiosCacheObjs.hasObject(cacheB));
        EXPECT_FALSE(isPathAssociated(smbiosSide, cpu1));
        EXPECT_FALSE(isPathAssociated(kovdSide, kovd1));
        EXPECT_EQ(cachesOf(cpu1), Paths{});
        // Nothing was written, or it was taken back.
        EXPECT_EQ(written(kovd1).value_or(AssociationList{}), AssociationList{});
        const Requests requests = recorded_requests::all();
        EXPECT_TRUE(requests.empty() || requests.back().associations.empty());
    }
}

} // namespace
