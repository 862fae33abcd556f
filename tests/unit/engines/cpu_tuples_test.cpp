#include "doubles/cpu_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "engines/cpu_tuples.hpp"

#include <gtest/gtest.h>

#include <thread>

namespace
{

using namespace cpu_world;
using std::string;

const AssociationTuple one = {"chassis", "processor", cpu1};
const AssociationTuple two = {"processor", "L1CacheHandle", cacheA};
const AssociationTuple three = {"processor", "cache", cacheB};

// GetCurrentAssocTuples

TEST(GetCurrentAssocTuples, answersNoForAnEmptyPath)
{
    setWritten("", {one});
    AssociationList list = {two};
    EXPECT_EQ(GetCurrentAssocTuples("", list), -1);
    EXPECT_EQ(list, AssociationList{two});
    EXPECT_EQ(engineLines(), Lines{"9 GetCurrentAssocTuples: kovdCPUObjPath = "});
}

TEST(GetCurrentAssocTuples, leavesTheListAsItWasWhenNoneIsKnown)
{
    setWritten(kovd2, {one});
    AssociationList list = {two};
    EXPECT_EQ(GetCurrentAssocTuples(kovd1, list), -1);
    EXPECT_EQ(list, AssociationList{two});
    EXPECT_EQ(engineLines(),
              (Lines{"9 GetCurrentAssocTuples: kovdCPUObjPath = " + kovd1,
                     "5 GetCurrentAssocTuples: No association found for path " + kovd1}));
}

TEST(GetCurrentAssocTuples, findsAnEmptyListToo)
{
    setWritten(kovd1, {});
    AssociationList list = {two};
    EXPECT_EQ(GetCurrentAssocTuples(kovd1, list), 0);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(engineLines(), (Lines{"9 GetCurrentAssocTuples: kovdCPUObjPath = " + kovd1,
                                    "9 GetCurrentAssocTuples: assocVec size: 0",
                                    "9 GetCurrentAssocTuples: " + kovd1 +
                                        " empty association tuples vector exist"}));
}

TEST(GetCurrentAssocTuples, replacesWhatTheListHeld)
{
    setWritten(kovd1, {one, two});
    AssociationList list = {three, three, three};
    EXPECT_EQ(GetCurrentAssocTuples(kovd1, list), 0);
    EXPECT_EQ(list, (AssociationList{one, two}));
    EXPECT_EQ(engineLines(), (Lines{"9 GetCurrentAssocTuples: kovdCPUObjPath = " + kovd1,
                                    "9 GetCurrentAssocTuples: assocVec size: 2",
                                    "9 GetCurrentAssocTuples:  path " + cpu1 +
                                        " forward: chassis, backward: processor",
                                    "9 GetCurrentAssocTuples:  path " + cacheA +
                                        " forward: processor, backward: L1CacheHandle"}));
}

TEST(GetCurrentAssocTuples, changesNothingThatIsKept)
{
    setWritten(kovd1, {one, two});
    AssociationList list;
    GetCurrentAssocTuples(kovd1, list);
    list.clear();
    EXPECT_EQ(written(kovd1), (AssociationList{one, two}));
}

// UpdateCurrentAssocTuples

TEST(UpdateCurrentAssocTuples, refusesAnEmptyPath)
{
    UpdateCurrentAssocTuples("", {one});
    EXPECT_EQ(written(""), std::nullopt);
    EXPECT_EQ(engineLines(), (Lines{"9 UpdateCurrentAssocTuples: kovdCPUObjPath = ",
                                    "1 UpdateCurrentAssocTuples: Invalid kovdCPUObjPath"}));
}

TEST(UpdateCurrentAssocTuples, tellsTheFirstListOfAProcessor)
{
    UpdateCurrentAssocTuples(kovd1, {one, three});
    EXPECT_EQ(written(kovd1), (AssociationList{one, three}));
    EXPECT_EQ(engineLines(), (Lines{"9 UpdateCurrentAssocTuples: kovdCPUObjPath = " + kovd1,
                                    "5 UpdateCurrentAssocTuples: " + kovd1 +
                                        " Association being added for the first time",
                                    "9 UpdateCurrentAssocTuples:  path " + cpu1 +
                                        " forward: chassis, backward: processor",
                                    "9 UpdateCurrentAssocTuples:  path " + cacheB +
                                        " forward: processor, backward: cache"}));
}

TEST(UpdateCurrentAssocTuples, replacesAndDoesNotAppend)
{
    setWritten(kovd1, {one, three});
    setWritten(kovd2, {three});
    UpdateCurrentAssocTuples(kovd1, {two});
    EXPECT_EQ(written(kovd1), AssociationList{two});
    EXPECT_EQ(written(kovd2), AssociationList{three});
    EXPECT_EQ(engineLines(), (Lines{"9 UpdateCurrentAssocTuples: kovdCPUObjPath = " + kovd1,
                                    "9 UpdateCurrentAssocTuples:  path " + cacheA +
                                        " forward: processor, backward: L1CacheHandle"}));
}

TEST(UpdateCurrentAssocTuples, keepsAnEmptyListAsAnEntry)
{
    setWritten(kovd1, {one});
    UpdateCurrentAssocTuples(kovd1, {});
    EXPECT_EQ(written(kovd1), AssociationList{});
    EXPECT_EQ(engineLines(), Lines{"9 UpdateCurrentAssocTuples: kovdCPUObjPath = " + kovd1});

    UpdateCurrentAssocTuples(kovd2, {});
    EXPECT_EQ(written(kovd2), AssociationList{});
}

// RemoveAssocTuple

TEST(RemoveAssocTuple, answersNoForAnEmptyList)
{
    AssociationList list;
    EXPECT_EQ(RemoveAssocTuple(list, cpu1), -1);
    EXPECT_EQ(RemoveAssocTuple(list, ""), -1);
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(RemoveAssocTuple, leavesAListWithoutTheEndpoint)
{
    AssociationList list = {one, two};
    EXPECT_EQ(RemoveAssocTuple(list, cacheB), -1);
    EXPECT_EQ(RemoveAssocTuple(list, "chassis"), -1);
    EXPECT_EQ(RemoveAssocTuple(list, cpu1 + "0"), -1);
    EXPECT_EQ(list, (AssociationList{one, two}));
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(RemoveAssocTuple, removesEveryTupleWithTheEndpoint)
{
    const AssociationTuple twin = {"processor", "cache", cpu1};
    AssociationList list = {one, twin, two, one, three, twin};
    EXPECT_EQ(RemoveAssocTuple(list, cpu1), 0);
    EXPECT_EQ(list, (AssociationList{two, three}));
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(RemoveAssocTuple, mayLeaveNothing)
{
    AssociationList list = {one, one};
    EXPECT_EQ(RemoveAssocTuple(list, cpu1), 0);
    EXPECT_TRUE(list.empty());
}

TEST(RemoveAssocTuple, keepsTheOrderOfTheOthers)
{
    AssociationList list = {three, one, two, foreignTuple()};
    EXPECT_EQ(RemoveAssocTuple(list, cacheA), 0);
    EXPECT_EQ(list, (AssociationList{three, one, foreignTuple()}));
}

/** Two threads prune one list: without the lock they would tear it. */
TEST(RemoveAssocTuple, holdsTheMutexOfTheLists)
{
    constexpr int tuples = 200;
    AssociationList list;
    for (int number = 0; number < tuples; ++number)
    {
        list.push_back({"processor", "cache", std::to_string(number)});
    }
    list.push_back(one);
    const auto prune = [&list](int first)
    {
        for (int number = first; number < tuples; number += 2)
        {
            EXPECT_EQ(RemoveAssocTuple(list, std::to_string(number)), 0);
        }
    };
    std::thread even([&] { prune(0); });
    std::thread odd([&] { prune(1); });
    even.join();
    odd.join();
    EXPECT_EQ(list, AssociationList{one});
}

// MergeAssocTuples

TEST(MergeAssocTuples, addsNothingFromAnEmptyList)
{
    AssociationList current = {one};
    EXPECT_EQ(MergeAssocTuples(current, kovd1, {}), -1);
    EXPECT_EQ(current, AssociationList{one});
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(MergeAssocTuples, addsNothingThatIsThere)
{
    AssociationList current = {one, two, three};
    EXPECT_EQ(MergeAssocTuples(current, kovd1, {three, one, one}), -1);
    EXPECT_EQ(current, (AssociationList{one, two, three}));
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(MergeAssocTuples, appendsTheOneThatIsNew)
{
    AssociationList current = {one, two};
    EXPECT_EQ(MergeAssocTuples(current, kovd1, {two, three, one}), 0);
    EXPECT_EQ(current, (AssociationList{one, two, three}));
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(MergeAssocTuples, appendsInTheOrderOfTheAdditions)
{
    AssociationList current;
    EXPECT_EQ(MergeAssocTuples(current, kovd1, {three, one, two}), 0);
    EXPECT_EQ(current, (AssociationList{three, one, two}));
}

TEST(MergeAssocTuples, appendsAnAdditionThatStandsTwiceOnce)
{
    AssociationList current = {one};
    EXPECT_EQ(MergeAssocTuples(current, kovd1, {two, two}), 0);
    EXPECT_EQ(current, (AssociationList{one, two}));
}

TEST(MergeAssocTuples, tellsTuplesApartByEachOfTheirTexts)
{
    const auto& [forward, backward, endpoint] = one;
    for (const AssociationTuple& other :
         {AssociationTuple{"Chassis", backward, endpoint},
          AssociationTuple{forward, "cache", endpoint}, AssociationTuple{forward, backward, cpu2}})
    {
        AssociationList current = {one};
        EXPECT_EQ(MergeAssocTuples(current, kovd1, {other}), 0);
        EXPECT_EQ(current, (AssociationList{one, other}));
    }
}

TEST(MergeAssocTuples, neitherReadsNorStoresALastList)
{
    setWritten(kovd1, {one});
    AssociationList current;
    EXPECT_EQ(MergeAssocTuples(current, kovd1, {one}), 0);
    EXPECT_EQ(written(kovd1), AssociationList{one});
    EXPECT_TRUE(recorded_requests::all().empty());
}

} // namespace
