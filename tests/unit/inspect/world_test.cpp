#include "inspect/world.hpp"
#include "sim/bus.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"
#include "sim/service.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;
using inspect::World;

TEST(toPropertyValue, keepsEachTypeThatTheDaemonKnows)
{
    const sim::Value values[] = {sim::Value::strings({"a"}),
                                 sim::Value::string("a"),
                                 sim::Value::int64(-1),
                                 sim::Value::uint64(1),
                                 sim::Value::real(0.5),
                                 sim::Value::int32(-1),
                                 sim::Value::uint32(1),
                                 sim::Value::int16(-1),
                                 sim::Value::uint16(1),
                                 sim::Value::byte(1),
                                 sim::Value::boolean(true),
                                 sim::Value::bytes({1}),
                                 sim::Value::associations({{"f", "r", "/e"}})};
    for (const sim::Value& value : values)
    {
        EXPECT_EQ(inspect::typeOf(inspect::toPropertyValue(value)), value.type);
    }
}

TEST(toPropertyValue, givesTheFirstAlternativeForAnyOtherType)
{
    EXPECT_EQ(inspect::toPropertyValue(sim::Value::objectPath("/a")), PropertyValue());
}

TEST(toText, isWhatAPersonReads)
{
    EXPECT_EQ(inspect::toText(std::string("a b")), "\"a b\"");
    EXPECT_EQ(inspect::toText(std::uint8_t{7}), "7");
    EXPECT_EQ(inspect::toText(true), "true");
    EXPECT_EQ(inspect::toText(std::vector<std::string>{"a", "b"}), "a list of 2");
}

TEST(readFolder, hasTheObjectsOfEachReply)
{
    const World world = inspect::readFolder(inventories / "edge-small");
    EXPECT_EQ(world.source, (inventories / "edge-small").string());
    EXPECT_FALSE(world.live);
    EXPECT_TRUE(world.smbios.contains(systemPath + "chassis/motherboard/pcieslot1"));
    EXPECT_TRUE(world.board.contains(systemPath + "board/pcie_slot_1"));
    EXPECT_TRUE(world.chassis.contains(systemPath + "chassis/motherboard/pcie_slot_1"));
    EXPECT_NE(inspect::findPlatformObject(world, systemPath + "board/pcie_slot_1"), nullptr);
    EXPECT_EQ(inspect::findPlatformObject(world, "/nowhere"), nullptr);
    EXPECT_THROW(inspect::readFolder("/nowhere"), sim::Error);
}

TEST(readBus, readsWhatTheServicesShowAndTimesEachReply)
{
    const sim::PrivateBus bus;
    const auto connection = sim::connectTo(bus.address());
    EXPECT_THROW(inspect::readBus(connection.get()), sim::Error); // neither service is there

    const World made = worldOf(sim::makeInventory(2, 1));
    sim::Service smbios(bus.address(), sim::smbiosProfile());
    smbios.load(made.smbios);
    smbios.start();
    std::vector<inspect::Reply> replies;
    const World half = inspect::readBus(connection.get(), &replies);
    EXPECT_TRUE(half.live);
    EXPECT_EQ(half.smbios, made.smbios);
    EXPECT_TRUE(half.board.empty());
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].objects, made.smbios.size());

    sim::Service kovd(bus.address(), sim::kovdProfile());
    kovd.load(sim::makeInventory(2, 1).kovd);
    kovd.start();
    const World whole = inspect::readBus(connection.get(), &replies);
    EXPECT_EQ(whole.board.size(), made.board.size());
    EXPECT_EQ(whole.chassis.size(), made.chassis.size());
    EXPECT_EQ(replies.size(), 4U);
}

TEST(associationsOf, isEmptyForAPropertyOfAnotherType)
{
    sim::Interfaces interfaces{
        {sim::names::associationDefinitions,
         {{sim::names::associations, sim::Value::associations({{"f", "r", "/e"}})}}}};
    EXPECT_EQ(inspect::associationsOf(interfaces), (AssociationList{{"f", "r", "/e"}}));
    interfaces[sim::names::associationDefinitions][sim::names::associations] =
        sim::Value::string("f");
    EXPECT_TRUE(inspect::associationsOf(interfaces).empty());
    EXPECT_TRUE(inspect::associationsOf({}).empty());
}

} // namespace
