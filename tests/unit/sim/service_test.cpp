#include "service_fixture.hpp"
#include "sim/names.hpp"
#include "sim/service.hpp"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using namespace sim::names;
using sim::Json;
using sim::Value;
using std::string;

const string twin1 = sim::kovdChassisPath(1);
const sim::Properties some{{"P", Value::byte(1)}, {"Odd", {"(ii)", {1, 2}}}};

TEST_F(ServiceTest, ListsWhatLiesBelowEachManager)
{
    EXPECT_EQ(watcher.managedObjects(smbiosService, smbiosRoot).body[0].size(), 3U + 4);
    const Json board = watcher.managedObjects(kovdService, boardRoot).body[0];
    const Json chassis = watcher.managedObjects(kovdService, chassisRoot).body[0];
    EXPECT_EQ(board.size(), 3U + 3 + 1);
    EXPECT_EQ(chassis.size(), 3U);
    EXPECT_TRUE(chassis.contains(twin1));
    EXPECT_EQ(board[slot1][kovdSlot]["PCIeFQDD"], sim::valueToJson(Value::string("Nic.Slot.1-1")));
    EXPECT_EQ(board[slot1][associationDefinitions][associations],
              sim::valueToJson(Value::associations({})));
}

TEST_F(ServiceTest, HasNoManagerElsewhere)
{
    EXPECT_EQ(watcher.managedObjects(kovdService, "/").error, unknownMethod);
    EXPECT_EQ(watcher.managedObjects(kovdService, slot1).error, unknownMethod);
    EXPECT_EQ(watcher.managedObjects(smbiosService, boardRoot).error, unknownMethod);
}

TEST_F(ServiceTest, AnswersPropertyReads)
{
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeLocatorType").body[0],
              sim::valueToJson(Value::byte(6)));
    EXPECT_EQ(watcher.get(kovdService, "/none", kovdSlot, "P").error, unknownObject);
    EXPECT_EQ(watcher.get(kovdService, slot1, "x.none", "P").error, unknownInterface);
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "None").error, unknownProperty);
    const auto all =
        watcher.call(kovdService, slot1, properties, "GetAll", "s", Json::array({kovdSlot}));
    EXPECT_EQ(all.body[0].size(), sim::makeKovdSlot(1).second.at(kovdSlot).size());
    const auto everything =
        watcher.call(kovdService, slot1, properties, "GetAll", "s", Json::array({""}));
    EXPECT_EQ(everything.body[0].size(), all.body[0].size() + 1);
    EXPECT_EQ(watcher.call(kovdService, slot1, properties, "Get", "s", Json::array({"x"})).error,
              invalidArguments);
}

TEST_F(ServiceTest, AnswersCallsThatNameNoInterface)
{
    EXPECT_EQ(watcher.call(kovdService, boardRoot, "", "GetManagedObjects").error, "");
    EXPECT_EQ(watcher.call(kovdService, boardRoot, "", "None").error, unknownMethod);
}

TEST_F(ServiceTest, CanBePingedAndIntrospected)
{
    EXPECT_EQ(watcher.call(kovdService, "/", peer, "Ping").error, "");
    const auto xml = watcher.call(kovdService, boardRoot, introspectable, "Introspect");
    EXPECT_NE(xml.body[0].get<string>().find("pcie_slot_0001"), string::npos);
}

TEST_F(ServiceTest, TakesAssociationsAndAnnouncesThem)
{
    const Value value = Value::associations(pair);
    EXPECT_EQ(watcher.set(kovdService, slot1, associationDefinitions, associations, value).error,
              "");
    EXPECT_EQ(kovd.associationsOf(slot1), pair);
    const auto seen = watcher.waitFor("PropertiesChanged", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].path, slot1);
    EXPECT_EQ(seen[0].signature, "sa{sv}as");
    EXPECT_EQ(seen[0].body, Json::array({associationDefinitions,
                                         {{associations, sim::valueToJson(value)}},
                                         Json::array()}));
}

TEST_F(ServiceTest, RefusesOtherSets)
{
    const Value list = Value::associations(pair);
    const auto refusal =
        [&](const string& path, const string& interface, const string& property, const Value& value)
    { return watcher.set(kovdService, path, interface, property, value).error; };
    EXPECT_EQ(refusal("/none", associationDefinitions, associations, list), unknownObject);
    EXPECT_EQ(refusal(slot1, "x.none", associations, list), unknownInterface);
    EXPECT_EQ(refusal(slot1, associationDefinitions, "None", list), unknownProperty);
    EXPECT_EQ(refusal(slot1, kovdSlot, "PCIeFQDD", Value::string("x")), propertyReadOnly);
    EXPECT_EQ(refusal(slot1, associationDefinitions, associations, Value::string("x")),
              invalidArguments);
    EXPECT_EQ(
        watcher.set(smbiosService, sim::smbiosSlotPath(1), smbiosSlot, "SlotID", Value::uint16(1))
            .error,
        propertyReadOnly);
    EXPECT_EQ(kovd.associationsOf(slot1), sim::Associations());
}

TEST_F(ServiceTest, RecordsSetsInOrder)
{
    watcher.set(kovdService, slot1, associationDefinitions, associations,
                Value::associations(pair));
    watcher.set(kovdService, twin1, associationDefinitions, associations, Value::associations({}));
    watcher.set(kovdService, slot1, kovdSlot, "PCIeFQDD", Value::string("x"));
    const auto sets = kovd.journal().sets();
    ASSERT_EQ(sets.size(), 3U);
    EXPECT_EQ(sets[0].path, slot1);
    EXPECT_EQ(sim::toAssociations(sets[0].value), pair);
    EXPECT_TRUE(sets[0].accepted);
    EXPECT_EQ(sets[1].path, twin1);
    EXPECT_LE(sets[0].time, sets[1].time);
    EXPECT_FALSE(sets[2].accepted);
    EXPECT_EQ(kovd.journal().calls("Set"), 3U);
    EXPECT_EQ(kovd.journal().calls("Set", slot1), 2U);
}

TEST_F(ServiceTest, WaitsForAssociations)
{
    EXPECT_FALSE(kovd.waitForAssociations(slot1, pair, 10ms));
    std::thread writer(
        [&]
        {
            Watcher other(address());
            other.set(kovdService, slot1, associationDefinitions, associations,
                      Value::associations(pair));
        });
    EXPECT_TRUE(kovd.waitForAssociations(slot1, pair, 20s));
    writer.join();
}

TEST_F(ServiceTest, AnnouncesAnAddedObjectFromItsManager)
{
    kovd.addObject(below, {{"x.y", some}});
    const auto seen = watcher.waitFor("InterfacesAdded", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].path, boardRoot);
    EXPECT_EQ(seen[0].interface, objectManager);
    EXPECT_EQ(seen[0].signature, "oa{sa{sv}}");
    EXPECT_EQ(seen[0].body[0], below);
    EXPECT_EQ(seen[0].body[1]["x.y"]["Odd"], sim::valueToJson(some.at("Odd")));
    EXPECT_TRUE(seen[0].body[1].contains(associationDefinitions));
    EXPECT_TRUE(watcher.managedObjects(kovdService, boardRoot).body[0].contains(below));
}

TEST_F(ServiceTest, AnnouncesFromTheManagerThatListsTheObject)
{
    kovd.addObject(string(chassisRoot) + "/thing", {});
    smbios.addObject(string(chassisRoot) + "/thing", {{"x.y", {}}});
    const auto seen = watcher.waitFor("InterfacesAdded", 2);
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].path, chassisRoot);
    EXPECT_EQ(seen[1].path, smbiosRoot);
}

TEST_F(ServiceTest, AnnouncesNothingOutsideItsManagers)
{
    kovd.addObject("/elsewhere", {{"x.y", some}});
    kovd.addObject(below, {});
    const auto seen = watcher.waitFor("InterfacesAdded", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].body[0], below);
    EXPECT_EQ(watcher.get(kovdService, "/elsewhere", "x.y", "P").error, "");
}

TEST_F(ServiceTest, AnnouncesAChangeFromTheObject)
{
    smbios.changeProperties(sim::smbiosSlotPath(1), smbiosSlot, {{"SlotID", Value::uint16(9)}});
    const auto seen = watcher.waitFor("PropertiesChanged", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].path, sim::smbiosSlotPath(1));
    EXPECT_EQ(seen[0].interface, properties);
    EXPECT_EQ(seen[0].body[1], Json::parse(R"({"SlotID":{"type":"q","data":9}})"));
    EXPECT_EQ(smbios.property(sim::smbiosSlotPath(1), smbiosSlot, "SlotID"), Value::uint16(9));
}

TEST_F(ServiceTest, AnnouncesARemovedObject)
{
    kovd.removeObject(slot1);
    const auto seen = watcher.waitFor("InterfacesRemoved", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].path, boardRoot);
    EXPECT_EQ(seen[0].signature, "oas");
    EXPECT_EQ(seen[0].body, Json::array({slot1, {associationDefinitions, kovdSlot}}));
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeFQDD").error, unknownObject);
}

TEST_F(ServiceTest, EmitsAnySignal)
{
    kovd.emitSignal(
        {"/any/path",
         "any.interface",
         "Anything",
         "sa{sv}(ii)",
         {"x", {"P", {{"type", "y"}, {"data", 1}}, "P", {{"type", "y"}, {"data", 2}}}, {1, 2}}});
    const auto seen = watcher.waitFor("Anything", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].path, "/any/path");
    EXPECT_EQ(seen[0].interface, "any.interface");
    EXPECT_EQ(seen[0].signature, "sa{sv}(ii)");
    EXPECT_EQ(seen[0].body[1].size(), 4U) << "the repeated key is sent twice";
}

TEST_F(ServiceTest, RefusesASignalThatCannotBeWritten)
{
    EXPECT_THROW(kovd.emitSignal({"/a", "a.b", "C", "y", {256}}), sim::ValueError);
    EXPECT_THROW(kovd.emitSignal({"no path", "a.b", "C", "", Json::array()}), sim::BusError);
    EXPECT_TRUE(kovd.running());
}

TEST_F(ServiceTest, RefusesOperationsOnWhatIsNotThere)
{
    EXPECT_THROW(kovd.removeObject("/none"), sim::Error);
    EXPECT_THROW(kovd.changeProperties(slot1, "x.none", some), sim::Error);
    EXPECT_THROW(kovd.addObject("none", {}), sim::ValueError);
}

TEST_F(ServiceTest, RunsSeveralOperationsInOneGo)
{
    kovd.perform(
        [this](sim::Player& player)
        {
            player.addObject(below, {{"x.y", some}});
            player.removeObject(below);
        });
    EXPECT_EQ(watcher.waitFor("InterfacesRemoved", 1).size(), 1U);
    EXPECT_EQ(watcher.waitFor("InterfacesAdded", 1).size(), 1U);
}

TEST_F(ServiceTest, PassesOnWhatAnOperationThrows)
{
    EXPECT_THROW(kovd.perform([](sim::Player&) { throw std::out_of_range("mine"); }),
                 std::out_of_range);
}

TEST_F(ServiceTest, ServesManyThreadsAtOnce)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&, t]
            {
                for (int i = 0; i < 100; ++i)
                {
                    const string path = below + std::to_string(t) + "_" + std::to_string(i);
                    kovd.addObject(path, {{"x.y", some}});
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(watcher.waitFor("InterfacesAdded", 400).size(), 400U);
}

TEST_F(ServiceTest, ServesManySlots)
{
    const auto big = sim::makeInventory(400);
    smbios.load(big.smbios);
    kovd.load(big.kovd);
    EXPECT_EQ(watcher.managedObjects(smbiosService, smbiosRoot).body[0].size(), 400U);
    EXPECT_EQ(watcher.managedObjects(kovdService, boardRoot).body[0].size(), 800U);
}

TEST_F(ServiceTest, LosesNothingOfAStorm)
{
    constexpr int storm = 10'000;
    kovd.perform(
        [this](sim::Player& player)
        {
            for (int i = 0; i < storm; ++i)
            {
                player.changeProperties(slot1, kovdSlot, {{"PCIeSubsystemId", {"q", i}}});
            }
        });
    const auto seen = watcher.waitFor("PropertiesChanged", storm, 60s);
    ASSERT_EQ(seen.size(), static_cast<std::size_t>(storm));
    EXPECT_EQ(seen.back().body[1]["PCIeSubsystemId"]["data"], storm - 1);
}

} // namespace
