#include "base/names.hpp"
#include "inspect/engine_run.hpp"
#include "inspect/machine.hpp"
#include "model.hpp"
#include "sim/capture.hpp"
#include "sim/samples.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <set>
#include <stdexcept>

namespace
{

using inspect::Kind;
using inspect::Outcome;
using inspect::World;

const std::filesystem::path inventories = INVENTORY_FOLDER;

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

std::set<std::string> keysOf(const sim::Json& json)
{
    std::set<std::string> keys;
    for (const auto& [key, value] : json.items())
    {
        keys.insert(key);
    }
    return keys;
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

// Random machines, against the model.

struct MakeValue
{
    sim::Value operator()(const std::vector<std::string>& list) const
    {
        return sim::Value::strings(list);
    }
    sim::Value operator()(const std::string& text) const
    {
        return sim::Value::string(text);
    }
    sim::Value operator()(std::uint16_t number) const
    {
        return sim::Value::uint16(number);
    }
    sim::Value operator()(std::uint32_t number) const
    {
        return sim::Value::uint32(number);
    }
    sim::Value operator()(std::int16_t number) const
    {
        return sim::Value::int16(number);
    }
    sim::Value operator()(std::uint8_t number) const
    {
        return sim::Value::byte(number);
    }
    sim::Value operator()(bool truth) const
    {
        return sim::Value::boolean(truth);
    }
    template <class Other>
    sim::Value operator()(const Other&) const
    {
        throw std::logic_error("the generator makes no such value");
    }
};

sim::Value toValue(const PropertyValue& value)
{
    return std::visit(MakeValue(), value);
}

class RandomWorlds
{
  public:
    World next()
    {
        World world;
        for (int number = 0; number < machine::kindCount; ++number)
        {
            const auto kind = static_cast<machine::Kind>(number);
            for (std::size_t index = 0; index < machine::pathsOf(kind).size(); ++index)
            {
                if (below(8) != 0)
                {
                    add(world, kind, index);
                }
            }
        }
        return world;
    }

  private:
    unsigned below(unsigned bound)
    {
        return static_cast<unsigned>(random_() % bound); // the same on every standard library
    }

    template <class List>
    const auto& oneOf(const List& list)
    {
        return list[below(static_cast<unsigned>(list.size()))];
    }

    PropertyValue wrongType()
    {
        const PropertyValue values[] = {std::uint32_t{1}, std::int16_t{1},
                                        std::vector<std::string>{}, true};
        return values[below(4)];
    }

    void add(World& world, machine::Kind kind, std::size_t index)
    {
        const std::string& path = machine::pathsOf(kind)[index];
        if (!path.starts_with("/") || path.ends_with("/"))
        {
            return; // no bus has such a path
        }
        const int own = static_cast<int>(index) + 1;
        PropertyMap properties =
            machine::wholeObject(kind, below(4) != 0 ? own : 1 + static_cast<int>(below(3)));
        for (unsigned change = below(3); change > 0; --change)
        {
            const machine::Property& property = oneOf(machine::propertiesOf(kind));
            properties[property.name] = below(24) == 0 ? wrongType() : oneOf(property.values);
        }
        if (below(8) == 0)
        {
            properties.erase(oneOf(machine::propertiesOf(kind)).name);
        }
        sim::Properties& made = objectsFor(world, path, kind)[path][machine::interfaceOf(kind)];
        for (const auto& [name, value] : properties)
        {
            made.emplace(name, toValue(value));
        }
    }

    static sim::Objects& objectsFor(World& world, const std::string& path, machine::Kind kind)
    {
        const bool smbios = kind == machine::Kind::smbiosSlot || kind == machine::Kind::smbiosCpu ||
                            kind == machine::Kind::smbiosCache;
        return smbios                                   ? world.smbios
               : path.starts_with(names::kovdBoardPath) ? world.board
                                                        : world.chassis;
    }

    std::mt19937 random_{20261121};
};

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
    RandomWorlds worlds;
    std::size_t written = 0;
    std::size_t refused = 0;
    for (int round = 0; round < 2000; ++round)
    {
        SCOPED_TRACE(round);
        const World world = worlds.next();
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
    EXPECT_GT(written, 4000U);
    EXPECT_GT(refused, 100U);
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

// What stands on the objects, against what the rules give.

World writtenWorld()
{
    const sim::InventoryCapture made = sim::makeInventory(2);
    World world;
    world.smbios = made.smbios;
    for (const auto& [path, interfaces] : made.kovd)
    {
        (path.starts_with(names::kovdBoardPath) ? world.board : world.chassis)
            .emplace(path, interfaces);
    }
    for (const auto& [path, list] : inspect::runEngine(world).lists)
    {
        sim::Associations tuples;
        for (const auto& [forward, reverse, endpoint] : list)
        {
            tuples.push_back({forward, reverse, endpoint});
        }
        auto& objects = world.board.contains(path) ? world.board : world.chassis;
        objects[path][std::string(names::associationsInterface)]["Associations"] =
            sim::Value::associations(tuples);
    }
    return world;
}

void setList(World& world, const std::string& path, const sim::Associations& list)
{
    world.board[path][std::string(names::associationsInterface)]["Associations"] =
        sim::Value::associations(list);
}

TEST(examine, seesPairedWhatStandsAsTheRulesGive)
{
    const inspect::Machine machine = inspect::examine(writtenWorld());
    EXPECT_TRUE(machine.written);
    for (const inspect::Entry& entry : machine.entries)
    {
        EXPECT_EQ(entry.state, inspect::State::paired) << entry.path;
    }
    EXPECT_TRUE(machine.untaken.empty());
}

TEST(examine, seesDriftedWhatCameBackEmpty)
{
    World world = writtenWorld();
    setList(world, sim::kovdSlotPath(1), {});
    const inspect::Machine machine = inspect::examine(world);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(1))->state, inspect::State::drifted);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(2))->state, inspect::State::paired);
}

TEST(examine, seesStaleWhatLeadsToAnObjectThatIsGone)
{
    World world = writtenWorld();
    world.smbios.erase(sim::smbiosSlotPath(1));
    const inspect::Machine machine = inspect::examine(world);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(1))->state, inspect::State::stale);
    EXPECT_EQ(machine.find(sim::kovdDevicePath(1, 1))->state, inspect::State::stale);
    EXPECT_EQ(machine.find(sim::kovdSlotPath(2))->state, inspect::State::paired);
}

} // namespace
