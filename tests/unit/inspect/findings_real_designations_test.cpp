// What real servers call their slots and sockets, taken through explain and check.
//
// Beside each machine stands a platform that knows its slots by their identifiers and its
// processors by their number, and whose objects carry what the daemon would write. The verdicts and
// the findings are counted.

#include "base/names.hpp"
#include "inspect/explain.hpp"
#include "inspect/findings.hpp"
#include "real_designations.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <iostream>

namespace
{

using namespace worlds;
using inspect::World;
using sim::Json;
using sim::Value;

using Counts = std::map<std::string, std::size_t>;

Value numberOf(const Json& number)
{
    return Value::uint16(number.is_null() ? std::uint16_t{0} : number.get<std::uint16_t>());
}

void addSlot(World& world, unsigned number, const Json& slot)
{
    const Json& known = slot.at("id");
    const std::string id = known.is_null() ? "0" : known.dump();
    const std::string fqdd = "PcieSlotPlaceholder.Slot." + id + "-1";
    world.smbios[sim::smbiosSlotPath(number)][std::string(names::smbiosSlotInterface)] = {
        {"SlotDesignation", Value::string(slot.at("designation").get<std::string>())},
        {"SlotID", numberOf(known)}};
    world.board[sim::kovdSlotPath(number)][std::string(names::kovdSlotInterface)] = {
        {"PCIeFQDD", Value::string(fqdd)},
        {"PCIeLocatorType", Value::byte(6)},
        {"PCIeLocatorInstanceNum", numberOf(known)}};
    world.board[sim::kovdDevicePath(number, 1)][std::string(names::kovdDeviceInterface)] = {
        {"FQDD", Value::string(fqdd)}};
    world.chassis.insert(sim::makeKovdChassisDevice(number));
}

void addProcessor(World& world, unsigned number, const Json& cpu)
{
    world.smbios[sim::smbiosCpuPath(number)][std::string(names::smbiosCpuInterface)] = {
        {"Socket", Value::string(cpu.at("socket").get<std::string>())},
        {"L1CacheHandle", numberOf(cpu.at("l1"))},
        {"L2CacheHandle", numberOf(cpu.at("l2"))},
        {"L3CacheHandle", numberOf(cpu.at("l3"))}};
    world.board.insert(sim::makeKovdCpu(number));
}

World worldOfMachine(const Json& machine)
{
    World world;
    unsigned number = 0;
    for (const Json& slot : machine.at("slots"))
    {
        addSlot(world, ++number, slot);
    }
    number = 0;
    for (const Json& cpu : machine.at("processors"))
    {
        addProcessor(world, ++number, cpu);
    }
    for (const Json& cache : machine.at("caches"))
    {
        world.smbios[systemPath + "chassis/cacheinfo/cache" + cache.at("handle").dump()]
                    [std::string(names::smbiosCacheInterface)] = {
            {"Handle", numberOf(cache.at("handle"))}};
    }
    return world;
}

void print(const char* title, const Counts& counts)
{
    std::cout << "  " << title << ":\n";
    for (const auto& [what, count] : counts)
    {
        std::cout << "    " << what << ": " << count << "\n";
    }
}

class RealDesignations : public RealDesignationsTest
{
};

TEST_F(RealDesignations, AreExplainedOneByOne)
{
    Counts verdicts;
    for (const Json& json : machines)
    {
        const inspect::Machine machine = inspect::examine(worldOfMachine(json));
        for (const auto* objects : {&machine.world.smbios, &machine.world.board})
        {
            for (const auto& [path, interfaces] : *objects)
            {
                const auto made = inspect::explain(machine, path);
                EXPECT_FALSE(made.sentence.empty()) << path;
                EXPECT_FALSE(made.reason.empty()) << path;
                for (const inspect::Search& search : made.searches)
                {
                    for (const inspect::Candidate& candidate : search.candidates)
                    {
                        EXPECT_FALSE(candidate.text.empty()) << path << candidate.path;
                        ++verdicts[inspect::codeOf(candidate.failed)];
                    }
                }
            }
        }
    }
    print("verdicts", verdicts);
    EXPECT_GT(verdicts["match"], 0U);
    EXPECT_GT(verdicts["slot-id-equal"], 0U);
    EXPECT_GT(verdicts["slot-number-equal"], 0U);
}

TEST_F(RealDesignations, GoThroughCheck)
{
    Counts findings;
    Counts states;
    for (const Json& json : machines)
    {
        const inspect::Machine machine = inspect::examine(written(worldOfMachine(json)));
        for (const inspect::Entry& entry : machine.entries)
        {
            ++states[inspect::nameOf(entry.state)];
        }
        for (const inspect::Finding& finding : inspect::check(machine))
        {
            EXPECT_FALSE(finding.sentence.empty());
            EXPECT_FALSE(finding.change.empty());
            ++findings[finding.code];
        }
    }
    print("states", states);
    print("findings", findings);
    EXPECT_GT(states["paired"], 0U);
    EXPECT_GT(states["unpaired"], 0U);
    EXPECT_EQ(states["drifted"] + states["stale"], 0U); // all carry what the rules give
    EXPECT_GT(findings["near-miss"], 0U);
}

} // namespace
