#include "inspect/machine.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <set>

namespace
{

using namespace worlds;
using inspect::World;

std::set<std::string> keysOf(const sim::Json& json)
{
    std::set<std::string> keys;
    for (const auto& [key, value] : json.items())
    {
        keys.insert(key);
    }
    return keys;
}

TEST(examine, findsUnpairedWhatEachShippedInventoryExpects)
{
    for (const auto& entry : std::filesystem::directory_iterator(inventories))
    {
        if (!entry.is_directory())
        {
            continue;
        }
        SCOPED_TRACE(entry.path().string());
        const sim::Json json = sim::Json::parse(std::ifstream(entry.path() / "expected.json"));
        const inspect::Machine machine = inspect::examine(inspect::readFolder(entry));
        std::set<std::string> unpaired;
        for (const inspect::Entry& object : machine.entries)
        {
            if (object.state == inspect::State::unpaired)
            {
                unpaired.insert(object.path);
            }
        }
        std::set<std::string> expected = keysOf(json.at("unpairedPlatform"));
        // An object that the daemon does not store has no entry.
        std::erase_if(expected, [&](const std::string& path)
                      { return !machine.outcome.kindOf(path).has_value(); });
        EXPECT_EQ(unpaired, expected);
    }
}

TEST(examine, seesPairedWhatStandsAsTheRulesGive)
{
    const inspect::Machine machine = inspect::examine(written(worldOf(sim::makeInventory(2))));
    EXPECT_TRUE(machine.written);
    for (const inspect::Entry& entry : machine.entries)
    {
        EXPECT_EQ(entry.state, inspect::State::paired) << entry.path;
    }
    EXPECT_TRUE(machine.untaken.empty());
}

TEST(examine, seesDriftedWhatCameBackEmpty)
{
    World world = written(worldOf(sim::makeInventory(2)));
    setList(world, sim::kovdSlotPath(1), {});
    const inspect::Machine machine = inspect::examine(world);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(1))->state, inspect::State::drifted);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(2))->state, inspect::State::paired);
}

TEST(examine, seesStaleWhatLeadsToAnObjectThatIsGone)
{
    World world = written(worldOf(sim::makeInventory(2)));
    world.smbios.erase(sim::smbiosSlotPath(1));
    const inspect::Machine machine = inspect::examine(world);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(1))->state, inspect::State::stale);
    EXPECT_EQ(machine.find(sim::kovdDevicePath(1, 1))->state, inspect::State::stale);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(2))->state, inspect::State::paired);
}

} // namespace
