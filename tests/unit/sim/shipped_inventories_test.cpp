// The inventories of the tree: that each can be served, and that what is expected of it speaks of
// objects that exist and leaves none out. (Whether the daemon does it is the bus tests' business.)

#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/service.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>

namespace
{

using sim::Json;
using std::string;
using Paths = std::set<string>;

class ShippedInventory : public testing::TestWithParam<const char*>
{
  protected:
    const std::filesystem::path folder = std::filesystem::path(INVENTORY_FOLDER) / GetParam();
    const sim::InventoryCapture inventory = sim::readInventory(folder);
    const Json expected = readExpected();

    Json readExpected() const
    {
        std::ifstream stream(folder / "expected.json");
        return Json::parse(stream);
    }

    static Paths pathsWith(const sim::Objects& objects, const std::set<string>& interfaces)
    {
        Paths paths;
        for (const auto& [path, present] : objects)
        {
            for (const auto& [interface, properties] : present)
            {
                if (interfaces.contains(interface))
                {
                    paths.insert(path);
                }
            }
        }
        return paths;
    }

    /** The keys of some parts of what is expected; a key in two parts is a failure. */
    Paths keysOf(const std::vector<const char*>& parts) const
    {
        Paths keys;
        for (const char* part : parts)
        {
            for (const auto& [path, content] : expected.at(part).items())
            {
                EXPECT_TRUE(keys.insert(path).second) << path << " stands twice";
            }
        }
        return keys;
    }

    Paths endpoints() const
    {
        Paths paths;
        for (const char* part : {"pcie", "processors"})
        {
            for (const auto& [path, list] : expected.at(part).items())
            {
                for (const auto& tuple : list.get<sim::Associations>())
                {
                    paths.insert(tuple[2]);
                }
            }
        }
        return paths;
    }
};

TEST_P(ShippedInventory, CanBeServed)
{
    sim::Inventory smbios(sim::smbiosProfile());
    sim::Inventory kovd(sim::kovdProfile());
    EXPECT_NO_THROW(smbios.replace(inventory.smbios));
    EXPECT_NO_THROW(kovd.replace(inventory.kovd));
    for (const auto& [path, interfaces] : inventory.smbios)
    {
        EXPECT_EQ(smbios.managerOf(path), sim::names::smbiosRoot) << path;
    }
    for (const auto& [path, interfaces] : inventory.kovd)
    {
        EXPECT_NE(kovd.managerOf(path), "") << path;
    }
}

TEST_P(ShippedInventory, StartsWithoutAssociations)
{
    for (const auto& [path, interfaces] : inventory.kovd)
    {
        EXPECT_EQ(*sim::findProperty(inventory.kovd, path, sim::names::associationDefinitions,
                                     sim::names::associations),
                  sim::Value::associations({}))
            << path;
    }
}

TEST_P(ShippedInventory, ExpectsSomethingOfEachPlatformObject)
{
    using namespace sim::names;
    Paths concerned = pathsWith(inventory.kovd, {kovdSlot, kovdDevice, kovdChassisDevice});
    for (const auto& [path, interfaces] : inventory.kovd)
    {
        if (path.starts_with(string(boardRoot) + "/cpu"))
        {
            concerned.insert(path);
        }
    }
    EXPECT_EQ(keysOf({"pcie", "processors", "unpairedPlatform"}), concerned);
}

TEST_P(ShippedInventory, NamesEachSmbiosObjectAsPairedOrNot)
{
    Paths concerned;
    for (const auto& [path, interfaces] : inventory.smbios)
    {
        const bool matters = path.find("/motherboard/pcieslot") != string::npos ||
                             path.find("/motherboard/cpu") != string::npos ||
                             path.find("/cacheinfo/") != string::npos;
        if (matters)
        {
            concerned.insert(path);
        }
    }
    Paths named = endpoints();
    for (const string& path : keysOf({"unpairedSmbios"}))
    {
        EXPECT_TRUE(named.insert(path).second) << path << " is paired and unpaired";
    }
    EXPECT_EQ(named, concerned);
}

INSTANTIATE_TEST_SUITE_P(All, ShippedInventory,
                         testing::Values("two-socket-2u", "edge-small", "awkward"));

} // namespace
