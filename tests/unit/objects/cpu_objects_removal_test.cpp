/* How processors and caches leave the store. */
#include "doubles/cpu_world.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "objects/cpu_objects.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace cpu_world;
using std::string;

const Handles handles = {11, 12, 13};

Lines line(const string& function, int level, const string& text)
{
    return {std::to_string(level) + " " + function + ": " + text};
}

AssociationList wholeList()
{
    return {cpuTupleOf(cpu1), cacheTupleOf("L1CacheHandle", cacheA),
            cacheTupleOf("L2CacheHandle", cacheB), cacheTupleOf("L3CacheHandle", cacheC)};
}

/** A processor with partner, three caches and its whole list written. */
void storeWholeProcessor()
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, handles));
    smbiosCacheObjs.insertObject(cacheA, cache(11));
    smbiosCacheObjs.insertObject(cacheB, cache(12));
    smbiosCacheObjs.insertObject(cacheC, cache(13));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    pairCpus(cpu1, kovd1);
    pairCaches(cpu1, {cacheA, cacheB, cacheC});
    setWritten(kovd1, wholeList());
}

// removeKOVDCPUAssoc

Lines kovdLine(int level, const string& text)
{
    return line("removeKOVDCPUAssoc", level, text);
}

const string kovdRemoved = kovd1 + " KOVD path removed from the map:";
const string listErased = kovd1 + " CPUKOVDAssocTuples entry eraised";

TEST(removeKOVDCPUAssoc, forgetsTheObjectAndItsList)
{
    storeWholeProcessor();
    setWritten(kovd2, {foreignTuple()});
    removeKOVDCPUAssoc(kovd1);
    EXPECT_FALSE(kovdCPUObjs.hasObject(kovd1));
    EXPECT_EQ(written(kovd1), std::nullopt);
    EXPECT_EQ(written(kovd2), AssociationList{foreignTuple()});
    EXPECT_EQ(engineLines(), kovdLine(5, kovdRemoved) + kovdLine(9, listErased));
}

TEST(removeKOVDCPUAssoc, leavesThePairsAndWritesNothing)
{
    storeWholeProcessor();
    removeKOVDCPUAssoc(kovd1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_TRUE(smbiosCPUObjs.hasObject(cpu1));
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheB, cacheC}));
}

TEST(removeKOVDCPUAssoc, forgetsAnEmptyListToo)
{
    setWritten(kovd1, {});
    removeKOVDCPUAssoc(kovd1);
    EXPECT_EQ(written(kovd1), std::nullopt);
    EXPECT_EQ(engineLines(), kovdLine(9, listErased));
}

TEST(removeKOVDCPUAssoc, forgetsAnObjectWithoutList)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    removeKOVDCPUAssoc(kovd1);
    EXPECT_EQ(engineLines(), kovdLine(5, kovdRemoved));
}

TEST(removeKOVDCPUAssoc, saysNothingOfAnUnknownObject)
{
    removeKOVDCPUAssoc(kovd1);
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(removeKOVDCPUAssoc, endsAtAnException)
{
    struct Row
    {
        void (*throwAt)(const string&);
        string text;
    };
    for (const Row& row :
         {Row{throwBusErrorAt, "Exception occurred " + busErrorText()},
          Row{throwStandardErrorAt, "failed to read message properties[out of luck]"},
          Row{throwOtherAt, "failed to read message"}})
    {
        SCOPED_TRACE(row.text);
        resetStore();
        storeWholeProcessor();
        row.throwAt(kovdRemoved);
        removeKOVDCPUAssoc(kovd1);
        EXPECT_EQ(engineLines(), kovdLine(5, kovdRemoved) + kovdLine(1, row.text));
        EXPECT_EQ(written(kovd1), wholeList());
        EXPECT_FALSE(takeRecoveryRequest());
    }
}

// removeSMBIOSCPUAssoc

Lines cpuLine(int level, const string& text)
{
    return line("removeSMBIOSCPUAssoc", level, text);
}

/** The lines of the steps that forget the processor, its partner and its caches. */
Lines cpuForgotten(const Paths& caches = {cacheA, cacheB, cacheC})
{
    Lines lines = cpuLine(5, cpu1 + " successfully removed from the map") +
                  cpuLine(1, kovd1 + " associated kovd objpath");
    for (const string& path : caches)
    {
        lines = lines + cpuLine(1, path + " associated Cache objpath");
    }
    return lines;
}

void expectCpuForgotten()
{
    EXPECT_FALSE(smbiosCPUObjs.hasObject(cpu1));
    EXPECT_FALSE(isPathAssociated(smbiosSide, cpu1));
    EXPECT_FALSE(isPathAssociated(kovdSide, kovd1));
    EXPECT_EQ(cachesOf(cpu1), Paths{});
}

TEST(removeSMBIOSCPUAssoc, takesTheProcessorAndItsCachesOffTheList)
{
    storeWholeProcessor();
    removeSMBIOSCPUAssoc(cpu1);
    expectCpuForgotten();
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {}}}));
    EXPECT_EQ(written(kovd1), AssociationList{});
    EXPECT_TRUE(smbiosCacheObjs.hasObject(cacheA)); // the caches themselves are still there
    EXPECT_TRUE(kovdCPUObjs.hasObject(kovd1));
    EXPECT_EQ(engineLines(), cpuForgotten() + listRead(kovd1, wholeList()) + listStored(kovd1, {}));
}

TEST(removeSMBIOSCPUAssoc, keepsTheOtherTuples)
{
    storeWholeProcessor();
    AssociationList list = wholeList();
    list.insert(list.begin() + 1, foreignTuple());
    list.push_back(cpuTupleOf(cpu2));
    setWritten(kovd1, list);
    removeSMBIOSCPUAssoc(cpu1);
    const AssociationList rest = {foreignTuple(), cpuTupleOf(cpu2)};
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, rest}}));
    EXPECT_EQ(written(kovd1), rest);
}

TEST(removeSMBIOSCPUAssoc, keepsTheCachePairsOfOtherProcessors)
{
    storeWholeProcessor();
    pairCaches(cpu2, {cacheA, cacheD});
    removeSMBIOSCPUAssoc(cpu1);
    EXPECT_EQ(cachesOf(cpu2), (Paths{cacheA, cacheD}));
    EXPECT_EQ(cpusOf(cacheA), Paths{cpu2});
}

TEST(removeSMBIOSCPUAssoc, takesAProcessorWithoutCachesOffTheList)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    pairCpus(cpu1, kovd1);
    setWritten(kovd1, {cpuTupleOf(cpu1)});
    removeSMBIOSCPUAssoc(cpu1);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {}}}));
    EXPECT_EQ(engineLines(), cpuForgotten({}) +
                                 cpuLine(4, "No associations found for path: " + cpu1) +
                                 listRead(kovd1, {cpuTupleOf(cpu1)}) + listStored(kovd1, {}));
}

TEST(removeSMBIOSCPUAssoc, forgetsAProcessorWithoutPartner)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, handles));
    pairCaches(cpu1, {cacheB, cacheA});
    removeSMBIOSCPUAssoc(cpu1);
    expectCpuForgotten();
    EXPECT_FALSE(hasCPUsOfCache(cacheA));
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(), cpuLine(5, cpu1 + " successfully removed from the map") +
                                 cpuLine(4, cpu1 + " No associations found for path") +
                                 cpuLine(1, cacheB + " associated Cache objpath") +
                                 cpuLine(1, cacheA + " associated Cache objpath") +
                                 cpuLine(1, "kovdCPUObjPath is empty"));
}

TEST(removeSMBIOSCPUAssoc, dropsThePairsOfAnUnknownProcessorToo)
{
    removeSMBIOSCPUAssoc(cpu1);
    EXPECT_EQ(engineLines(), cpuLine(4, cpu1 + " No associations found for path") +
                                 cpuLine(4, "No associations found for path: " + cpu1) +
                                 cpuLine(1, "kovdCPUObjPath is empty"));

    pairCpus(cpu1, kovd1);
    pairCaches(cpu1, {cacheA});
    removeSMBIOSCPUAssoc(cpu1);
    expectCpuForgotten();
}

TEST(removeSMBIOSCPUAssoc, stopsAtAPartnerWithoutAPath)
{
    pairCpus(cpu1, "");
    removeSMBIOSCPUAssoc(cpu1);
    EXPECT_FALSE(isPathAssociated(smbiosSide, cpu1));
    EXPECT_EQ(engineLines(), cpuLine(1, " associated kovd objpath") +
                                 cpuLine(4, "No associations found for path: " + cpu1) +
                                 cpuLine(1, "kovdCPUObjPath is empty"));
}

TEST(removeSMBIOSCPUAssoc, stopsWhenNoListIsKnown)
{
    storeWholeProcessor();
    removeKOVDCPUAssoc(kovd1);
    recorded_log::clear();
    removeSMBIOSCPUAssoc(cpu1);
    expectCpuForgotten();
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(),
              cpuForgotten() + noListRead(kovd1) + cpuLine(1, "GetCurrentAssocTuples failed"));
}

TEST(removeSMBIOSCPUAssoc, writesNothingWhenATupleIsMissing)
{
    for (const AssociationTuple& missing : wholeList())
    {
        SCOPED_TRACE(std::get<2>(missing));
        resetStore();
        storeWholeProcessor();
        AssociationList list = wholeList();
        std::erase(list, missing);
        setWritten(kovd1, list);
        removeSMBIOSCPUAssoc(cpu1);
        expectCpuForgotten();
        EXPECT_TRUE(recorded_requests::all().empty());
        EXPECT_EQ(written(kovd1), list);
        EXPECT_EQ(engineLines(),
                  cpuForgotten() + listRead(kovd1, list) + cpuLine(1, "RemoveAssocTuple failed"));
    }
}

TEST(removeSMBIOSCPUAssoc, writesNothingWhenTheListIsEmpty)
{
    storeWholeProcessor();
    setWritten(kovd1, {});
    removeSMBIOSCPUAssoc(cpu1);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(),
              cpuForgotten() + listRead(kovd1, {}) + cpuLine(1, "RemoveAssocTuple failed"));
}

TEST(removeSMBIOSCPUAssoc, writesNothingWhenACacheIsRecordedTwice)
{
    storeWholeProcessor();
    pairCaches(cpu1, {cacheB}); // the second look for its tuple finds none
    removeSMBIOSCPUAssoc(cpu1);
    expectCpuForgotten();
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(written(kovd1), wholeList());
    EXPECT_EQ(linesOf("removeSMBIOSCPUAssoc"), cpuForgotten({cacheA, cacheB, cacheC, cacheB}) +
                                                   cpuLine(1, "RemoveAssocTuple failed"));
}

TEST(removeSMBIOSCPUAssoc, keepsTheOlderListWhenTheHandOverFails)
{
    storeWholeProcessor();
    recorded_requests::setResult(-1);
    removeSMBIOSCPUAssoc(cpu1);
    expectCpuForgotten();
    EXPECT_EQ(recorded_requests::refused(), 1U);
    EXPECT_EQ(written(kovd1), wholeList());
    EXPECT_EQ(engineLines(), cpuForgotten() + listRead(kovd1, wholeList()) +
                                 cpuLine(1, "OneWayChannel_Execute failed, execRet = -1"));
}

TEST(removeSMBIOSCPUAssoc, makesRoomForTheSameProcessor)
{
    storeWholeProcessor();
    removeSMBIOSCPUAssoc(cpu1);
    InsertSMBIOSCPUObj(cpu1, sample::received(smbiosCpu(1, handles)));
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {}}, {kovd1, wholeList()}}));
    EXPECT_EQ(written(kovd1), wholeList());
}

TEST(removeSMBIOSCPUAssoc, endsAtAnException)
{
    struct Row
    {
        void (*throwAt)(const string&);
        string text;
    };
    for (const Row& row : {Row{throwBusErrorAt, "Exception occurred[" + busErrorText() + "]"},
                           Row{throwStandardErrorAt, "Exception occurred[out of luck]"},
                           Row{throwOtherAt, "Exception in removeSMBIOSCPUAssoc"}})
    {
        SCOPED_TRACE(row.text);
        resetStore();
        storeWholeProcessor();
        row.throwAt(cacheC + " associated Cache objpath");
        removeSMBIOSCPUAssoc(cpu1);
        EXPECT_EQ(engineLines(), cpuForgotten() + cpuLine(1, row.text));
        EXPECT_TRUE(recorded_requests::all().empty());
        EXPECT_EQ(written(kovd1), wholeList());
        cachesOf(cpu1); // the pairs are not locked
    }
}

// removeSMBIOSCacheAssoc

Lines cacheLine(int level, const string& text)
{
    return line("removeSMBIOSCacheAssoc", level, text);
}

/** The lines of the steps that forget cache B and find whose list it is on. */
Lines cacheForgotten()
{
    return cacheLine(5, cacheB + " successfully removed from the map") +
           cacheLine(1, "associated smbios objpath  = " + cpu1) +
           cacheLine(1, kovd1 + " associated kovd objpath");
}

AssociationList listWithoutCacheB()
{
    AssociationList list = wholeList();
    list.erase(list.begin() + 2);
    return list;
}

TEST(removeSMBIOSCacheAssoc, takesTheCacheOffTheList)
{
    storeWholeProcessor();
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_FALSE(smbiosCacheObjs.hasObject(cacheB));
    EXPECT_EQ(cpusOf(cacheB), Paths{});
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheC}));
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, listWithoutCacheB()}}));
    EXPECT_EQ(written(kovd1), listWithoutCacheB());
    EXPECT_TRUE(isPair(cpu1, kovd1));
    EXPECT_EQ(engineLines(), cacheForgotten() + listRead(kovd1, wholeList()) +
                                 listStored(kovd1, listWithoutCacheB()));
}

TEST(removeSMBIOSCacheAssoc, correctsTheListOfTheFirstProcessorAlone)
{
    storeWholeProcessor();
    pairCaches(cpu2, {cacheB});
    pairCpus(cpu2, kovd2);
    setWritten(kovd2, {cacheTupleOf("L2CacheHandle", cacheB)});
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(cpusOf(cacheB), Paths{});
    EXPECT_EQ(cachesOf(cpu2), Paths{});
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, listWithoutCacheB()}}));
    EXPECT_EQ(written(kovd2), AssociationList{cacheTupleOf("L2CacheHandle", cacheB)});
}

TEST(removeSMBIOSCacheAssoc, callsFirstWhoWasPairedFirst)
{
    pairCaches(cpu2, {cacheB});
    pairCaches(cpu1, {cacheB});
    pairCpus(cpu1, kovd1);
    pairCpus(cpu2, kovd2);
    setWritten(kovd1, {cacheTupleOf("cache", cacheB)});
    setWritten(kovd2, {cacheTupleOf("cache", cacheB)});
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd2, {}}}));
    EXPECT_EQ(linesOf("removeSMBIOSCacheAssoc"),
              cacheLine(1, "associated smbios objpath  = " + cpu2) +
                  cacheLine(1, kovd2 + " associated kovd objpath"));
}

TEST(removeSMBIOSCacheAssoc, saysThatTheCacheIsNotPaired)
{
    smbiosCacheObjs.insertObject(cacheB, cache(12));
    pairCaches(cpu1, {cacheA});
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_FALSE(smbiosCacheObjs.hasObject(cacheB));
    EXPECT_EQ(engineLines(), cacheLine(5, cacheB + " successfully removed from the map") +
                                 cacheLine(4, "No associations path: " + cacheB));
    EXPECT_EQ(cachesOf(cpu1), Paths{cacheA});
}

TEST(removeSMBIOSCacheAssoc, dropsThePairsOfAnUnknownCacheToo)
{
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(engineLines(), cacheLine(4, "No associations path: " + cacheB));

    pairCaches(cpu1, {cacheB});
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(cachesOf(cpu1), Paths{});
}

TEST(removeSMBIOSCacheAssoc, dropsThePairOfAProcessorWithoutPartner)
{
    smbiosCacheObjs.insertObject(cacheB, cache(12));
    pairCaches(cpu1, {cacheB});
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(cachesOf(cpu1), Paths{});
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(), cacheLine(5, cacheB + " successfully removed from the map") +
                                 cacheLine(1, "associated smbios objpath  = " + cpu1) +
                                 cacheLine(4, cpu1 + " No associations found for path"));
}

TEST(removeSMBIOSCacheAssoc, stopsAtAPartnerWithoutAPath)
{
    pairCpus(cpu1, "");
    pairCaches(cpu1, {cacheB});
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(engineLines(), cacheLine(1, "associated smbios objpath  = " + cpu1) +
                                 cacheLine(1, " associated kovd objpath") +
                                 Lines{"9 GetCurrentAssocTuples: kovdCPUObjPath = "} +
                                 cacheLine(1, "GetCurrentAssocTuples failed"));
}

TEST(removeSMBIOSCacheAssoc, stopsWhenNoListIsKnown)
{
    storeWholeProcessor();
    removeKOVDCPUAssoc(kovd1);
    recorded_log::clear();
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(),
              cacheForgotten() + noListRead(kovd1) + cacheLine(1, "GetCurrentAssocTuples failed"));
}

TEST(removeSMBIOSCacheAssoc, writesNothingWhenTheTupleIsMissing)
{
    storeWholeProcessor();
    setWritten(kovd1, listWithoutCacheB());
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(), cacheForgotten() + listRead(kovd1, listWithoutCacheB()) +
                                 cacheLine(1, "RemoveAssocTuple failed"));
}

TEST(removeSMBIOSCacheAssoc, keepsTheOlderListWhenTheHandOverFails)
{
    storeWholeProcessor();
    recorded_requests::setResult(4);
    removeSMBIOSCacheAssoc(cacheB);
    EXPECT_EQ(recorded_requests::refused(), 1U);
    EXPECT_EQ(written(kovd1), wholeList());
    EXPECT_EQ(cachesOf(cpu1), (Paths{cacheA, cacheC}));
    EXPECT_EQ(engineLines(), cacheForgotten() + listRead(kovd1, wholeList()) +
                                 cacheLine(1, "OneWayChannel_Execute failed, execRet = 4"));
}

TEST(removeSMBIOSCacheAssoc, endsAtAnException)
{
    struct Row
    {
        void (*throwAt)(const string&);
        string text;
    };
    for (const Row& row :
         {Row{throwBusErrorAt, "Exception occurred " + busErrorText()},
          Row{throwStandardErrorAt, "error: out of luck "}, Row{throwOtherAt, "exception"}})
    {
        SCOPED_TRACE(row.text);
        resetStore();
        storeWholeProcessor();
        row.throwAt(kovd1 + " associated kovd objpath");
        removeSMBIOSCacheAssoc(cacheB);
        EXPECT_EQ(engineLines(), cacheForgotten() + cacheLine(1, row.text));
        EXPECT_TRUE(recorded_requests::all().empty());
        EXPECT_EQ(written(kovd1), wholeList());
        EXPECT_TRUE(isPair(cpu1, kovd1)); // and the table is not locked
    }
}

} // namespace
