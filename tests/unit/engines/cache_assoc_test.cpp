/* The searches that pair caches with processors, and the tuples that come of them. */
#include "doubles/cpu_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "engines/cache_assoc.hpp"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>
#include <type_traits>

namespace
{

using namespace cpu_world;
using std::string;

const Handles threeHandles = {11, 12, 13};
const string wrongType = "std::get: wrong index for variant";

void storeCaches(const std::vector<std::pair<string, std::uint16_t>>& caches)
{
    for (const auto& [path, handle] : caches)
    {
        smbiosCacheObjs.insertObject(path, cache(handle));
    }
}

/** Whether somebody holds the mutex at this moment. Not for a thread that holds it itself. */
bool isHeld(Mutex& mutex)
{
    static_assert(std::is_standard_layout_v<Mutex> && sizeof(Mutex) == sizeof(std::mutex));
    auto& inner = reinterpret_cast<std::mutex&>(mutex);
    bool free = false;
    std::thread(
        [&]
        {
            free = inner.try_lock();
            if (free)
            {
                inner.unlock();
            }
        })
        .join();
    return !free;
}

Lines noneFound(const string& function, const string& path)
{
    return {"1 " + function + ": " + path + " No association found for objPath"};
}

// FindAssocCacheObjs

AssociationList findCaches(const Handles& handles = threeHandles)
{
    AssociationList additions;
    FindAssocCacheObjs(smbiosCpu(1, handles), cpu1, additions);
    return additions;
}

TEST(FindAssocCacheObjs, saysThatNoCacheIsStored)
{
    EXPECT_EQ(findCaches(), AssociationList{});
    EXPECT_EQ(engineLines(), noneFound("FindAssocCacheObjs", cpu1));
}

TEST(FindAssocCacheObjs, saysThatNoCacheMatches)
{
    storeCaches({{cacheA, 1}, {cacheB, 2}});
    EXPECT_EQ(findCaches(), AssociationList{});
    EXPECT_EQ(engineLines(), cacheCompared(1, threeHandles) + cacheCompared(2, threeHandles) +
                                 noneFound("FindAssocCacheObjs", cpu1));
    EXPECT_EQ(cachesOf(cpu1), Paths{});
}

TEST(FindAssocCacheObjs, takesEveryCacheThatMatches)
{
    storeCaches({{cacheC, 11}, {cacheA, 13}, {cacheD, 12}, {cacheB, 9}});
    EXPECT_EQ(findCaches(), (AssociationList{cacheTupleOf("L3CacheHandle", cacheA),
                                             cacheTupleOf("L1CacheHandle", cacheC),
                                             cacheTupleOf("L2CacheHandle", cacheD)}));
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheC, cacheD}));
    EXPECT_EQ(engineLines(), cacheCompared(13, threeHandles) +
                                 cachePaired("FindAssocCacheObjs", cpu1, cacheA) +
                                 cacheCompared(9, threeHandles) + cacheCompared(11, threeHandles) +
                                 cachePaired("FindAssocCacheObjs", cpu1, cacheC) +
                                 cacheCompared(12, threeHandles) +
                                 cachePaired("FindAssocCacheObjs", cpu1, cacheD));
    EXPECT_TRUE(recorded_requests::all().empty());
}

TEST(FindAssocCacheObjs, takesMoreThanThreeCaches)
{
    storeCaches({{cacheA, 11}, {cacheB, 11}, {cacheC, 11}, {cacheD, 11}});
    EXPECT_EQ(findCaches().size(), 4U);
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC, cacheD}));
}

TEST(FindAssocCacheObjs, appendsToTheAdditions)
{
    storeCaches({{cacheA, 11}});
    AssociationList additions = {foreignTuple()};
    FindAssocCacheObjs(smbiosCpu(1, threeHandles), cpu1, additions);
    EXPECT_EQ(additions, (AssociationList{foreignTuple(), cacheTupleOf("L1CacheHandle", cacheA)}));
}

TEST(FindAssocCacheObjs, pairsACacheOfAnotherProcessorToo)
{
    storeCaches({{cacheA, 11}});
    pairCaches(cpu2, {cacheA});
    EXPECT_EQ(findCaches().size(), 1U);
    EXPECT_EQ(cpusOf(cacheA), (Paths{cpu2, cpu1}));
}

TEST(FindAssocCacheObjs, pairsNoCacheOfHandleZero)
{
    storeCaches({{cacheA, 0}});
    EXPECT_EQ(findCaches({0, 0, 0}), AssociationList{});
    EXPECT_EQ(engineLines(),
              (Lines{"9 CompareCacheAssocProps: Cache Handle: 0",
                     "1 CompareCacheAssocProps: Cache Handle is 0 in cache object.Therefore no "
                     "association"}) +
                  noneFound("FindAssocCacheObjs", cpu1));
}

TEST(FindAssocCacheObjs, passesOverACacheWithoutProperties)
{
    smbiosCacheObjs.insertObject(cacheA, {});
    storeCaches({{cacheB, 12}});
    EXPECT_EQ(findCaches(), AssociationList{cacheTupleOf("L2CacheHandle", cacheB)});
    EXPECT_EQ(engineLines(),
              Lines{"1 FindAssocCacheObjs: SMBIOS object properties could not be obtained for "
                    "objPath: " +
                    cacheA} +
                  cacheCompared(12, threeHandles) +
                  cachePaired("FindAssocCacheObjs", cpu1, cacheB));
}

TEST(FindAssocCacheObjs, endsAtACacheThatHasVanished)
{
    storeCaches({{cacheA, 1}, {cacheB, 12}, {cacheC, 13}});
    when("Cache Handle: 1", [] { smbiosCacheObjs.eraseObject(cacheB); });
    EXPECT_EQ(findCaches(), AssociationList{});
    EXPECT_EQ(engineLines(),
              cacheCompared(1, threeHandles) +
                  Lines{"1 FindAssocCacheObjs: SMBIOS object not found for objPath: " + cacheB});
    EXPECT_EQ(cachesOf(cpu1), Paths{});
}

TEST(FindAssocCacheObjs, keepsWhatItFoundBeforeACacheVanished)
{
    storeCaches({{cacheA, 11}, {cacheB, 12}, {cacheC, 13}});
    when("Cache Handle: 11", [] { smbiosCacheObjs.eraseObject(cacheB); });
    EXPECT_EQ(findCaches(), AssociationList{cacheTupleOf("L1CacheHandle", cacheA)});
    EXPECT_EQ(cachesOf(cpu1), Paths{cacheA});
}

TEST(FindAssocCacheObjs, missesACacheStoredMeanwhile)
{
    storeCaches({{cacheA, 11}});
    when("Cache Handle: 11", [] { storeCaches({{cacheB, 12}}); });
    EXPECT_EQ(findCaches().size(), 1U);
}

TEST(FindAssocCacheObjs, endsAtAHandleOfAnotherType)
{
    smbiosCacheObjs.insertObject(cacheB, {{"Handle", std::uint32_t{12}}});
    storeCaches({{cacheA, 11}, {cacheC, 13}});
    EXPECT_EQ(findCaches(), AssociationList{cacheTupleOf("L1CacheHandle", cacheA)});
    EXPECT_EQ(engineLines(), cacheCompared(11, threeHandles) +
                                 cachePaired("FindAssocCacheObjs", cpu1, cacheA) +
                                 Lines{"1 FindAssocCacheObjs: error: " + wrongType + " "});
}

TEST(FindAssocCacheObjs, endsAtABusError)
{
    storeCaches({{cacheA, 11}, {cacheB, 12}});
    throwBusErrorAt("Cache Handle: 11");
    EXPECT_EQ(findCaches(), AssociationList{});
    EXPECT_EQ(linesOf("FindAssocCacheObjs"),
              Lines{"1 FindAssocCacheObjs: Exception occurred " + busErrorText()});
}

TEST(FindAssocCacheObjs, endsAtAnyOtherException)
{
    storeCaches({{cacheA, 11}, {cacheB, 12}});
    throwOtherAt("Cache Handle: 11");
    EXPECT_EQ(findCaches(), AssociationList{});
    EXPECT_EQ(linesOf("FindAssocCacheObjs"), Lines{"1 FindAssocCacheObjs: exception"});
}

// GetSMBIOSCPUObjForCache

struct Found
{
    Paths cpus;
    AssociationList additions;
};

Found findCpus(const string& cachePath = cacheA)
{
    Found found;
    GetSMBIOSCPUObjForCache(cachePath, found.cpus, found.additions);
    return found;
}

TEST(GetSMBIOSCPUObjForCache, knowsNoCacheThatIsNotStored)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(engineLines(), Lines{"1 GetSMBIOSCPUObjForCache: SMbios Cache object not found for "
                                   "objPath: " +
                                   cacheA});
}

TEST(GetSMBIOSCPUObjForCache, saysThatNoProcessorIsStored)
{
    storeCaches({{cacheA, 11}});
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(engineLines(), noneFound("GetSMBIOSCPUObjForCache", cacheA));
}

TEST(GetSMBIOSCPUObjForCache, saysThatNoProcessorNamesTheCache)
{
    storeCaches({{cacheA, 1}});
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    EXPECT_EQ(findCpus().additions, AssociationList{});
    EXPECT_EQ(engineLines(),
              cacheCompared(1, threeHandles) + noneFound("GetSMBIOSCPUObjForCache", cacheA));
    EXPECT_EQ(cpusOf(cacheA), Paths{});
}

TEST(GetSMBIOSCPUObjForCache, takesEveryProcessorThatNamesTheCache)
{
    storeCaches({{cacheA, 12}});
    smbiosCPUObjs.insertObject(cpu3, smbiosCpu(3, {12, 1, 2}));
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, {1, 2, 12}));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2, {1, 2, 3}));
    const Found found = findCpus();
    EXPECT_EQ(found.cpus, (Paths{cpu1, cpu3}));
    EXPECT_EQ(found.additions, (AssociationList{cacheTupleOf("L3CacheHandle", cacheA),
                                                cacheTupleOf("L1CacheHandle", cacheA)}));
    EXPECT_EQ(cpusOf(cacheA), (Paths{cpu1, cpu3}));
    EXPECT_EQ(engineLines(), cacheCompared(12, {1, 2, 12}) +
                                 cachePaired("GetSMBIOSCPUObjForCache", cpu1, cacheA) +
                                 cacheCompared(12, {1, 2, 3}) + cacheCompared(12, {12, 1, 2}) +
                                 cachePaired("GetSMBIOSCPUObjForCache", cpu3, cacheA));
}

TEST(GetSMBIOSCPUObjForCache, passesOverAProcessorWithoutProperties)
{
    storeCaches({{cacheA, 12}});
    smbiosCPUObjs.insertObject(cpu1, {});
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2, threeHandles));
    EXPECT_EQ(findCpus().cpus, Paths{cpu2});
    EXPECT_EQ(engineLines(),
              Lines{"1 GetSMBIOSCPUObjForCache: SMBIOS object properties could not be obtained "
                    "for objPath: " +
                    cpu1} +
                  cacheCompared(12, threeHandles) +
                  cachePaired("GetSMBIOSCPUObjForCache", cpu2, cacheA));
}

TEST(GetSMBIOSCPUObjForCache, matchesNothingForACacheWithoutProperties)
{
    smbiosCacheObjs.insertObject(cacheA, {});
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(engineLines(), noneFound("GetSMBIOSCPUObjForCache", cacheA));
}

TEST(GetSMBIOSCPUObjForCache, endsAtAProcessorThatHasVanished)
{
    storeCaches({{cacheA, 12}});
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, {1, 2, 3}));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2, threeHandles));
    smbiosCPUObjs.insertObject(cpu3, smbiosCpu(3, threeHandles));
    when("CPU L3 Cache Handle: 3", [] { smbiosCPUObjs.eraseObject(cpu2); });
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(engineLines(),
              cacheCompared(12, {1, 2, 3}) +
                  Lines{"1 GetSMBIOSCPUObjForCache: SMBIOS object not found for objPath: " + cpu2});
    EXPECT_EQ(cpusOf(cacheA), Paths{});
}

TEST(GetSMBIOSCPUObjForCache, endsAtAHandleOfAnotherType)
{
    storeCaches({{cacheA, 12}});
    smbiosCPUObjs.insertObject(cpu1, {{"L1CacheHandle", string{"12"}}});
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2, threeHandles));
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(engineLines(), (Lines{"9 CompareCacheAssocProps: Cache Handle: 12",
                                    "1 GetSMBIOSCPUObjForCache: Exception: " + wrongType}));
}

TEST(GetSMBIOSCPUObjForCache, endsAtABusError)
{
    storeCaches({{cacheA, 12}});
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    throwBusErrorAt("Cache Handle: 12");
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(linesOf("GetSMBIOSCPUObjForCache"),
              Lines{"1 GetSMBIOSCPUObjForCache: Exception: " + busErrorText()});
}

TEST(GetSMBIOSCPUObjForCache, endsAtAnyOtherException)
{
    storeCaches({{cacheA, 12}});
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    throwOtherAt("Cache Handle: 12");
    EXPECT_EQ(findCpus().cpus, Paths{});
    EXPECT_EQ(linesOf("GetSMBIOSCPUObjForCache"),
              Lines{"1 GetSMBIOSCPUObjForCache: Unknown exception"});
}

// AssociateCacheObjs

AssociationList associate(const string& cpuPath = cpu1)
{
    AssociationList additions;
    AssociateCacheObjs(cpuPath, additions);
    return additions;
}

Lines collected(const Paths& cachePaths)
{
    Lines lines;
    for (const string& path : cachePaths)
    {
        lines.push_back("1 AssociateCacheObjs: associated cacheobjpath  = " + path);
    }
    return lines;
}

TEST(AssociateCacheObjs, refusesAnEmptyPath)
{
    pairCaches("", {cacheA});
    EXPECT_EQ(associate(""), AssociationList{});
    EXPECT_EQ(engineLines(), Lines{"1 AssociateCacheObjs: SMBIOS path is empty"});
    EXPECT_FALSE(isHeld(cpuCacheAssociationPairsMutex));
}

TEST(AssociateCacheObjs, saysThatTheProcessorHasNoCaches)
{
    pairCaches(cpu2, {cacheA});
    EXPECT_EQ(associate(), AssociationList{});
    EXPECT_EQ(engineLines(),
              Lines{"4 AssociateCacheObjs: No associations found for path: " + cpu1});
    EXPECT_FALSE(isHeld(cpuCacheAssociationPairsMutex));
}

TEST(AssociateCacheObjs, makesATupleOfEachRecordedCache)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    storeCaches({{cacheA, 13}, {cacheB, 11}});
    pairCaches(cpu1, {cacheB, cacheA});
    AssociationList additions = {cpuTupleOf(cpu1)};
    AssociateCacheObjs(cpu1, additions);
    EXPECT_EQ(additions, (AssociationList{cpuTupleOf(cpu1), cacheTupleOf("L1CacheHandle", cacheB),
                                          cacheTupleOf("L3CacheHandle", cacheA)}));
    EXPECT_EQ(engineLines(), collected({cacheB, cacheA}) + cacheCompared(11, threeHandles) +
                                 Lines{"9 getMatchingHandle: matching_cache_handle L1CacheHandle"} +
                                 cacheCompared(13, threeHandles) +
                                 Lines{"9 getMatchingHandle: matching_cache_handle L3CacheHandle"});
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheB, cacheA}));
}

TEST(AssociateCacheObjs, callsACacheThatMatchesNoLongerCache)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    storeCaches({{cacheA, 11}, {cacheB, 1}});
    smbiosCacheObjs.insertObject(cacheC, {});
    pairCaches(cpu1, {cacheA, cacheB, cacheC, cacheD});
    EXPECT_EQ(associate(),
              (AssociationList{cacheTupleOf("L1CacheHandle", cacheA), cacheTupleOf("cache", cacheB),
                               cacheTupleOf("cache", cacheC), cacheTupleOf("cache", cacheD)}));
}

TEST(AssociateCacheObjs, callsTheCachesOfAVanishedProcessorCache)
{
    storeCaches({{cacheA, 11}});
    pairCaches(cpu1, {cacheA});
    EXPECT_EQ(associate(), AssociationList{cacheTupleOf("cache", cacheA)});
    EXPECT_EQ(engineLines(),
              collected({cacheA}) +
                  Lines{"1 getMatchingHandle: SMBIOS object not found for objPath: " + cpu1});
}

TEST(AssociateCacheObjs, holdsTheLockWhileItAsksForHandles)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    storeCaches({{cacheA, 11}, {cacheB, 12}});
    pairCaches(cpu1, {cacheA, cacheB});
    std::vector<bool> held;
    recorded_log::setHook([&](const LogLine&)
                          { held.push_back(isHeld(cpuCacheAssociationPairsMutex)); });
    associate();
    EXPECT_EQ(held, std::vector<bool>(recorded_log::lines().size(), true));
    EXPECT_FALSE(isHeld(cpuCacheAssociationPairsMutex));
}

TEST(AssociateCacheObjs, releasesTheLockBeforeItReportsAFailure)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    storeCaches({{cacheA, 11}});
    smbiosCacheObjs.insertObject(cacheB, {{"Handle", std::int16_t{12}}});
    pairCaches(cpu1, {cacheA, cacheB, cacheC});
    bool held = true;
    when("Exception: " + wrongType, [&] { held = isHeld(cpuCacheAssociationPairsMutex); });
    EXPECT_EQ(associate(), AssociationList{cacheTupleOf("L1CacheHandle", cacheA)});
    EXPECT_EQ(linesOf("AssociateCacheObjs"),
              collected({cacheA, cacheB, cacheC}) +
                  Lines{"1 AssociateCacheObjs: Exception: " + wrongType});
    EXPECT_FALSE(held);
}

TEST(AssociateCacheObjs, endsAtABusError)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    storeCaches({{cacheA, 11}});
    pairCaches(cpu1, {cacheA});
    throwBusErrorAt("Cache Handle: 11");
    EXPECT_EQ(associate(), AssociationList{});
    EXPECT_EQ(linesOf("AssociateCacheObjs"),
              collected({cacheA}) +
                  Lines{"1 AssociateCacheObjs: Exception occurred " + busErrorText()});
    EXPECT_FALSE(isHeld(cpuCacheAssociationPairsMutex));
}

TEST(AssociateCacheObjs, endsAtAnyOtherException)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, threeHandles));
    storeCaches({{cacheA, 11}});
    pairCaches(cpu1, {cacheA});
    throwOtherAt("Cache Handle: 11");
    EXPECT_EQ(associate(), AssociationList{});
    EXPECT_EQ(linesOf("AssociateCacheObjs"),
              collected({cacheA}) + Lines{"1 AssociateCacheObjs: Unknown exception"});
    EXPECT_FALSE(isHeld(cpuCacheAssociationPairsMutex));
}

} // namespace
