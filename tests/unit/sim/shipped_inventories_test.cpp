// The inventories of the tree: that each can be served, and that what is expected of it speaks of
// objects that exist and leaves none out. (Whether the daemon does it is the bus tests' business.)

#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/service.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
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

/** What the numbers of a slot's type and width stand for in the firmware's tables. */
struct SlotShape
{
    int generation = 0; // 0: the type does not say
    int lanes = 0;
};

const std::map<int, SlotShape> slotTypes{
    {0x17, {0, 4}},                  // M.2 socket 3
    {0x24, {4, 4}},  {0x25, {5, 4}}, // U.2
    {0x26, {0, 16}},                 // OCP, small form factor
    {0xB4, {3, 4}},  {0xB5, {3, 8}}, {0xB6, {3, 16}}, {0xBB, {4, 4}},  {0xBC, {4, 8}},
    {0xBD, {4, 16}}, {0xC1, {5, 4}}, {0xC2, {5, 8}},  {0xC3, {5, 16}},
};
const std::map<int, int> lanesOfWidth{{0x0A, 4}, {0x0B, 8}, {0x0D, 16}};
const std::map<string, int> generationOfSpeed{
    {"Unknown", 0}, {"8 GT/s", 3}, {"16 GT/s", 4}, {"32 GT/s", 5}};
constexpr int noBus = 0xFF;
constexpr int inUse = 4;

/** A number of a slot record; its interface's name may carry a version. */
int numberOf(const sim::Interfaces& slot, const string& property)
{
    return slot.begin()->second.at(property).data.get<int>();
}

TEST_P(ShippedInventory, GivesEachSlotTheWidthOfItsType)
{
    for (const auto& [path, slot] : inventory.smbios)
    {
        if (path.find("/pcieslot") != string::npos)
        {
            ASSERT_TRUE(slotTypes.contains(numberOf(slot, "SlotType"))) << path;
            EXPECT_EQ(slotTypes.at(numberOf(slot, "SlotType")).lanes,
                      lanesOfWidth.at(numberOf(slot, "SlotDataBusWidth")))
                << path;
        }
    }
}

TEST_P(ShippedInventory, GivesABusToTheSlotsInUseAndToNoOther)
{
    std::set<std::pair<int, int>> seen;
    for (const auto& [path, slot] : inventory.smbios)
    {
        if (path.find("/pcieslot") != string::npos)
        {
            const int bus = numberOf(slot, "BusNumber");
            const bool used = numberOf(slot, "CurrentUsage") == inUse;
            EXPECT_EQ(bus != noBus, used) << path;
            EXPECT_EQ(numberOf(slot, "DeviceFunctionNumber"), used ? 0 : noBus) << path;
            EXPECT_TRUE(!used || seen.emplace(numberOf(slot, "SegmentGroupNumber"), bus).second)
                << path << " shares its bus";
        }
    }
}

TEST_P(ShippedInventory, PutsNoCardIntoASlotThatIsTooSmallForIt)
{
    for (const auto& [path, list] : expected.at("pcie").items())
    {
        const auto& object = inventory.kovd.at(path);
        if (!object.contains(sim::names::kovdSlot))
        {
            continue;
        }
        const auto& card = object.at(sim::names::kovdSlot);
        const auto& slot = inventory.smbios.at(list[0][2].get<string>());
        const SlotShape shape = slotTypes.at(numberOf(slot, "SlotType"));
        const int generation = generationOfSpeed.at(card.at("LinkSpeed").data.get<string>());
        EXPECT_LE(card.at("LinkWidth").data.get<int>(), shape.lanes) << path;
        EXPECT_TRUE(shape.generation == 0 || generation <= shape.generation) << path;
        EXPECT_EQ(card.at("Populated").data.get<bool>(), numberOf(slot, "CurrentUsage") == inUse)
            << path;
    }
}

/** One that works: not "awkward". */
class ShippedMachine : public ShippedInventory
{
};

TEST_P(ShippedMachine, ShowsDevicesOnTheBusOfTheirSlot)
{
    for (const auto& [path, list] : expected.at("pcie").items())
    {
        const auto& object = inventory.kovd.at(path);
        if (object.contains(sim::names::kovdDevice))
        {
            const auto& slot = inventory.smbios.at(list[0][2].get<string>());
            const int bus = object.at(sim::names::kovdDevice).at("Bus").data.get<int>();
            EXPECT_GE(bus, numberOf(slot, "BusNumber")) << path;
            EXPECT_LE(bus, numberOf(slot, "BusNumber") + numberOf(slot, "PeerGroupingCount"))
                << path;
        }
    }
}

TEST_P(ShippedMachine, HasMemoryForEachProcessor)
{
    Paths sockets;
    Paths withMemory;
    for (const auto& [path, object] : inventory.smbios)
    {
        if (object.contains(sim::names::smbiosCpu))
        {
            sockets.insert(object.at(sim::names::smbiosCpu).at("Socket").data.get<string>());
        }
        const auto dimm = object.find("xyz.openbmc_project.Inventory.Item.Dimm");
        if (dimm != object.end())
        {
            const string locator = dimm->second.at("MemoryDeviceLocator").data.get<string>();
            withMemory.insert(locator.substr(0, locator.find(' ')));
        }
    }
    EXPECT_EQ(withMemory, sockets);
}

INSTANTIATE_TEST_SUITE_P(All, ShippedInventory,
                         testing::Values("two-socket-2u", "edge-small", "storage-24",
                                         "multi-segment", "awkward"));
INSTANTIATE_TEST_SUITE_P(All, ShippedMachine,
                         testing::Values("two-socket-2u", "edge-small", "storage-24",
                                         "multi-segment"));

} // namespace
