#include "inspect/near_miss.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

using inspect::World;

TEST(nearMisses, nameAChangeThatMakesThePair)
{
    World world = inspect::readFolder(inventories / "awkward");
    const auto misses = inspect::nearMisses(inspect::runEngine(world));
    EXPECT_GE(misses.size(), 8U);
    for (const inspect::NearMiss& miss : misses)
    {
        World changed = world;
        for (sim::Objects* objects : {&changed.smbios, &changed.board})
        {
            const auto object = objects->find(miss.changedPath);
            if (object == objects->end())
            {
                continue;
            }
            for (auto& [interface, properties] : object->second)
            {
                const bool text = miss.value.front() == '"';
                const auto number = text ? 0 : std::stoi(miss.value);
                properties[miss.property] =
                    text ? sim::Value::string(miss.value.substr(1, miss.value.size() - 2))
                    : miss.property == "PCIeLocatorType"
                        ? sim::Value::byte(static_cast<std::uint8_t>(number))
                        : sim::Value::uint16(static_cast<std::uint16_t>(number));
            }
        }
        const auto lists = inspect::runEngine(changed).lists;
        ASSERT_TRUE(lists.contains(miss.platformPath)) << miss.platformPath;
        EXPECT_EQ(inspect::partnerOf(lists.at(miss.platformPath)), miss.smbiosPath);
    }
}

} // namespace
