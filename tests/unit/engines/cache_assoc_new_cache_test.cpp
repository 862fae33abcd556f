/* What is written when a cache has been stored. */
#include "doubles/cpu_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "engines/cache_assoc.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace cpu_world;
using std::string;

const Handles handles = {11, 12, 13};

Lines line(int level, const string& text)
{
    return {std::to_string(level) + " AddCacheAssoc: " + text};
}

Lines cachePairedWith(const string& cpuPath)
{
    return cachePaired("GetSMBIOSCPUObjForCache", cpuPath, cacheA);
}

/** A processor of this number that names cacheA's handle, 13, as its third level. */
void storeCpu(const string& path, int number)
{
    smbiosCPUObjs.insertObject(path, smbiosCpu(number, handles));
}

void storeCacheA()
{
    smbiosCacheObjs.insertObject(cacheA, cache(13));
}

TEST(AddCacheAssoc, leavesACacheThatIsPaired)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    pairCpus(cpu1, kovd1);
    pairCaches(cpu2, {cacheA}); // with whichever processor
    AddCacheAssoc(cacheA);
    EXPECT_EQ(engineLines(), line(4, cacheA + " SMBIOS object is already fully associated "));
    EXPECT_TRUE(recorded_requests::all().empty());
}

TEST(AddCacheAssoc, knowsNoCacheThatIsNotStored)
{
    storeCpu(cpu1, 1);
    AddCacheAssoc(cacheA);
    EXPECT_EQ(engineLines(), line(1, cacheA + " SMbios Cache object not found for objPath"));
}

TEST(AddCacheAssoc, writesNothingForACacheThatNobodyNames)
{
    smbiosCacheObjs.insertObject(cacheA, cache(9));
    storeCpu(cpu1, 1);
    pairCpus(cpu1, kovd1);
    AddCacheAssoc(cacheA);
    EXPECT_EQ(engineLines(),
              cacheCompared(9, handles) + Lines{"1 GetSMBIOSCPUObjForCache: " + cacheA +
                                                " No association found for objPath"});
}

TEST(AddCacheAssoc, addsTheCacheToItsProcessorsList)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    pairCpus(cpu1, kovd1);
    setWritten(kovd1, {cpuTupleOf(cpu1)});
    AddCacheAssoc(cacheA);
    const AssociationList list = {cpuTupleOf(cpu1), cacheTupleOf("L3CacheHandle", cacheA)};
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, list}}));
    EXPECT_EQ(written(kovd1), list);
    EXPECT_EQ(cpusOf(cacheA), Paths{cpu1});
    EXPECT_EQ(engineLines(), cacheCompared(13, handles) + cachePairedWith(cpu1) +
                                 line(1, kovd1 + " associated kovd objpath") +
                                 listRead(kovd1, {cpuTupleOf(cpu1)}) + listStored(kovd1, list));
}

TEST(AddCacheAssoc, stopsAtTheSecondEventOfACache)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    pairCpus(cpu1, kovd1);
    AddCacheAssoc(cacheA);
    recorded_log::clear();
    AddCacheAssoc(cacheA);
    EXPECT_EQ(engineLines(), line(4, cacheA + " SMBIOS object is already fully associated "));
    EXPECT_EQ(recorded_requests::all().size(), 1U);
}

TEST(AddCacheAssoc, findsThePartnerOfAProcessorThatHasNone)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    AddCacheAssoc(cacheA);
    const AssociationList list = {cacheTupleOf("L3CacheHandle", cacheA), cpuTupleOf(cpu1)};
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, list}}));
    EXPECT_EQ(written(kovd1), list);
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_EQ(engineLines(), cacheCompared(13, handles) + cachePairedWith(cpu1) +
                                 cpuPaired("IterateKOVDCPUObjs", cpu1, kovd1) +
                                 line(1, kovd1 + " associated kovd objpath") + noListRead(kovd1) +
                                 line(1, "GetCurrentAssocTuples failed") +
                                 firstListStored(kovd1, list));
}

TEST(AddCacheAssoc, keepsThePairOfAProcessorWithoutPartner)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    AddCacheAssoc(cacheA);
    EXPECT_EQ(cpusOf(cacheA), Paths{cpu1});
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(),
              cacheCompared(13, handles) + cachePairedWith(cpu1) +
                  Lines{"1 IterateKOVDCPUObjs: " + cpu1 + " No association found for objPath"} +
                  line(4, cpu1 + " No associations found for path"));
}

/** The additions of the first processor, its own tuple among them, go to the second one too. */
TEST(AddCacheAssoc, keepsOneListOfAdditionsForAllProcessors)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2, {13, 1, 2}));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(2));
    AddCacheAssoc(cacheA);
    const AssociationList first = {cacheTupleOf("L3CacheHandle", cacheA),
                                   cacheTupleOf("L1CacheHandle", cacheA), cpuTupleOf(cpu1)};
    AssociationList second = first;
    second.push_back(cpuTupleOf(cpu2));
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, first}, {kovd2, second}}));
    EXPECT_EQ(written(kovd1), first);
    EXPECT_EQ(written(kovd2), second);
    EXPECT_EQ(cpusOf(cacheA), (Paths{cpu1, cpu2}));
}

TEST(AddCacheAssoc, writesOneTupleForTwoProcessorsThatNameItAlike)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    storeCpu(cpu2, 2);
    pairCpus(cpu1, kovd1);
    pairCpus(cpu2, kovd2);
    AddCacheAssoc(cacheA);
    const AssociationList list = {cacheTupleOf("L3CacheHandle", cacheA)};
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, list}, {kovd2, list}}));
}

TEST(AddCacheAssoc, endsAltogetherWhenAProcessorHasAllTuples)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    storeCpu(cpu2, 2);
    pairCpus(cpu1, kovd1);
    pairCpus(cpu2, kovd2);
    const AssociationList list = {cacheTupleOf("L3CacheHandle", cacheA)};
    setWritten(kovd1, list);
    AddCacheAssoc(cacheA);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(written(kovd2), std::nullopt);
    EXPECT_EQ(linesOf("AddCacheAssoc"),
              line(1, kovd1 + " associated kovd objpath") + line(1, "All same tuples"));
}

TEST(AddCacheAssoc, goesOnBehindAProcessorWithoutPartner)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    storeCpu(cpu2, 2);
    pairCpus(cpu2, kovd2);
    AddCacheAssoc(cacheA);
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd2, {cacheTupleOf("L3CacheHandle", cacheA)}}}));
    EXPECT_EQ(linesOf("AddCacheAssoc"), line(4, cpu1 + " No associations found for path") +
                                            line(1, kovd2 + " associated kovd objpath") +
                                            line(1, "GetCurrentAssocTuples failed"));
}

TEST(AddCacheAssoc, goesOnWhenAHandOverFails)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    storeCpu(cpu2, 2);
    pairCpus(cpu1, kovd1);
    pairCpus(cpu2, kovd2);
    setWritten(kovd2, {foreignTuple()});
    recorded_requests::setResult(22);
    when("OneWayChannel_Execute failed, execRet = 22", [] { recorded_requests::setResult(0); });
    AddCacheAssoc(cacheA);
    EXPECT_EQ(written(kovd1), std::nullopt);
    const AssociationList list = {foreignTuple(), cacheTupleOf("L3CacheHandle", cacheA)};
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd2, list}}));
    EXPECT_EQ(written(kovd2), list);
    EXPECT_EQ(linesOf("AddCacheAssoc"), line(1, kovd1 + " associated kovd objpath") +
                                            line(1, "GetCurrentAssocTuples failed") +
                                            line(1, "OneWayChannel_Execute failed, execRet = 22") +
                                            line(1, kovd2 + " associated kovd objpath"));
}

TEST(AddCacheAssoc, skipsAProcessorWithoutAPath)
{
    storeCacheA();
    storeCpu("", 1);
    storeCpu(cpu2, 2);
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    pairCpus(cpu2, kovd2);
    AddCacheAssoc(cacheA);
    EXPECT_EQ(linesOf("IterateKOVDCPUObjs"), Lines{});
    EXPECT_EQ(recorded_requests::all().size(), 1U);
    EXPECT_EQ(cpusOf(cacheA), (Paths{"", cpu2}));
}

TEST(AddCacheAssoc, skipsAPartnerWithoutAPath)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    storeCpu(cpu2, 2);
    pairCpus(cpu1, "");
    pairCpus(cpu2, kovd2);
    AddCacheAssoc(cacheA);
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd2, {cacheTupleOf("L3CacheHandle", cacheA)}}}));
    EXPECT_EQ(linesOf("AddCacheAssoc"), line(1, " associated kovd objpath") +
                                            line(1, kovd2 + " associated kovd objpath") +
                                            line(1, "GetCurrentAssocTuples failed"));
}

TEST(AddCacheAssoc, looksForNoPartnerOfAProcessorThatHasVanished)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    when("Cache " + cacheA, [] { smbiosCPUObjs.eraseObject(cpu1); });
    AddCacheAssoc(cacheA);
    EXPECT_EQ(engineLines(), cacheCompared(13, handles) + cachePairedWith(cpu1) +
                                 line(1, cpu1 + " SMBIOS object not found for objPath") +
                                 line(4, cpu1 + " No associations found for path"));
}

TEST(AddCacheAssoc, looksForNoPartnerOfAProcessorThatHasLostItsProperties)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    when("Cache " + cacheA, [] { smbiosCPUObjs.insertObject(cpu1, {}); });
    AddCacheAssoc(cacheA);
    EXPECT_EQ(engineLines(),
              cacheCompared(13, handles) + cachePairedWith(cpu1) +
                  line(1, cpu1 + " SMBIOS object properties could not be obtained for objPath") +
                  line(4, cpu1 + " No associations found for path"));
}

/** Nobody pairs the processor here, but another thread has done so meanwhile. */
TEST(AddCacheAssoc, writesForAVanishedProcessorThatGotAPartner)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    const string vanished = cpu1 + " SMBIOS object not found for objPath";
    recorded_log::setHook(
        [&](const LogLine& logged)
        {
            if (logged.text == "Cache " + cacheA)
            {
                smbiosCPUObjs.eraseObject(cpu1);
            }
            if (logged.text == vanished)
            {
                pairCpus(cpu1, kovd1);
            }
        });
    AddCacheAssoc(cacheA);
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd1, {cacheTupleOf("L3CacheHandle", cacheA)}}}));
}

TEST(AddCacheAssoc, endsAtAnException)
{
    storeCacheA();
    storeCpu(cpu1, 1);
    storeCpu(cpu2, 2);
    pairCpus(cpu1, kovd1);
    pairCpus(cpu2, kovd2);
    const string partner = kovd1 + " associated kovd objpath";
    struct Row
    {
        void (*throwAt)(const string&);
        string line;
    };
    for (const Row& row : {Row{throwStandardErrorAt, "Exception in AddCacheAssoc: out of luck"},
                           Row{throwBusErrorAt, "Exception in AddCacheAssoc: " + busErrorText()},
                           Row{throwOtherAt, "Unknown Exception in AddCacheAssoc"}})
    {
        recorded_log::clear();
        {
            MutexLock lock(cpuCacheAssociationPairsMutex);
            cpuCacheAssociationPairs = {};
        }
        row.throwAt(partner);
        AddCacheAssoc(cacheA);
        EXPECT_EQ(linesOf("AddCacheAssoc"), line(1, partner) + line(1, row.line));
        EXPECT_TRUE(isPair(cpu1, kovd1)); // and the table is not locked
    }
    EXPECT_TRUE(recorded_requests::all().empty());
}

} // namespace
