#include "base/names.hpp"
#include "inspect/health.hpp"
#include "sim/bus.hpp"
#include "sim/service.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace worlds;
using inspect::Symptom;

constexpr const char* association = "xyz.openbmc_project.Association";

/** Who the association mapper is on the bus: its objects carry nothing but what is loaded. */
sim::Profile mapperProfile()
{
    return {"xyz.openbmc_project.ObjectMapper", {}, {}};
}

/** One end of an association, as the mapper shows it. */
sim::Interfaces endpoints(const std::vector<std::string>& paths)
{
    return {{association, {{"endpoints", sim::Value::strings(paths)}}}};
}

/** A bus with both services, whose two slots and one processor carry what the daemon writes. */
class Health : public testing::Test
{
  protected:
    Health() : world(written(worldOf(sim::makeInventory(2, 1))))
    {
        smbios.load(world.smbios);
        loadPlatform();
        smbios.start();
        kovd.start();
    }

    void loadPlatform()
    {
        sim::Objects objects = world.board;
        objects.insert(world.chassis.begin(), world.chassis.end());
        kovd.load(objects);
    }

    /** What the mapper shows when it knows of every pair, in both directions. */
    sim::Objects allEndpoints() const
    {
        std::map<std::string, std::vector<std::string>> shown;
        for (const sim::Objects* objects : {&world.board, &world.chassis})
        {
            for (const auto& [path, interfaces] : *objects)
            {
                for (const auto& [forward, reverse, endpoint] : inspect::associationsOf(interfaces))
                {
                    shown[path + "/" + forward].push_back(endpoint);
                    shown[endpoint + "/" + reverse].push_back(path);
                }
            }
        }
        sim::Objects objects;
        for (const auto& [path, paths] : shown)
        {
            objects.emplace(path, endpoints(paths));
        }
        return objects;
    }

    void startMapper(sim::Objects objects)
    {
        mapper.load(std::move(objects));
        mapper.start();
    }

    std::vector<Symptom> examine() const
    {
        return inspect::examineHealth(sim::connectTo(bus.address()).get());
    }

    /** What is said under the name of a check, the well ones left out. */
    std::vector<std::string> unwell(const std::string& check) const
    {
        std::vector<std::string> sentences;
        for (const Symptom& symptom : examine())
        {
            if (symptom.check == check && !symptom.well)
            {
                sentences.push_back(symptom.sentence);
            }
        }
        return sentences;
    }

    std::string last(const std::string& check) const
    {
        std::string sentence;
        for (const Symptom& symptom : examine())
        {
            sentence = symptom.check == check ? symptom.sentence : sentence;
        }
        return sentence;
    }

    using Sentences = std::vector<std::string>;

    sim::PrivateBus bus;
    inspect::World world;
    sim::Service smbios{bus.address(), sim::smbiosProfile()};
    sim::Service kovd{bus.address(), sim::kovdProfile()};
    sim::Service mapper{bus.address(), mapperProfile()};
};

TEST_F(Health, MissesTheDaemonAloneWhenAllElseIsThere)
{
    const auto symptoms = examine();
    EXPECT_EQ(std::ranges::count(symptoms, false, &Symptom::well), 1);
    EXPECT_EQ(unwell("name-owner"), Sentences{"The daemon com.vexa.kesto.kovdSupportService is not "
                                              "on the bus."});
    EXPECT_EQ(last("writable"),
              "Associations can be written on all 7 objects that have a partner.");
    EXPECT_EQ(last("agreement"), "What stands on all 7 objects is what the rules give.");
    EXPECT_EQ(last("mapper"), "No association mapper is on the bus.");
}

TEST_F(Health, MissesAServiceThatIsNotThere)
{
    kovd.stop();
    EXPECT_EQ(unwell("name-owner").size(), 2U);
    smbios.stop();
    EXPECT_THROW(examine(), sim::Error); // there is nothing to look at
}

TEST_F(Health, SeesThatNothingWasWritten)
{
    world = worldOf(sim::makeInventory(2, 1));
    loadPlatform();
    EXPECT_EQ(unwell("policy"), Sentences{"No association is there: does the daemon run, and does "
                                          "the bus policy let it write?"});
    EXPECT_EQ(unwell("agreement"),
              Sentences{"What stands on 7 objects is not what the rules give; the first is " +
                        sim::kovdCpuPath(1) + "."});
}

TEST_F(Health, IsWellWithAMapperThatShowsEveryPairBothWays)
{
    startMapper(allEndpoints());
    EXPECT_EQ(unwell("mapper"), Sentences());
    EXPECT_EQ(unwell("mapper-many"), Sentences());
    EXPECT_EQ(last("mapper"), "The mapper shows all 10 associations in both directions.");
}

TEST_F(Health, NamesThePairsThatTheMapperShowsInOneDirectionOnly)
{
    sim::Objects objects = allEndpoints();
    objects.erase(sim::kovdSlotPath(1) + "/chassis");
    objects[sim::smbiosSlotPath(2) + "/pcieslot"] =
        endpoints({sim::kovdDevicePath(2, 1), sim::kovdChassisPath(2)});
    startMapper(objects);
    EXPECT_EQ(unwell("mapper"),
              (Sentences{"The mapper does not show " + sim::smbiosSlotPath(1) + " at " +
                             sim::kovdSlotPath(1) + "/chassis.",
                         "The mapper does not show " + sim::kovdSlotPath(2) + " at " +
                             sim::smbiosSlotPath(2) + "/pcieslot.",
                         "The mapper shows 8 of 10 associations in both directions."}));
}

TEST_F(Health, NamesASlotWithTwoChassisEndpoints)
{
    sim::Objects objects = allEndpoints();
    objects[sim::kovdSlotPath(2) + "/chassis"] =
        endpoints({sim::smbiosSlotPath(2), "/xyz/openbmc_project/inventory/system/chassis"});
    startMapper(objects);
    EXPECT_EQ(unwell("mapper"), Sentences());
    EXPECT_EQ(unwell("mapper-many"),
              Sentences{sim::kovdSlotPath(2) + " has 2 chassis endpoints: the Redfish page of the "
                                               "slot fails."});
}

} // namespace
