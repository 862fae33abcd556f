/* What one processor, of either side, still lacks, and what is written for it. */
#include "doubles/cpu_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_assoc.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace cpu_world;
using std::string;

const Handles handles = {11, 12, 13};

Lines smbiosLine(int level, const string& text)
{
    return {std::to_string(level) + " AssocForSmbiosCPU: " + text};
}

Lines kovdLine(int level, const string& text)
{
    return {std::to_string(level) + " AssocForKovdCPU: " + text};
}

Lines noCacheFound(const string& cpuPath)
{
    return {"1 FindAssocCacheObjs: " + cpuPath + " No association found for objPath"};
}

Lines noPartnerFound(const string& cpuPath)
{
    return {"1 IterateKOVDCPUObjs: " + cpuPath + " No association found for objPath"};
}

/** The processor with three caches, in a world of their own. */
void storeCpuAndCaches()
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, handles));
    smbiosCacheObjs.insertObject(cacheA, cache(11));
    smbiosCacheObjs.insertObject(cacheB, cache(12));
    smbiosCacheObjs.insertObject(cacheC, cache(13));
}

AssociationList wholeList()
{
    return {cpuTupleOf(cpu1), cacheTupleOf("L1CacheHandle", cacheA),
            cacheTupleOf("L2CacheHandle", cacheB), cacheTupleOf("L3CacheHandle", cacheC)};
}

Lines cachesFound()
{
    return cacheCompared(11, handles) + cachePaired("FindAssocCacheObjs", cpu1, cacheA) +
           cacheCompared(12, handles) + cachePaired("FindAssocCacheObjs", cpu1, cacheB) +
           cacheCompared(13, handles) + cachePaired("FindAssocCacheObjs", cpu1, cacheC);
}

// AssocForSmbiosCPU

TEST(AssocForSmbiosCPU, leavesAProcessorWithAPartnerAndThreeCaches)
{
    storeCpuAndCaches();
    pairCpus(cpu1, kovd1);
    pairCaches(cpu1, {cacheC, cacheA, cacheB});
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(engineLines(),
              cacheCounted({cacheC, cacheA, cacheB}) +
                  smbiosLine(4, cpu1 + " SMBIOS object is already fully associated "));
    EXPECT_TRUE(recorded_requests::all().empty());
}

TEST(AssocForSmbiosCPU, looksAgainAtAProcessorWithAnotherNumberOfCaches)
{
    for (const Paths& caches :
         {Paths{cacheA}, Paths{cacheA, cacheB}, Paths{cacheA, cacheB, cacheC, cacheD}})
    {
        SCOPED_TRACE(caches.size());
        const string cpuPath = cpu1 + std::to_string(caches.size());
        const string kovdPath = kovd1 + std::to_string(caches.size());
        smbiosCPUObjs.insertObject(cpuPath, smbiosCpu(1, handles));
        pairCpus(cpuPath, kovdPath);
        pairCaches(cpuPath, caches);
        recorded_log::clear();
        AssocForSmbiosCPU(cpuPath);
        // Neither search runs, so there is nothing to add.
        EXPECT_EQ(engineLines(),
                  cacheCounted(caches) + smbiosLine(1, kovdPath + " associated kovd objpath"));
        EXPECT_TRUE(recorded_requests::all().empty());
    }
}

TEST(AssocForSmbiosCPU, looksAgainAtAProcessorWithThreeCachesAndNoPartner)
{
    storeCpuAndCaches();
    pairCaches(cpu1, {cacheA, cacheB, cacheC});
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(engineLines(),
              noPartnerFound(cpu1) + smbiosLine(4, cpu1 + " No associations found for path"));
}

TEST(AssocForSmbiosCPU, knowsNoProcessorThatIsNotStored)
{
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(engineLines(), smbiosLine(1, "SMBIOS object not found for objPath: " + cpu1));
}

TEST(AssocForSmbiosCPU, findsNothingForAProcessorWithoutProperties)
{
    storeCpuAndCaches();
    smbiosCPUObjs.insertObject(cpu1, {});
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(engineLines(), noPartnerFound(cpu1) + noCacheFound(cpu1) +
                                 smbiosLine(4, cpu1 + " No associations found for path"));
}

TEST(AssocForSmbiosCPU, writesTheProcessorAndItsCaches)
{
    storeCpuAndCaches();
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, wholeList()}}));
    EXPECT_EQ(written(kovd1), wholeList());
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
    EXPECT_EQ(engineLines(), cpuPaired("IterateKOVDCPUObjs", cpu1, kovd1) + cachesFound() +
                                 smbiosLine(1, kovd1 + " associated kovd objpath") +
                                 noListRead(kovd1) + smbiosLine(1, "GetCurrentAssocTuples failed") +
                                 firstListStored(kovd1, wholeList()));
}

TEST(AssocForSmbiosCPU, writesAProcessorWithoutCaches)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {cpuTupleOf(cpu1)}}}));
}

TEST(AssocForSmbiosCPU, writesNothingBeforeAPartnerArrives)
{
    storeCpuAndCaches();
    AssocForSmbiosCPU(cpu1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
    EXPECT_EQ(engineLines(), noPartnerFound(cpu1) + cachesFound() +
                                 smbiosLine(4, cpu1 + " No associations found for path"));
}

TEST(AssocForSmbiosCPU, addsToTheListLastWritten)
{
    storeCpuAndCaches();
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    const AssociationList before = {foreignTuple(), cacheTupleOf("L2CacheHandle", cacheB)};
    const AssociationList after = {foreignTuple(), cacheTupleOf("L2CacheHandle", cacheB),
                                   cpuTupleOf(cpu1), cacheTupleOf("L1CacheHandle", cacheA),
                                   cacheTupleOf("L3CacheHandle", cacheC)};
    setWritten(kovd1, before);
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, after}}));
    EXPECT_EQ(written(kovd1), after);
    EXPECT_EQ(engineLines(), cpuPaired("IterateKOVDCPUObjs", cpu1, kovd1) + cachesFound() +
                                 smbiosLine(1, kovd1 + " associated kovd objpath") +
                                 listRead(kovd1, before) + listStored(kovd1, after));
}

TEST(AssocForSmbiosCPU, addsTheCachesOfAPairedProcessor)
{
    storeCpuAndCaches();
    pairCpus(cpu1, kovd1);
    setWritten(kovd1, {cpuTupleOf(cpu1)});
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, wholeList()}}));
    EXPECT_EQ(engineLines(), cachesFound() + smbiosLine(1, kovd1 + " associated kovd objpath") +
                                 listRead(kovd1, {cpuTupleOf(cpu1)}) +
                                 listStored(kovd1, wholeList()));
}

TEST(AssocForSmbiosCPU, addsToAnEmptyList)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    setWritten(kovd1, {});
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {cpuTupleOf(cpu1)}}}));
    EXPECT_FALSE(recorded_log::contains("GetCurrentAssocTuples failed"));
}

TEST(AssocForSmbiosCPU, writesNothingThatIsThereAlready)
{
    storeCpuAndCaches();
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    setWritten(kovd1, wholeList());
    AssocForSmbiosCPU(cpu1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(), cpuPaired("IterateKOVDCPUObjs", cpu1, kovd1) + cachesFound() +
                                 smbiosLine(1, kovd1 + " associated kovd objpath") +
                                 listRead(kovd1, wholeList()) + smbiosLine(1, "All same tuples"));
}

TEST(AssocForSmbiosCPU, writesNothingForARefusedPair)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    pairCpus(cpu2, kovd1);
    AssocForSmbiosCPU(cpu1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(
        engineLines(),
        Lines{"5 IterateKOVDCPUObjs: Association " + kovd1 + " not added successfully in the map"} +
            noCacheFound(cpu1) + smbiosLine(4, cpu1 + " No associations found for path"));
}

TEST(AssocForSmbiosCPU, writesNothingToAPartnerWithoutAPath)
{
    storeCpuAndCaches();
    pairCpus(cpu1, "");
    AssocForSmbiosCPU(cpu1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(), cachesFound() + smbiosLine(1, " associated kovd objpath"));
}

TEST(AssocForSmbiosCPU, keepsTheOlderListWhenTheHandOverFails)
{
    storeCpuAndCaches();
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    setWritten(kovd1, {foreignTuple()});
    recorded_requests::setResult(-5);
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::refused(), 1U);
    EXPECT_EQ(written(kovd1), AssociationList{foreignTuple()});
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
    EXPECT_EQ(engineLines(), cpuPaired("IterateKOVDCPUObjs", cpu1, kovd1) + cachesFound() +
                                 smbiosLine(1, kovd1 + " associated kovd objpath") +
                                 listRead(kovd1, {foreignTuple()}) +
                                 smbiosLine(1, "OneWayChannel_Execute failed, execRet = -5"));
}

TEST(AssocForSmbiosCPU, writesOnWithoutTheCachesThatCannotBeRead)
{
    smbiosCPUObjs.insertObject(cpu1, sample::with(smbiosCpu(1), "L1CacheHandle", std::uint8_t{11}));
    smbiosCacheObjs.insertObject(cacheA, cache(11));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForSmbiosCPU(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {cpuTupleOf(cpu1)}}}));
    EXPECT_EQ(linesOf("FindAssocCacheObjs"),
              Lines{"1 FindAssocCacheObjs: error: std::get: wrong index for variant "});
}

TEST(AssocForSmbiosCPU, endsAtAnException)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    pairCpus(cpu1, kovd1);
    const string partner = kovd1 + " associated kovd objpath";
    struct Row
    {
        void (*throwAt)(const string&);
        string line;
    };
    for (const Row& row :
         {Row{throwStandardErrorAt, "Exception in AssocForSmbiosCPU: out of luck"},
          Row{throwBusErrorAt, "Exception in AssocForSmbiosCPU: " + busErrorText()},
          Row{throwOtherAt, "Unknown Exception in AssocForSmbiosCPU"}})
    {
        recorded_log::clear();
        row.throwAt(partner);
        AssocForSmbiosCPU(cpu1);
        EXPECT_EQ(linesOf("AssocForSmbiosCPU"), smbiosLine(1, partner) + smbiosLine(1, row.line));
        EXPECT_TRUE(isPair(cpu1, kovd1)); // and the table is not locked
    }
    EXPECT_TRUE(recorded_requests::all().empty());
}

// AssocForKovdCPU

TEST(AssocForKovdCPU, knowsNoProcessorThatIsNotStored)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(engineLines(), kovdLine(1, "KOVD object not found for objPath: " + kovd1));
}

TEST(AssocForKovdCPU, searchesNothingForAProcessorWithoutProperties)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, {});
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(engineLines(), kovdLine(1, "KOVD object not found for objPath: " + kovd1));
}

TEST(AssocForKovdCPU, writesNothingWithoutAMatch)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(2));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForKovdCPU(kovd1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(),
              Lines{"1 IterateSMBIOSCPUObjs: " + kovd1 + " No association found for objPath"});
}

TEST(AssocForKovdCPU, writesTheProcessorAndItsRecordedCaches)
{
    storeCpuAndCaches();
    AssocForSmbiosCPU(cpu1); // alone as yet: its caches are recorded
    recorded_log::clear();
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, wholeList()}}));
    EXPECT_EQ(written(kovd1), wholeList());
    Lines asked;
    for (const auto& [path, handle] :
         {std::pair(cacheA, 11), std::pair(cacheB, 12), std::pair(cacheC, 13)})
    {
        asked = asked + cacheCompared(static_cast<std::uint16_t>(handle), handles) +
                Lines{"9 getMatchingHandle: matching_cache_handle L" + std::to_string(handle - 10) +
                      "CacheHandle"};
    }
    const string recorded = "1 AssociateCacheObjs: associated cacheobjpath  = ";
    const Lines collected = {recorded + cacheA, recorded + cacheB, recorded + cacheC};
    EXPECT_EQ(engineLines(), cpuPaired("IterateSMBIOSCPUObjs", cpu1, kovd1) + collected + asked +
                                 kovdLine(9, kovd1 + " Setting association for kovd object:") +
                                 firstListStored(kovd1, wholeList()));
}

TEST(AssocForKovdCPU, replacesTheListLastWritten)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    setWritten(kovd1, {foreignTuple(), cpuTupleOf(cpu1), cacheTupleOf("cache", cacheA)});
    AssocForKovdCPU(kovd1);
    const AssociationList list = {cpuTupleOf(cpu1)};
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, list}}));
    EXPECT_EQ(written(kovd1), list);
    EXPECT_EQ(engineLines(),
              cpuPaired("IterateSMBIOSCPUObjs", cpu1, kovd1) +
                  Lines{"4 AssociateCacheObjs: No associations found for path: " + cpu1} +
                  kovdLine(9, kovd1 + " Setting association for kovd object:") +
                  listStored(kovd1, list));
}

TEST(AssocForKovdCPU, writesTheSameListAgain)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForKovdCPU(kovd1);
    AssocForKovdCPU(kovd1);
    const AssociationRequest request{kovd1, {cpuTupleOf(cpu1)}};
    EXPECT_EQ(recorded_requests::all(), (Requests{request, request}));
    EXPECT_FALSE(recorded_log::contains("All same tuples"));
}

TEST(AssocForKovdCPU, doesNotSearchForCaches)
{
    storeCpuAndCaches();
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {cpuTupleOf(cpu1)}}}));
    EXPECT_EQ(cachesOf(cpu1), Paths{});
}

TEST(AssocForKovdCPU, writesForARefusedPairToo)
{
    storeCpuAndCaches();
    pairCpus(cpu1, kovd2);
    pairCaches(cpu1, {cacheB});
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd1, {cpuTupleOf(cpu1), cacheTupleOf("L2CacheHandle", cacheB)}}}));
    EXPECT_TRUE(isPair(cpu1, kovd2));
}

TEST(AssocForKovdCPU, asksForNoCachesOfAProcessorWithoutAPath)
{
    smbiosCPUObjs.insertObject("", smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {cpuTupleOf("")}}}));
    EXPECT_EQ(linesOf("AssociateCacheObjs"), Lines{});
}

TEST(AssocForKovdCPU, keepsTheOlderListWhenTheHandOverFails)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    recorded_requests::setResult(3);
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(recorded_requests::refused(), 1U);
    EXPECT_EQ(written(kovd1), std::nullopt);
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_EQ(linesOf("AssocForKovdCPU"),
              kovdLine(9, kovd1 + " Setting association for kovd object:") +
                  kovdLine(1, "OneWayChannel_Execute failed, execRet = 3"));

    setWritten(kovd1, {foreignTuple()});
    AssocForKovdCPU(kovd1);
    EXPECT_EQ(written(kovd1), AssociationList{foreignTuple()});
}

TEST(AssocForKovdCPU, endsAtAnException)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    const string setting = kovd1 + " Setting association for kovd object:";
    struct Row
    {
        void (*throwAt)(const string&);
        string line;
    };
    for (const Row& row : {Row{throwStandardErrorAt, "Exception: out of luck"},
                           Row{throwBusErrorAt, "Exception: " + busErrorText()},
                           Row{throwOtherAt, "Unknown exception"}})
    {
        recorded_log::clear();
        row.throwAt(setting);
        AssocForKovdCPU(kovd1);
        EXPECT_EQ(linesOf("AssocForKovdCPU"), kovdLine(9, setting) + kovdLine(1, row.line));
    }
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(written(kovd1), std::nullopt);
}

} // namespace
