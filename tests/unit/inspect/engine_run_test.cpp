#include "base/names.hpp"
#include "environment.hpp"
#include "inspect/engine_run.hpp"
#include "model.hpp"
#include "random_worlds.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>

namespace
{

using inspect::Kind;
using inspect::Outcome;
using inspect::World;

using namespace worlds;

// What each shipped inventory says that must stand on the bus.

std::map<std::string, AssociationList> expectedLists(const std::filesystem::path& folder)
{
    const sim::Json json = sim::Json::parse(std::ifstream(folder / "expected.json"));
    std::map<std::string, AssociationList> lists;
    for (const char* part : {"pcie", "processors"})
    {
        for (const auto& [path, tuples] : json.at(part).items())
        {
            for (const sim::Json& tuple : tuples)
            {
                lists[path].emplace_back(tuple.at(0), tuple.at(1), tuple.at(2));
            }
        }
    }
    return lists;
}

TEST(runEngine, givesWhatEachShippedInventoryExpects)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(inventories))
    {
        if (entry.is_directory())
        {
            SCOPED_TRACE(entry.path().string());
            EXPECT_EQ(inspect::runEngine(inspect::readFolder(entry)).lists, expectedLists(entry));
            ++count;
        }
    }
    EXPECT_GE(count, 3U);
}

// Random machines, against the model.

machine::Kind kindOf(const std::string& interface)
{
    for (int number = 0; number < machine::kindCount; ++number)
    {
        if (machine::interfaceOf(static_cast<machine::Kind>(number)) == interface)
        {
            return static_cast<machine::Kind>(number);
        }
    }
    throw std::logic_error(interface);
}

/** True when one of the inserts asks for a resync. */
bool insertAll(model::Model& model, const sim::Objects& objects)
{
    bool requested = false;
    for (const auto& [path, interfaces] : objects)
    {
        for (const auto& [interface, properties] : inspect::toInterfaceMap(interfaces))
        {
            machine::Event event;
            event.kind = kindOf(interface);
            event.path = path;
            event.properties = properties;
            model.happen(event);
            requested |= model.world.recoveryRequested;
        }
    }
    return requested;
}

/** What the daemon has to do at start-up, by the model. */
model::World modelled(const World& world)
{
    model::Model model;
    bool requested = false;
    for (const sim::Objects* objects : {&world.smbios, &world.board, &world.chassis})
    {
        requested |= insertAll(model, *objects);
    }
    for (const auto pass : {machine::Event::Type::pciePass, machine::Event::Type::cpuPass})
    {
        machine::Event event;
        event.type = pass;
        model.happen(event);
    }
    model.world.recoveryRequested = requested;
    return model.world;
}

TEST(runEngine, givesWhatTheModelGivesOfRandomMachines)
{
    RandomWorlds random(RandomWorlds::Types::any);
    std::size_t written = 0;
    std::size_t refused = 0;
    const std::uint64_t rounds = environment::rounds(500);
    for (std::uint64_t round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        const World world = random.next();
        const Outcome outcome = inspect::runEngine(world);
        const model::World wanted = modelled(world);
        std::vector<model::HandOver> writes;
        for (const inspect::Write& write : outcome.writes)
        {
            writes.push_back({write.path, write.list});
        }
        ASSERT_EQ(writes == wanted.handOvers, true);
        std::map<std::string, std::string> pairs(wanted.pairs.begin(), wanted.pairs.end());
        ASSERT_EQ(outcome.pairs, pairs);
        ASSERT_EQ(!outcome.refusals.empty(), wanted.recoveryRequested);
        written += writes.size();
        refused += outcome.refusals.size();
    }
    // The machines are of the kind that tells something.
    EXPECT_GT(written, 2 * rounds);
    EXPECT_GT(refused, rounds / 20);
}

TEST(runEngine, leavesNothingBehindForTheNextRun)
{
    const World world = inspect::readFolder(inventories / "two-socket-2u");
    const auto first = inspect::runEngine(world).lists;
    inspect::runEngine(inspect::readFolder(inventories / "awkward"));
    EXPECT_EQ(inspect::runEngine(world).lists, first);
    EXPECT_TRUE(inspect::runEngine(World()).lists.empty());
}

TEST(runEngine, tellsWhichPropertyKeepsAnObjectFromBeingStored)
{
    World world;
    auto [path, interfaces] = sim::makeSmbiosSlot(1);
    interfaces[std::string(names::smbiosSlotInterface)]["SlotID"] = sim::Value::uint32(1);
    world.smbios.emplace(path, interfaces);
    const Outcome outcome = inspect::runEngine(world);
    ASSERT_EQ(outcome.refusals.size(), 1U);
    EXPECT_EQ(outcome.refusals[0].property, "SlotID");
    EXPECT_EQ(outcome.refusals[0].type, "u");
    EXPECT_EQ(outcome.refusals[0].wanted, "q");
    EXPECT_FALSE(outcome.kindOf(path).has_value());
}

} // namespace
