#include "doubles/failing_allocation.hpp"
#include "doubles/sample_objects.hpp"
#include "store/object_map.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace
{

using std::string;
using Paths = std::vector<string>;

const string slot1 = "/a/slot1";
const string slot2 = "/a/slot2";
const string slot3 = "/a/slot3";

const PropertyMap first = {{"SlotID", std::uint16_t{1}}, {"SlotDesignation", string("one")}};
const PropertyMap second = {{"SlotID", std::uint16_t{2}}};

struct TestMap
{
    Mutex mutex;
    ObjectMap objects{mutex};

    void insert(const Paths& paths)
    {
        for (const string& path : paths)
        {
            objects.insertObject(path, {{"Name", path}});
        }
    }

    std::optional<PropertyMap> get(const string& path) const
    {
        PropertyMap properties;
        return objects.getObject(path, &properties) ? std::optional(properties) : std::nullopt;
    }
};

TEST(insertObject, storesACopy)
{
    TestMap map;
    PropertyMap properties = first;
    map.objects.insertObject(slot1, properties);
    properties = {};
    EXPECT_EQ(map.get(slot1), first);
    EXPECT_TRUE(map.objects.hasObject(slot1));
}

TEST(insertObject, replacesAllProperties)
{
    TestMap map;
    map.objects.insertObject(slot1, first);
    map.objects.insertObject(slot1, second);
    EXPECT_EQ(map.get(slot1), second);
    map.objects.insertObject(slot1, {});
    EXPECT_EQ(map.get(slot1), PropertyMap{});
    EXPECT_EQ(map.objects.listObjectPaths(), Paths{slot1});
}

TEST(insertObject, leavesAnUnchangedObjectAsItIs)
{
    TestMap map;
    map.objects.insertObject(slot1, first);
    map.insert({slot2});
    const SharedObject object = map.objects.findObject(slot1);
    const ObjectMap::Snapshot snapshot = map.objects.snapshot();
    map.objects.insertObject(slot1, first);
    EXPECT_EQ(map.objects.findObject(slot1), object);
    EXPECT_TRUE(map.objects.isLatest(snapshot));

    PropertyMap longer = first;
    longer.insert_or_assign("Z", true);
    for (const PropertyMap& other : {second, first, longer, PropertyMap{}})
    {
        map.objects.insertObject(slot1, other);
        EXPECT_EQ(map.get(slot1), other);
        EXPECT_FALSE(map.objects.isLatest(snapshot));
    }
}

TEST(insertObject, keepsAValueOfEveryType)
{
    constexpr std::array<PropertyName, 13> names{"A", "B", "C", "D", "E", "F", "G",
                                                 "H", "I", "J", "K", "L", "M"};
    TestMap map;
    PropertyMap properties;
    for (const PropertyValue& value : sample::everyType())
    {
        properties.insert_or_assign(names.at(value.index()), value);
    }
    map.objects.insertObject(slot1, properties);
    EXPECT_EQ(map.get(slot1), properties);
}

TEST(insertObject, changesNothingWhenMemoryRunsOut)
{
    for (std::size_t spared = 0;; ++spared)
    {
        SCOPED_TRACE(spared);
        TestMap map;
        map.objects.insertObject(slot1, first);
        map.insert({slot3});
        PropertyMap properties = second;
        bool thrown = false;
        failing_allocation::arm(spared);
        try
        {
            map.objects.insertObject(slot2, std::move(properties));
        }
        catch (const std::bad_alloc&)
        {
            thrown = true;
        }
        if (!failing_allocation::disarm())
        {
            EXPECT_EQ(map.get(slot2), second);
            break;
        }
        EXPECT_TRUE(thrown);
        EXPECT_EQ(map.objects.listObjectPaths(), (Paths{slot1, slot3}));
        EXPECT_EQ(map.get(slot1), first);
    }
}

TEST(hasObject, knowsWholePathsOnly)
{
    TestMap map;
    EXPECT_FALSE(map.objects.hasObject(slot1));
    EXPECT_FALSE(map.objects.hasObject(""));
    map.insert({slot1});
    EXPECT_TRUE(map.objects.hasObject(slot1));
    EXPECT_FALSE(map.objects.hasObject("/a/slot"));
    EXPECT_FALSE(map.objects.hasObject("/a/slot10"));
    EXPECT_FALSE(map.objects.hasObject("/A/slot1"));
}

TEST(hasObject, takesAnyTextAsPath)
{
    TestMap map;
    const Paths paths = {"", string("\0", 1), "/", "\xff\xfe", "%s\n"};
    map.insert(paths);
    for (const string& path : paths)
    {
        EXPECT_TRUE(map.objects.hasObject(path)) << path;
        EXPECT_EQ(map.get(path), (PropertyMap{{"Name", path}}));
    }
}

TEST(eraseObject, removesOnce)
{
    TestMap map;
    map.insert({slot1, slot2});
    EXPECT_EQ(map.objects.eraseObject(slot1), 0);
    EXPECT_FALSE(map.objects.hasObject(slot1));
    EXPECT_EQ(map.objects.eraseObject(slot1), -1);
    EXPECT_EQ(map.objects.listObjectPaths(), Paths{slot2});
}

TEST(eraseObject, ofAnAbsentPathChangesNothing)
{
    TestMap map;
    EXPECT_EQ(map.objects.eraseObject(slot1), -1);
    map.insert({slot1, slot3});
    for (const string path : {"", "/a/slot", "/a/slot2", "/a/slot4", "/"})
    {
        EXPECT_EQ(map.objects.eraseObject(path), -1) << path;
    }
    EXPECT_EQ(map.objects.listObjectPaths(), (Paths{slot1, slot3}));
}

TEST(getObject, copiesOut)
{
    TestMap map;
    map.objects.insertObject(slot1, first);
    PropertyMap properties = second;
    EXPECT_TRUE(map.objects.getObject(slot1, &properties));
    EXPECT_EQ(properties, first);
    properties = {};
    EXPECT_EQ(map.get(slot1), first);
}

TEST(getObject, ofAnAbsentPathLeavesTheOutputAlone)
{
    TestMap map;
    map.objects.insertObject(slot1, first);
    PropertyMap properties = second;
    EXPECT_FALSE(map.objects.getObject(slot2, &properties));
    EXPECT_EQ(properties, second);
}

TEST(getObject, withoutAnOutputTakesNoLock)
{
    TestMap map;
    map.objects.insertObject(slot1, first);
    map.mutex.lock(); // a second lock by this thread would never return
    EXPECT_FALSE(map.objects.getObject(slot1, nullptr));
    map.mutex.unlock();
}

TEST(listObjectPaths, ofAnEmptyMapIsEmpty)
{
    TestMap map;
    EXPECT_EQ(map.objects.listObjectPaths(), Paths{});
}

TEST(listObjectPaths, isInByteOrder)
{
    TestMap map;
    map.insert({"/b", "/a/slot2", "\xff", "/a/slot10", "/a/Slot1", "/a/slot1", "", "/a"});
    EXPECT_EQ(map.objects.listObjectPaths(),
              (Paths{"", "/a", "/a/Slot1", "/a/slot1", "/a/slot10", "/a/slot2", "/b", "\xff"}));
}

TEST(listObjectPaths, isACopyOfOneMoment)
{
    TestMap map;
    map.insert({slot1});
    const Paths paths = map.objects.listObjectPaths();
    map.insert({slot2});
    map.objects.eraseObject(slot1);
    EXPECT_EQ(paths, Paths{slot1});
}

TEST(findObject, sharesTheStoredObject)
{
    TestMap map;
    EXPECT_EQ(map.objects.findObject(slot1), nullptr);
    map.objects.insertObject(slot1, first);
    const SharedObject object = map.objects.findObject(slot1);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->path, slot1);
    EXPECT_EQ(object, map.objects.findObject(slot1));

    map.objects.insertObject(slot1, second);
    EXPECT_EQ(object->properties, first); // what was found never changes
    EXPECT_EQ(map.objects.findObject(slot1)->properties, second);
    map.objects.eraseObject(slot1);
    EXPECT_EQ(object->properties, first);
    EXPECT_EQ(map.objects.findObject(slot1), nullptr);
}

TEST(snapshot, keepsTheObjectsOfItsMoment)
{
    TestMap map;
    map.insert({slot3, slot1});
    const ObjectMap::Snapshot before = map.objects.snapshot();
    map.objects.insertObject(slot1, second);
    map.objects.eraseObject(slot3);
    map.insert({slot2});

    ASSERT_EQ(before->size(), 2U);
    EXPECT_EQ((*before)[0]->path, slot1);
    EXPECT_EQ((*before)[0]->properties, (PropertyMap{{"Name", slot1}}));
    EXPECT_EQ((*before)[1]->path, slot3);
    const ObjectMap::Snapshot after = map.objects.snapshot();
    ASSERT_EQ(after->size(), 2U);
    EXPECT_EQ((*after)[0]->properties, second);
    EXPECT_EQ((*after)[1]->path, slot2);
}

TEST(snapshot, isSharedUntilTheNextChange)
{
    TestMap map;
    map.insert({slot1});
    const ObjectMap::Snapshot before = map.objects.snapshot();
    map.objects.eraseObject(slot2); // absent: no change
    EXPECT_EQ(map.objects.snapshot(), before);
    map.objects.insertObject(slot1, second);
    const ObjectMap::Snapshot replaced = map.objects.snapshot();
    EXPECT_NE(replaced, before);
    map.objects.eraseObject(slot1);
    EXPECT_NE(map.objects.snapshot(), replaced);
    EXPECT_TRUE(map.objects.snapshot()->empty());
}

TEST(isLatest, untilTheNextChange)
{
    TestMap map;
    map.insert({slot1, slot2});
    const ObjectMap::Snapshot snapshot = map.objects.snapshot();
    EXPECT_TRUE(map.objects.isLatest(snapshot));
    map.objects.eraseObject(slot3); // absent: no change
    EXPECT_TRUE(map.objects.isLatest(snapshot));

    map.objects.eraseObject(slot1);
    EXPECT_FALSE(map.objects.isLatest(snapshot));
    map.objects.insertObject(slot1, (*snapshot)[0]->properties); // as it was, but changed twice
    EXPECT_FALSE(map.objects.isLatest(snapshot));
}

TEST(isLatest, isTrueOfOneSnapshotAtATime)
{
    TestMap map;
    map.insert({slot1});
    const ObjectMap::Snapshot before = map.objects.snapshot();
    map.objects.insertObject(slot1, second);
    const ObjectMap::Snapshot after = map.objects.snapshot();
    EXPECT_FALSE(map.objects.isLatest(before));
    EXPECT_TRUE(map.objects.isLatest(after));

    map.insert({slot2});
    EXPECT_FALSE(map.objects.isLatest(after));
}

TEST(isLatest, takesNoLock)
{
    TestMap map;
    const ObjectMap::Snapshot snapshot = map.objects.snapshot();
    map.mutex.lock(); // a second lock by this thread would never return
    EXPECT_TRUE(map.objects.isLatest(snapshot));
    map.mutex.unlock();
}

} // namespace
