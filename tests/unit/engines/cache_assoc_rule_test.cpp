/* The rule that pairs a cache with a processor, and what asks it about one pair. */
#include "doubles/cpu_world.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cache_assoc.hpp"

#include <gtest/gtest.h>

#include <variant>

namespace
{

using namespace cpu_world;
using std::string;

struct Answer
{
    bool match;
    string name;

    bool operator==(const Answer&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Answer& answer)
{
    return out << answer.match << " '" << answer.name << "'";
}

const string untouched = "untouched";

Answer compare(const PropertyMap& cpu, const PropertyMap& cacheProperties)
{
    string name = untouched;
    const bool match = CompareCacheAssocProps(cpu, cacheProperties, name);
    return {match, name};
}

// CompareCacheAssocProps

TEST(CompareCacheAssocProps, matchesNothingWithoutProperties)
{
    EXPECT_EQ(compare({}, cache(1)), (Answer{false, untouched}));
    EXPECT_EQ(compare(smbiosCpu(1, {1, 2, 3}), {}), (Answer{false, untouched}));
    EXPECT_EQ(compare({}, {}), (Answer{false, untouched}));
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(CompareCacheAssocProps, matchesNoCacheWithoutAHandle)
{
    const PropertyMap nameless = {{"handle", std::uint16_t{1}}, {"Handles", std::uint16_t{1}}};
    EXPECT_EQ(compare(smbiosCpu(1, {1, 2, 3}), nameless), (Answer{false, untouched}));
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(CompareCacheAssocProps, namesTheLevelThatMatches)
{
    const Handles handles = {11, 12, 13};
    EXPECT_EQ(compare(smbiosCpu(1, handles), cache(11)), (Answer{true, "L1CacheHandle"}));
    EXPECT_EQ(compare(smbiosCpu(1, handles), cache(12)), (Answer{true, "L2CacheHandle"}));
    EXPECT_EQ(compare(smbiosCpu(1, handles), cache(13)), (Answer{true, "L3CacheHandle"}));
    EXPECT_EQ(engineLines(), (Lines{"9 CompareCacheAssocProps: Cache Handle: 11",
                                    "9 CompareCacheAssocProps: CPU L1 Cache Handle: 11",
                                    "9 CompareCacheAssocProps: Cache Handle: 12",
                                    "9 CompareCacheAssocProps: CPU L1 Cache Handle: 11",
                                    "9 CompareCacheAssocProps: CPU L2 Cache Handle: 12",
                                    "9 CompareCacheAssocProps: Cache Handle: 13",
                                    "9 CompareCacheAssocProps: CPU L1 Cache Handle: 11",
                                    "9 CompareCacheAssocProps: CPU L2 Cache Handle: 12",
                                    "9 CompareCacheAssocProps: CPU L3 Cache Handle: 13"}));
}

TEST(CompareCacheAssocProps, takesTheLowestOfEqualLevels)
{
    EXPECT_EQ(compare(smbiosCpu(1, {11, 12, 12}), cache(12)), (Answer{true, "L2CacheHandle"}));
    EXPECT_EQ(compare(smbiosCpu(1, {12, 12, 12}), cache(12)), (Answer{true, "L1CacheHandle"}));
}

TEST(CompareCacheAssocProps, skipsALevelThatIsMissing)
{
    const Handles handles = {std::nullopt, 12, std::nullopt};
    EXPECT_EQ(compare(smbiosCpu(1, handles), cache(12)), (Answer{true, "L2CacheHandle"}));
    EXPECT_EQ(compare(smbiosCpu(1, handles), cache(13)), (Answer{false, untouched}));
    EXPECT_EQ(compare(smbiosCpu(1), cache(13)), (Answer{false, untouched}));
    EXPECT_EQ(engineLines(), (Lines{"9 CompareCacheAssocProps: Cache Handle: 12",
                                    "9 CompareCacheAssocProps: CPU L2 Cache Handle: 12",
                                    "9 CompareCacheAssocProps: Cache Handle: 13",
                                    "9 CompareCacheAssocProps: CPU L2 Cache Handle: 12",
                                    "9 CompareCacheAssocProps: Cache Handle: 13"}));
}

TEST(CompareCacheAssocProps, matchesNothingForACacheOfHandleZero)
{
    EXPECT_EQ(compare(smbiosCpu(1, {0, 0, 0}), cache(0)), (Answer{false, untouched}));
    EXPECT_EQ(engineLines(),
              (Lines{"9 CompareCacheAssocProps: Cache Handle: 0",
                     "1 CompareCacheAssocProps: Cache Handle is 0 in cache object.Therefore no "
                     "association"}));
}

TEST(CompareCacheAssocProps, passesOverAProcessorsHandleZero)
{
    EXPECT_EQ(compare(smbiosCpu(1, {0, 0, 7}), cache(7)), (Answer{true, "L3CacheHandle"}));
    EXPECT_EQ(compare(smbiosCpu(1, {0, 0, 0}), cache(7)), (Answer{false, untouched}));
    EXPECT_EQ(engineLines(), cacheCompared(7, {0, 0, 7}) + cacheCompared(7, {0, 0, 0}));
}

TEST(CompareCacheAssocProps, comparesTheWholeRange)
{
    EXPECT_EQ(compare(smbiosCpu(1, {1, 0xffff, 2}), cache(0xffff)),
              (Answer{true, "L2CacheHandle"}));
    EXPECT_TRUE(recorded_log::contains("Cache Handle: 65535"));
}

TEST(CompareCacheAssocProps, throwsAtAHandleOfAnotherType)
{
    for (const PropertyValue& value : sample::everyType())
    {
        if (std::holds_alternative<std::uint16_t>(value))
        {
            continue;
        }
        SCOPED_TRACE(value.index());
        EXPECT_THROW(compare(smbiosCpu(1, {1, 2, 3}), {{"Handle", value}}),
                     std::bad_variant_access);
        for (const PropertyName level :
             std::initializer_list<PropertyName>{"L1CacheHandle", "L2CacheHandle", "L3CacheHandle"})
        {
            EXPECT_THROW(compare(sample::with(smbiosCpu(1, {1, 2, 3}), level, value), cache(9)),
                         std::bad_variant_access);
        }
    }
}

TEST(CompareCacheAssocProps, doesNotReadBehindTheLevelThatMatches)
{
    const PropertyMap cpu =
        sample::with(smbiosCpu(1, {1, 2, std::nullopt}), "L3CacheHandle", string{"3"});
    EXPECT_EQ(compare(cpu, cache(2)), (Answer{true, "L2CacheHandle"}));
}

// getMatchingHandle

TEST(getMatchingHandle, answersNoWithoutTheCache)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, {1, 2, 3}));
    string name;
    EXPECT_FALSE(getMatchingHandle(cpu1, cacheA, name));
    EXPECT_EQ(engineLines(),
              Lines{"1 getMatchingHandle: SMBIOS object not found for objPath: " + cacheA});
}

TEST(getMatchingHandle, answersNoForACacheWithoutProperties)
{
    smbiosCacheObjs.insertObject(cacheA, {});
    string name;
    EXPECT_FALSE(getMatchingHandle(cpu1, cacheA, name)); // not even the processor is looked for
    EXPECT_EQ(
        engineLines(),
        Lines{"1 getMatchingHandle: SMBIOS object properties could not be obtained for objPath: " +
              cacheA});
}

TEST(getMatchingHandle, answersNoWithoutTheProcessor)
{
    smbiosCacheObjs.insertObject(cacheA, cache(1));
    string name;
    EXPECT_FALSE(getMatchingHandle(cpu1, cacheA, name));
    EXPECT_EQ(engineLines(),
              Lines{"1 getMatchingHandle: SMBIOS object not found for objPath: " + cpu1});
}

TEST(getMatchingHandle, answersNoForAProcessorWithoutProperties)
{
    smbiosCacheObjs.insertObject(cacheA, cache(1));
    smbiosCPUObjs.insertObject(cpu1, {});
    string name;
    EXPECT_FALSE(getMatchingHandle(cpu1, cacheA, name));
    EXPECT_EQ(
        engineLines(),
        Lines{"1 getMatchingHandle: SMBIOS object properties could not be obtained for objPath: " +
              cpu1});
}

TEST(getMatchingHandle, namesTheLevelThatMatches)
{
    smbiosCacheObjs.insertObject(cacheA, cache(2));
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, {1, 2, 3}));
    string name;
    EXPECT_TRUE(getMatchingHandle(cpu1, cacheA, name));
    EXPECT_EQ(name, "L2CacheHandle");
    EXPECT_EQ(engineLines(), cacheCompared(2, {1, 2, 3}) +
                                 Lines{"9 getMatchingHandle: matching_cache_handle L2CacheHandle"});
}

TEST(getMatchingHandle, answersNoWhenNoLevelMatches)
{
    smbiosCacheObjs.insertObject(cacheA, cache(4));
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1, {1, 2, 3}));
    string name;
    EXPECT_FALSE(getMatchingHandle(cpu1, cacheA, name));
    EXPECT_EQ(name, "");
    EXPECT_EQ(engineLines(), cacheCompared(4, {1, 2, 3}));
}

// checkNumofCacheAssoc

TEST(checkNumofCacheAssoc, countsNothingForAProcessorWithoutCaches)
{
    pairCaches(cpu2, {cacheA});
    EXPECT_EQ(checkNumofCacheAssoc(cpu1), 0U);
    EXPECT_EQ(engineLines(),
              Lines{"4 checkNumofCacheAssoc: No associations found for path: " + cpu1});
}

TEST(checkNumofCacheAssoc, countsEachPairOfTheProcessor)
{
    pairCaches(cpu1, {cacheC, cacheA, cacheC, cacheB});
    pairCaches(cpu2, {cacheA});
    EXPECT_EQ(checkNumofCacheAssoc(cpu1), 4U);
    EXPECT_EQ(checkNumofCacheAssoc(cpu2), 1U);
    EXPECT_EQ(engineLines(),
              (Lines{"9 checkNumofCacheAssoc: " + cacheC + " associated Cache objpath",
                     "9 checkNumofCacheAssoc: " + cacheA + " associated Cache objpath",
                     "9 checkNumofCacheAssoc: " + cacheC + " associated Cache objpath",
                     "9 checkNumofCacheAssoc: " + cacheB + " associated Cache objpath",
                     "9 checkNumofCacheAssoc: " + cacheA + " associated Cache objpath"}));
}

} // namespace
