#include "doubles/failing_allocation.hpp"
#include "store/property_map.hpp"

#include <gtest/gtest.h>

#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace
{

using std::string;

std::vector<string> namesOf(const PropertyMap& properties)
{
    std::vector<string> names;
    for (const auto& [name, value] : properties)
    {
        names.emplace_back(name);
    }
    return names;
}

TEST(PropertyName, isMadeOfConstantsAlone)
{
    static_assert(std::is_trivially_copyable_v<PropertyName>);
    constexpr std::string_view constant = "SlotID";
    constexpr PropertyName name = constant;
    EXPECT_EQ(std::string_view(name), "SlotID");
    EXPECT_EQ(name, PropertyName("SlotID"));
    EXPECT_FALSE(name == PropertyName("SlotId"));
}

TEST(PropertyMap, isInByteOrderOfTheNames)
{
    PropertyMap properties{{"b", true}, {"a", true}, {"\xff", true}};
    properties.insert_or_assign("ab", true);
    properties.insert_or_assign("B", true);
    EXPECT_EQ(namesOf(properties), (std::vector<string>{"B", "a", "ab", "b", "\xff"}));
    EXPECT_EQ(properties.size(), 5U);
}

TEST(PropertyMap, keepsTheLaterOfTwoWithTheSameName)
{
    EXPECT_EQ((PropertyMap{{"a", true}, {"a", std::uint8_t{1}}}),
              (PropertyMap{{"a", std::uint8_t{1}}}));
}

TEST(PropertyMap, findsWholeNamesAlone)
{
    const PropertyMap properties{{"Bus", std::uint8_t{1}}, {"BusNumber", std::uint8_t{2}}};
    ASSERT_NE(properties.find("Bus"), nullptr);
    EXPECT_EQ(*properties.find("Bus"), PropertyValue(std::uint8_t{1}));
    EXPECT_EQ(*properties.find(string("BusNumber")), PropertyValue(std::uint8_t{2}));
    for (const char* name : {"", "Bu", "BusN", "bus", "BusNumbers", "Z"})
    {
        EXPECT_EQ(properties.find(name), nullptr) << name;
    }
    EXPECT_EQ(PropertyMap().find("Bus"), nullptr);
}

TEST(PropertyMap, replacesAValueByOneOfAnyType)
{
    PropertyMap properties{{"a", string("text")}, {"b", true}};
    properties.insert_or_assign("a", 1.5);
    EXPECT_EQ(properties, (PropertyMap{{"a", 1.5}, {"b", true}}));
}

TEST(PropertyMap, isEqualWhenNamesTypesAndValuesAre)
{
    const PropertyMap properties{{"a", std::uint16_t{1}}};
    EXPECT_EQ(properties, (PropertyMap{{"a", std::uint16_t{1}}}));
    for (const PropertyMap& other :
         {PropertyMap{}, PropertyMap{{"a", std::uint16_t{2}}}, PropertyMap{{"a", std::uint8_t{1}}},
          PropertyMap{{"b", std::uint16_t{1}}},
          PropertyMap{{"a", std::uint16_t{1}}, {"b", std::uint16_t{1}}}})
    {
        EXPECT_FALSE(properties == other);
    }
    EXPECT_TRUE(PropertyMap().empty());
    EXPECT_FALSE(properties.empty());
}

TEST(PropertyMap, takesNoMemoryWhereRoomWasMade)
{
    PropertyMap properties;
    properties.reserve(2);
    failing_allocation::arm(0);
    properties.insert_or_assign("b", true);
    properties.insert_or_assign("a", true);
    EXPECT_FALSE(failing_allocation::disarm());
    EXPECT_EQ(properties.size(), 2U);
}

TEST(PropertyMap, isAsItWasWhenMemoryRunsOut)
{
    PropertyMap properties{{"a", true}};
    const PropertyMap before = properties;
    failing_allocation::arm(0);
    EXPECT_THROW(properties.insert_or_assign("b", true), std::bad_alloc);
    EXPECT_TRUE(failing_allocation::disarm());
    EXPECT_EQ(properties, before);
}

} // namespace
