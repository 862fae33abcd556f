#include "sim/introspection.hpp"
#include "sim/inventory.hpp"
#include "sim/names.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using sim::Interfaces;
using sim::Properties;
using sim::Value;
using std::string;
using Names = std::vector<string>;

const string slotPath = "/xyz/openbmc_project/inventory/system/board/pcie_slot_1";
const string iface = "x.y";
const Properties oneByte{{"P", Value::byte(1)}};
const Properties definitions{{"Associations", Value::associations({})}};

class KovdInventory : public testing::Test
{
  protected:
    sim::Inventory inventory{sim::kovdProfile()};
};

TEST_F(KovdInventory, GivesEachNewObjectItsAssociations)
{
    const Interfaces announced = inventory.add(slotPath, {{iface, oneByte}});
    const Interfaces expected{{iface, oneByte}, {sim::names::associationDefinitions, definitions}};
    EXPECT_EQ(announced, expected);
    EXPECT_EQ(inventory.objects().at(slotPath), expected);
}

TEST_F(KovdInventory, KeepsTheAssociationsOfACapture)
{
    const auto carried = Value::associations({{"a", "b", "/c"}});
    inventory.replace(
        {{slotPath, {{sim::names::associationDefinitions, {{"Associations", carried}}}}}});
    EXPECT_EQ(*sim::findProperty(inventory.objects(), slotPath, sim::names::associationDefinitions,
                                 "Associations"),
              carried);
}

TEST_F(KovdInventory, AddsAnInterfaceToAnObjectAndAnnouncesJustThat)
{
    inventory.add(slotPath, {{iface, oneByte}});
    EXPECT_EQ(inventory.add(slotPath, {{"x.z", {}}}), (Interfaces{{"x.z", {}}}));
    EXPECT_EQ(inventory.objects().at(slotPath).size(), 3U);
}

TEST_F(KovdInventory, ReplacesAPresentInterface)
{
    inventory.add(slotPath, {{iface, oneByte}});
    inventory.add(slotPath, {{iface, {{"Q", Value::byte(2)}}}});
    EXPECT_EQ(inventory.objects().at(slotPath).at(iface), (Properties{{"Q", Value::byte(2)}}));
}

TEST_F(KovdInventory, ChangesAndAddsProperties)
{
    inventory.add(slotPath, {{iface, oneByte}});
    inventory.change(slotPath, iface, {{"P", Value::byte(2)}, {"Q", Value::byte(3)}});
    EXPECT_EQ(inventory.objects().at(slotPath).at(iface),
              (Properties{{"P", Value::byte(2)}, {"Q", Value::byte(3)}}));
}

TEST_F(KovdInventory, RefusesToChangeWhatIsNotThere)
{
    inventory.add(slotPath, {{iface, oneByte}});
    EXPECT_THROW(inventory.change("/none", iface, oneByte), sim::Error);
    EXPECT_THROW(inventory.change(slotPath, "x.none", oneByte), sim::Error);
}

TEST_F(KovdInventory, RemovesOneInterfaceOfSeveral)
{
    inventory.add(slotPath, {{iface, oneByte}, {"x.z", {}}});
    EXPECT_EQ(inventory.remove(slotPath, {iface}), Names{iface});
    EXPECT_FALSE(inventory.objects().at(slotPath).contains(iface));
}

TEST_F(KovdInventory, RemovesTheObjectWithItsLastOwnInterface)
{
    inventory.add(slotPath, {{iface, oneByte}});
    EXPECT_EQ(inventory.remove(slotPath, {iface}),
              (Names{iface, sim::names::associationDefinitions}));
    EXPECT_TRUE(inventory.objects().empty());
}

TEST_F(KovdInventory, RemovesEverythingWhenNothingIsNamed)
{
    inventory.add(slotPath, {{iface, oneByte}, {"x.z", {}}});
    EXPECT_EQ(inventory.remove(slotPath, {}).size(), 3U);
    EXPECT_TRUE(inventory.objects().empty());
}

TEST_F(KovdInventory, RefusesToRemoveWhatIsNotThereAndRemovesNothing)
{
    inventory.add(slotPath, {{iface, oneByte}});
    EXPECT_THROW(inventory.remove("/none", {}), sim::Error);
    EXPECT_THROW(inventory.remove(slotPath, {iface, "x.none"}), sim::Error);
    EXPECT_TRUE(inventory.objects().at(slotPath).contains(iface));
}

TEST_F(KovdInventory, RefusesNamesAndValuesThatTheBusDoesNotKnow)
{
    EXPECT_THROW(inventory.add("none", {}), sim::ValueError);
    EXPECT_THROW(inventory.add(slotPath, {{"x", {}}}), sim::ValueError);
    EXPECT_THROW(inventory.add(slotPath, {{iface, {{"a b", Value::byte(1)}}}}), sim::ValueError);
    EXPECT_THROW(inventory.add(slotPath, {{iface, {{"P", {"y", 256}}}}}), sim::ValueError);
    EXPECT_THROW(inventory.replace({{"none", {}}}), sim::ValueError);
    EXPECT_TRUE(inventory.objects().empty());
}

TEST_F(KovdInventory, ReportsFromTheNearestManagerAbove)
{
    EXPECT_EQ(inventory.managerOf(slotPath), sim::names::boardRoot);
    EXPECT_EQ(inventory.managerOf(string(sim::names::chassisRoot) + "/a/b"),
              sim::names::chassisRoot);
    EXPECT_EQ(inventory.managerOf(sim::names::boardRoot), "");
    EXPECT_EQ(inventory.managerOf(string(sim::names::boardRoot) + "x/a"), "");
}

TEST_F(KovdInventory, KnowsTheTreeAroundObjectsAndManagers)
{
    inventory.add(slotPath, {});
    inventory.add(slotPath + "/nic1", {});
    using Children = std::set<string>;
    EXPECT_EQ(inventory.children("/"), Children{"xyz"});
    EXPECT_EQ(inventory.children("/xyz/openbmc_project/inventory/system"),
              (Children{"board", "chassis"}));
    EXPECT_EQ(inventory.children(slotPath), Children{"nic1"});
    EXPECT_EQ(inventory.children(slotPath + "/nic1"), Children{});
}

TEST_F(KovdInventory, IsIntrospectedWithTypesAndAccess)
{
    inventory.add(slotPath, {{iface, oneByte}});
    const string xml = sim::introspectionXml(inventory, slotPath);
    EXPECT_NE(xml.find("<property name=\"P\" type=\"y\" access=\"read\"/>"), string::npos);
    EXPECT_NE(xml.find("<property name=\"Associations\" type=\"a(sss)\" access=\"readwrite\"/>"),
              string::npos);
    EXPECT_EQ(xml.find("ObjectManager"), string::npos);
    const string root = sim::introspectionXml(inventory, sim::names::boardRoot);
    EXPECT_NE(root.find("ObjectManager"), string::npos);
    EXPECT_NE(root.find("<node name=\"pcie_slot_1\"/>"), string::npos);
}

TEST(SmbiosInventory, AddsNothingToItsObjects)
{
    sim::Inventory inventory(sim::smbiosProfile());
    EXPECT_EQ(inventory.add(slotPath, {{iface, oneByte}}), (Interfaces{{iface, oneByte}}));
    EXPECT_EQ(inventory.managerOf(slotPath), sim::names::smbiosRoot);
}

TEST(IsBelow, ComparesWholePathElements)
{
    EXPECT_TRUE(sim::isBelow("/a/b", "/a"));
    EXPECT_TRUE(sim::isBelow("/a", "/"));
    EXPECT_FALSE(sim::isBelow("/a", "/a"));
    EXPECT_FALSE(sim::isBelow("/ab", "/a"));
    EXPECT_FALSE(sim::isBelow("/", "/"));
}

} // namespace
