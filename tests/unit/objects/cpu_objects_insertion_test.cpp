/* How processors and caches enter the store. */
#include "base/recovery_request.hpp"
#include "doubles/cpu_world.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/run_together.hpp"
#include "doubles/sample_objects.hpp"
#include "objects/cpu_objects.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace cpu_world;
using sample::received;
using std::string;

const Handles handles = {11, 12, 13};
const string wrongType = "std::get: wrong index for variant";

bool recoveryIsRequested()
{
    MutexLock lock(recoveryMutex);
    return recoveryRequested;
}

/** What the three inserts have in common. */
struct Insert
{
    string name;
    void (*operation)(const string&, const ReceivedProperties&);
    ObjectMap& map;
    string path;
    string pathLine;
    PropertyMap whole;     // every kept property
    string sign;           // between name and value
    string dispatchedLine; // of an object that finds nothing
};

const Insert& smbiosCpuInsert()
{
    static const Insert insert = {
        "InsertSMBIOSCPUObj",
        InsertSMBIOSCPUObj,
        smbiosCPUObjs,
        cpu1,
        "Path:" + cpu1,
        smbiosCpu(1, handles),
        "=",
        "4 AssocForSmbiosCPU: " + cpu1 + " No associations found for path",
    };
    return insert;
}

const Insert& smbiosCacheInsert()
{
    static const Insert insert = {
        "InsertSMBIOSCacheObj",
        InsertSMBIOSCacheObj,
        smbiosCacheObjs,
        cacheA,
        "SmbiosPath:" + cacheA,
        cache(11),
        "=",
        "1 GetSMBIOSCPUObjForCache: " + cacheA + " No association found for objPath",
    };
    return insert;
}

const Insert& kovdCpuInsert()
{
    static const Insert insert = {
        "InsertKOVDCPUObj",
        InsertKOVDCPUObj,
        kovdCPUObjs,
        kovd1,
        "KOVDpath = " + kovd1,
        kovdCpu(1),
        " = ",
        "1 IterateSMBIOSCPUObjs: " + kovd1 + " No association found for objPath",
    };
    return insert;
}

class EveryInsert : public testing::TestWithParam<const Insert*>
{
  protected:
    const Insert& tested = *GetParam();

    Lines line(int level, const string& text) const
    {
        return {std::to_string(level) + " " + tested.name + ": " + text};
    }

    /** The line of a kept property. */
    Lines kept(std::string_view name, const PropertyValue& value) const
    {
        const string* text = std::get_if<string>(&value);
        return line(5,
                    string(name) + tested.sign +
                        (text != nullptr ? *text : std::to_string(std::get<std::uint16_t>(value))));
    }

    Lines kept(const PropertyMap& properties) const
    {
        Lines lines;
        for (const auto& [name, value] : properties)
        {
            lines = lines + kept(name, value);
        }
        return lines;
    }
};

INSTANTIATE_TEST_SUITE_P(OfThree, EveryInsert,
                         testing::Values(&smbiosCpuInsert(), &smbiosCacheInsert(),
                                         &kovdCpuInsert()),
                         [](const auto& parameter) { return parameter.param->name; });

TEST_P(EveryInsert, storesAndDispatchesANewObject)
{
    tested.operation(tested.path, received(tested.whole));
    EXPECT_EQ(stored(tested.map, tested.path), tested.whole);
    EXPECT_EQ(linesOf(tested.name), line(5, tested.pathLine) + kept(tested.whole));
    EXPECT_EQ(engineLines().back(), tested.dispatchedLine);
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EveryInsert, keepsOnlyWhatMatchingNeeds)
{
    ReceivedProperties message = received(tested.whole);
    for (const char* name : {"Associations", "Zeal", "Handles", "L4CacheHandle", "SOCKET",
                             "l1cachehandle", "SlotNumber2", "TargetDev"})
    {
        message[name] = string{"ignored"};
    }
    tested.operation(tested.path, message);
    EXPECT_EQ(stored(tested.map, tested.path), tested.whole);
    EXPECT_EQ(linesOf(tested.name), line(5, tested.pathLine) + kept(tested.whole));
}

TEST_P(EveryInsert, ignoresTheTypeOfOtherProperties)
{
    ReceivedProperties message = received(tested.whole);
    int number = 0;
    for (const PropertyValue& value : sample::everyType())
    {
        message["Other" + std::to_string(++number)] = value;
    }
    tested.operation(tested.path, message);
    EXPECT_EQ(stored(tested.map, tested.path), tested.whole);
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EveryInsert, storesAndDispatchesNothingWithoutAKeptProperty)
{
    for (const ReceivedProperties& message :
         {ReceivedProperties{}, ReceivedProperties{{"Other", true}}})
    {
        recorded_log::clear();
        tested.operation(tested.path, message);
        EXPECT_FALSE(tested.map.hasObject(tested.path));
        EXPECT_EQ(engineLines(), line(5, tested.pathLine));
    }
    tested.map.insertObject(tested.path, tested.whole);
    recorded_log::clear();
    tested.operation(tested.path, {{"Other", true}});
    EXPECT_EQ(stored(tested.map, tested.path), tested.whole);
    EXPECT_EQ(engineLines(), line(5, tested.pathLine));
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EveryInsert, updatesOnePropertyAndKeepsTheOthers)
{
    for (const auto& [name, value] : tested.whole)
    {
        SCOPED_TRACE(std::string_view(name));
        const bool isText = std::holds_alternative<string>(value);
        const PropertyValue changed =
            isText ? PropertyValue{string{"CPU9"}} : PropertyValue{std::uint16_t{99}};
        tested.map.insertObject(tested.path, tested.whole);
        recorded_log::clear();
        tested.operation(tested.path, {{string(name), changed}});
        EXPECT_EQ(stored(tested.map, tested.path), sample::with(tested.whole, name, changed));
        EXPECT_EQ(linesOf(tested.name), line(5, tested.pathLine) + kept(name, changed));
        EXPECT_GT(engineLines().size(), 2U); // and it has been dispatched
    }
}

TEST_P(EveryInsert, addsAPropertyThatWasMissing)
{
    for (const auto& [name, value] : tested.whole)
    {
        tested.map.insertObject(tested.path, sample::without(tested.whole, name));
        tested.operation(tested.path, {{string(name), value}});
        EXPECT_EQ(stored(tested.map, tested.path), tested.whole);
    }
}

TEST_P(EveryInsert, storesNothingOfAnObjectWithAPropertyOfAnotherType)
{
    for (const auto& [name, right] : tested.whole)
    {
        for (const PropertyValue& value : sample::everyType())
        {
            if (value.index() == right.index())
            {
                continue;
            }
            SCOPED_TRACE(string(name) + " as " + std::to_string(value.index()));
            recorded_log::clear();
            tested.operation(tested.path, received(sample::with(tested.whole, name, value)));
            EXPECT_FALSE(tested.map.hasObject(tested.path));
            EXPECT_TRUE(takeRecoveryRequest());

            // The properties in front of it have been read, those behind it have not.
            PropertyMap read;
            for (const auto* entry = &*tested.whole.begin(); entry->name != name; ++entry)
            {
                read.insert_or_assign(entry->name, entry->value);
            }
            const string failure = tested.name == "InsertKOVDCPUObj"
                                       ? "[" + wrongType + "] Exception occurred"
                                       : "failed to read message properties[" + wrongType + "]";
            EXPECT_EQ(engineLines(), line(5, tested.pathLine) + kept(read) + line(1, failure));
        }
    }
}

TEST_P(EveryInsert, leavesWhatIsStoredWhenAPropertyHasAnotherType)
{
    tested.map.insertObject(tested.path, tested.whole);
    ReceivedProperties message;
    for (const auto& [name, value] : tested.whole)
    {
        message[string(name)] = std::int32_t{99};
    }
    tested.operation(tested.path, message);
    EXPECT_EQ(stored(tested.map, tested.path), tested.whole);
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(EveryInsert, requestsRecoveryAfterTheLineOfEachFailure)
{
    const bool isKovd = tested.name == "InsertKOVDCPUObj";
    const auto& [name, value] = *tested.whole.begin();
    const string property = kept(name, value).front().substr(tested.name.size() + 4);
    struct Row
    {
        void (*throwAt)(const string&);
        string smbiosText;
        string kovdText;
    };
    for (const Row& row :
         {Row{throwBusErrorAt, "Exception occurred " + busErrorText(),
              busErrorText() + " Exception occurred"},
          Row{throwStandardErrorAt, "failed to read message properties[out of luck]",
              "[out of luck] Exception occurred"},
          Row{throwOtherAt, "failed to read message", "Exception occurred"}})
    {
        const string& text = isKovd ? row.kovdText : row.smbiosText;
        SCOPED_TRACE(text);
        recorded_log::clear();
        row.throwAt(property);
        tested.operation(tested.path, received(tested.whole));
        EXPECT_EQ(engineLines(), line(5, tested.pathLine) + line(5, property) + line(1, text));
        EXPECT_FALSE(tested.map.hasObject(tested.path));
        EXPECT_TRUE(takeRecoveryRequest());
    }
}

TEST_P(EveryInsert, logsTheFailureBeforeItRequestsRecovery)
{
    const auto& [name, value] = *tested.whole.begin();
    bool early = false;
    recorded_log::setHook([&](const LogLine& logged)
                          { early = early || (logged.level == 1 && recoveryIsRequested()); });
    tested.operation(tested.path, {{string(name), std::int64_t{1}}});
    EXPECT_FALSE(early);
    EXPECT_TRUE(takeRecoveryRequest());
}

// InsertSMBIOSCPUObj

TEST(InsertSMBIOSCPUObj, leavesAProcessorWithAPartnerAndThreeCaches)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, handles));
    pairCpus(cpu1, kovd1);
    pairCaches(cpu1, {cacheA, cacheB, cacheC});
    InsertSMBIOSCPUObj(cpu1, received(smbiosCpu(2, {1, 2, 3})));
    EXPECT_EQ(stored(smbiosCPUObjs, cpu1), smbiosCpu(1, handles));
    EXPECT_EQ(engineLines(), Lines{"5 InsertSMBIOSCPUObj: Path:" + cpu1} +
                                 cacheCounted({cacheA, cacheB, cacheC}) +
                                 Lines{"5 InsertSMBIOSCPUObj: Associations exists " + cpu1});
}

TEST(InsertSMBIOSCPUObj, takesAProcessorThatLacksSomething)
{
    struct Row
    {
        string what;
        bool isStored;
        bool hasPartner;
        Paths caches;
    };
    for (const Row& row : {Row{"not stored", false, true, {cacheA, cacheB, cacheC}},
                           Row{"no partner", true, false, {cacheA, cacheB, cacheC}},
                           Row{"two caches", true, true, {cacheA, cacheB}},
                           Row{"four caches", true, true, {cacheA, cacheB, cacheC, cacheD}},
                           Row{"no caches", true, true, {}}})
    {
        SCOPED_TRACE(row.what);
        resetStore();
        if (row.isStored)
        {
            smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
        }
        if (row.hasPartner)
        {
            pairCpus(cpu1, kovd1);
        }
        pairCaches(cpu1, row.caches);
        InsertSMBIOSCPUObj(cpu1, received(smbiosCpu(2, handles)));
        EXPECT_EQ(stored(smbiosCPUObjs, cpu1), smbiosCpu(2, handles));
        EXPECT_FALSE(recorded_log::contains("Associations exists " + cpu1));
    }
}

TEST(InsertSMBIOSCPUObj, countsTheCachesOfAStoredAndPairedProcessorOnly)
{
    pairCaches(cpu1, {cacheA, cacheB, cacheC});
    InsertSMBIOSCPUObj(cpu1, received(smbiosCpu(1)));
    EXPECT_EQ(linesOf("checkNumofCacheAssoc"), Lines{});
    pairCpus(cpu2, kovd2);
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2));
    InsertSMBIOSCPUObj(cpu2, received(smbiosCpu(2)));
    EXPECT_EQ(linesOf("checkNumofCacheAssoc"), Lines{});
}

TEST(InsertSMBIOSCPUObj, leavesAProcessorThatVanishesMeanwhile)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    pairCpus(cpu1, kovd1);
    pairCaches(cpu1, {cacheA});
    when(cacheA + " associated Cache objpath", [] { smbiosCPUObjs.eraseObject(cpu1); });
    InsertSMBIOSCPUObj(cpu1, received(smbiosCpu(1)));
    EXPECT_FALSE(smbiosCPUObjs.hasObject(cpu1));
    EXPECT_FALSE(takeRecoveryRequest());
    EXPECT_EQ(engineLines(), Lines{"5 InsertSMBIOSCPUObj: Path:" + cpu1} + cacheCounted({cacheA}) +
                                 Lines{"1 InsertSMBIOSCPUObj: " + cpu1 +
                                       " not able to get the entry from the map"});
}

TEST(InsertSMBIOSCPUObj, reactsToOneChangedHandle)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, {1, 2, 3}));
    smbiosCacheObjs.insertObject(cacheA, cache(12));
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    InsertSMBIOSCPUObj(cpu1, {{"L2CacheHandle", std::uint16_t{12}}});
    EXPECT_EQ(stored(smbiosCPUObjs, cpu1), smbiosCpu(1, {1, 12, 3}));
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd1, {cpuTupleOf(cpu1), cacheTupleOf("L2CacheHandle", cacheA)}}}));
}

TEST(InsertSMBIOSCPUObj, associatesAPairedProcessorAnew)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    pairCpus(cpu1, kovd1);
    smbiosCacheObjs.insertObject(cacheA, cache(11));
    InsertSMBIOSCPUObj(cpu1, {{"L1CacheHandle", std::uint16_t{11}}});
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd1, {cacheTupleOf("L1CacheHandle", cacheA)}}}));
}

// InsertSMBIOSCacheObj

TEST(InsertSMBIOSCacheObj, leavesACacheThatIsPaired)
{
    smbiosCacheObjs.insertObject(cacheA, cache(11));
    pairCaches(cpu1, {cacheA});
    InsertSMBIOSCacheObj(cacheA, received(cache(12)));
    EXPECT_EQ(stored(smbiosCacheObjs, cacheA), cache(11));
    EXPECT_EQ(engineLines(), (Lines{"5 InsertSMBIOSCacheObj: SmbiosPath:" + cacheA,
                                    "5 InsertSMBIOSCacheObj: Association exists " + cacheA}));
}

TEST(InsertSMBIOSCacheObj, storesAPairedCacheThatIsNotStored)
{
    pairCaches(cpu1, {cacheA});
    InsertSMBIOSCacheObj(cacheA, received(cache(12)));
    EXPECT_EQ(stored(smbiosCacheObjs, cacheA), cache(12));
    EXPECT_EQ(
        engineLines(),
        (Lines{"5 InsertSMBIOSCacheObj: SmbiosPath:" + cacheA, "5 InsertSMBIOSCacheObj: Handle=12",
               "4 AddCacheAssoc: " + cacheA + " SMBIOS object is already fully associated "}));
}

TEST(InsertSMBIOSCacheObj, associatesTheCache)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, handles));
    pairCpus(cpu1, kovd1);
    setWritten(kovd1, {cpuTupleOf(cpu1)});
    InsertSMBIOSCacheObj(cacheA, received(cache(13)));
    EXPECT_EQ(recorded_requests::all(),
              (Requests{{kovd1, {cpuTupleOf(cpu1), cacheTupleOf("L3CacheHandle", cacheA)}}}));
}

TEST(InsertSMBIOSCacheObj, leavesACacheThatVanishesMeanwhile)
{
    const string vanished = cacheA + " Not able to get SMBIOS map";
    // Should the thread have slept for another reason than the pairs, it is tried again.
    for (int attempt = 0; attempt < 100 && !recorded_log::contains(vanished); ++attempt)
    {
        resetStore();
        smbiosCacheObjs.insertObject(cacheA, cache(11));
        EXPECT_TRUE(runInto(
            cpuCacheAssociationPairsMutex,
            [] { InsertSMBIOSCacheObj(cacheA, received(cache(12))); },
            [] { smbiosCacheObjs.eraseObject(cacheA); }));
    }
    EXPECT_FALSE(smbiosCacheObjs.hasObject(cacheA));
    EXPECT_FALSE(takeRecoveryRequest());
    EXPECT_EQ(engineLines(), (Lines{"5 InsertSMBIOSCacheObj: SmbiosPath:" + cacheA,
                                    "1 InsertSMBIOSCacheObj: " + vanished}));
}

// InsertKOVDCPUObj

TEST(InsertKOVDCPUObj, leavesAProcessorThatIsPaired)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    pairCpus(cpu1, kovd1);
    InsertKOVDCPUObj(kovd1, received(kovdCpu(2)));
    EXPECT_EQ(stored(kovdCPUObjs, kovd1), kovdCpu(1));
    EXPECT_EQ(engineLines(), (Lines{"5 InsertKOVDCPUObj: KOVDpath = " + kovd1,
                                    "5 InsertKOVDCPUObj: Association exists " + kovd1}));
}

TEST(InsertKOVDCPUObj, storesButDoesNotAssociateAPairedProcessorThatIsNotStored)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    pairCpus(cpu1, kovd1);
    InsertKOVDCPUObj(kovd1, received(kovdCpu(1)));
    EXPECT_EQ(stored(kovdCPUObjs, kovd1), kovdCpu(1));
    EXPECT_TRUE(recorded_requests::all().empty());
    EXPECT_EQ(engineLines(), (Lines{"5 InsertKOVDCPUObj: KOVDpath = " + kovd1,
                                    "5 InsertKOVDCPUObj: SlotNumber = 1",
                                    "5 InsertKOVDCPUObj: TargetDevKey = CPU.Socket.1",
                                    "5 FindAssociation: Association already exists " + kovd1}));
}

TEST(InsertKOVDCPUObj, associatesTheProcessor)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    InsertKOVDCPUObj(kovd1, {{"TargetDevKey", string{"CPU.Socket.1"}}});
    EXPECT_TRUE(recorded_requests::all().empty());
    InsertKOVDCPUObj(kovd1, {{"SlotNumber", std::uint16_t{1}}});
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd1, {cpuTupleOf(cpu1)}}}));
}

} // namespace
