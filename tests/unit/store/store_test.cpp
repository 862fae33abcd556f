#include "store/store.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace
{

template <std::size_t index>
using Alternative = std::variant_alternative_t<index, PropertyValue>;

struct NamedMap
{
    const char* name;
    ObjectMap& objects;
    Mutex& mutex;
};

const std::array<NamedMap, 7> maps = {{
    {"smbiosPCIeSlotObjs", smbiosPCIeSlotObjs, smbiosPCIeSlotObjsMutex},
    {"kovdPCIeSlotObjs", kovdPCIeSlotObjs, kovdPCIeSlotObjsMutex},
    {"kovdPCIeDeviceObjs", kovdPCIeDeviceObjs, kovdPCIeDeviceObjsMutex},
    {"kovdChassisPathSlotObjs", kovdChassisPathSlotObjs, kovdChassisPathSlotObjsMutex},
    {"smbiosCPUObjs", smbiosCPUObjs, smbiosCPUObjsMutex},
    {"smbiosCacheObjs", smbiosCacheObjs, smbiosCacheObjsMutex},
    {"kovdCPUObjs", kovdCPUObjs, kovdCPUObjsMutex},
}};

TEST(PropertyValue, triesItsTypesInThisOrder)
{
    static_assert(std::variant_size_v<PropertyValue> == 13);
    static_assert(std::is_same_v<Alternative<0>, std::vector<std::string>>);
    static_assert(std::is_same_v<Alternative<1>, std::string>);
    static_assert(std::is_same_v<Alternative<2>, std::int64_t>);
    static_assert(std::is_same_v<Alternative<3>, std::uint64_t>);
    static_assert(std::is_same_v<Alternative<4>, double>);
    static_assert(std::is_same_v<Alternative<5>, std::int32_t>);
    static_assert(std::is_same_v<Alternative<6>, std::uint32_t>);
    static_assert(std::is_same_v<Alternative<7>, std::int16_t>);
    static_assert(std::is_same_v<Alternative<8>, std::uint16_t>);
    static_assert(std::is_same_v<Alternative<9>, std::uint8_t>);
    static_assert(std::is_same_v<Alternative<10>, bool>);
    static_assert(std::is_same_v<Alternative<11>, std::vector<std::uint8_t>>);
    static_assert(std::is_same_v<Alternative<12>, AssociationList>);
    EXPECT_EQ(PropertyValue{}, PropertyValue(std::vector<std::string>{}));
}

TEST(Store, keepsEachKindOfObjectInAMapOfItsOwn)
{
    for (const NamedMap& map : maps)
    {
        SCOPED_TRACE(map.name);
        map.objects.insertObject("/object", {{"Name", std::string(map.name)}});
    }
    for (const NamedMap& map : maps)
    {
        SCOPED_TRACE(map.name);
        PropertyMap properties;
        ASSERT_TRUE(map.objects.getObject("/object", &properties));
        EXPECT_EQ(properties, (PropertyMap{{"Name", std::string(map.name)}}));
    }
}

TEST(Store, guardsEachMapWithAMutexOfItsOwn)
{
    // Always the later map under the earlier one's mutex, so that no two are taken both ways.
    for (auto held = maps.begin(); held != maps.end(); ++held)
    {
        MutexLock lock(held->mutex);
        for (auto other = held + 1; other != maps.end(); ++other)
        {
            other->objects.insertObject("/object", {}); // would never return
            EXPECT_EQ(other->objects.eraseObject("/object"), 0);
        }
        EXPECT_TRUE(addAssociationPair("/smbios", "/kovd"));
        EXPECT_TRUE(takeAssociatedKOVDPath("/smbios"));
    }
}

} // namespace
