// Each refusal is confirmed, of the rule and of a whole machine with the two objects: the property
// that it names is changed, and the pair is there.

#include "base/names.hpp"
#include "inspect/conditions.hpp"
#include "inspect/explain.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

#include <set>

namespace
{

using inspect::Rule;

struct Refused
{
    const char* name;
    Rule rule;
    PropertyMap first;
    PropertyMap second;
    Condition failed;
    const char* text;

    // The one change that makes the pair.
    bool inFirst;
    PropertyName property;
    PropertyValue value;
};

PropertyValue word(int value)
{
    return static_cast<std::uint16_t>(value);
}

PropertyValue byte(int value)
{
    return static_cast<std::uint8_t>(value);
}

PropertyValue text(const char* value)
{
    return std::string(value);
}

PropertyMap smbiosSlot(const char* designation, int id)
{
    return {{"SlotDesignation", text(designation)}, {"SlotID", word(id)}};
}

PropertyMap platformSlot(const char* fqdd, int locator, int instance)
{
    return {{"PCIeFQDD", text(fqdd)},
            {"PCIeLocatorType", byte(locator)},
            {"PCIeLocatorInstanceNum", word(instance)}};
}

PropertyMap smbiosCpu(const char* socket)
{
    return {{"Socket", text(socket)}, {"L1CacheHandle", word(1)}, {"L2CacheHandle", word(0)}};
}

PropertyMap platformCpu(int number, const char* key)
{
    return {{"SlotNumber", word(number)}, {"TargetDevKey", text(key)}};
}

PropertyMap cache(int handle)
{
    return {{"Handle", word(handle)}};
}

const PropertyMap slot3 = smbiosSlot("PCIe SLOT 3", 3);
const PropertyMap bay31 = smbiosSlot("SLOT 3 BAY 1", 3);
const char* const nic3 = "NIC.Slot.3-1";
const char* const disk31 = "Disk.Bay.3:Enclosure.Internal.0-1";

const std::vector<Refused> refusals{
    {"missing",
     Rule::slot,
     {{"SlotDesignation", text("PCIe SLOT 3")}},
     platformSlot(nic3, 6, 3),
     Condition::propertiesPresent,
     "SlotID: missing",
     true,
     "SlotID",
     word(3)},
    {"slotId", Rule::slot, slot3, platformSlot(nic3, 6, 4), Condition::slotIdEqual,
     "SlotID 3, PCIeLocatorInstanceNum 4: differ", false, "PCIeLocatorInstanceNum", word(3)},
    {"empty", Rule::slot, slot3, platformSlot("", 6, 3), Condition::textsNotEmpty,
     "SlotDesignation \"PCIe SLOT 3\", PCIeFQDD \"\"", false, "PCIeFQDD", text(nic3)},
    {"range", Rule::slot, smbiosSlot("PCIe SLOT 99999999999", 3), platformSlot(nic3, 6, 3),
     Condition::propertiesReadable,
     "SlotID 3, SlotDesignation \"PCIe SLOT 99999999999\", PCIeLocatorInstanceNum 3, "
     "PCIeLocatorType 6, PCIeFQDD \"NIC.Slot.3-1\": a number does not fit",
     true, "SlotDesignation", text("PCIe SLOT 3")},
    {"locator", Rule::slot, slot3, platformSlot(nic3, 7, 3), Condition::locatorTypeKnown,
     "PCIeLocatorType 7: neither 6 (slot) nor 9 (drive bay)", false, "PCIeLocatorType", byte(6)},
    {"bayForSlot", Rule::slot, bay31, platformSlot(nic3, 6, 3), Condition::noBayNamed,
     "SlotDesignation \"SLOT 3 BAY 1\": names a bay, and the platform object is none", true,
     "SlotDesignation", text("PCIe SLOT 3")},
    {"tokens", Rule::slot, slot3, platformSlot("NIC.Slot", 6, 3), Condition::threeTokens,
     "PCIeFQDD \"NIC.Slot\": 2 tokens, 3 are needed", false, "PCIeFQDD", text(nic3)},
    {"secondToken", Rule::slot, slot3, platformSlot("NIC.Slots.3-1", 6, 3),
     Condition::secondTokenSlot,
     "PCIeFQDD \"NIC.Slots.3-1\": its second token, \"Slots\", is not SLOT", false, "PCIeFQDD",
     text(nic3)},
    {"notANumber", Rule::slot, slot3, platformSlot("NIC.Slot.x", 6, 3), Condition::slotNumberRead,
     "PCIeFQDD \"NIC.Slot.x\": its third token, \"x\", is no number that fits", false, "PCIeFQDD",
     text(nic3)},
    {"slotNumber", Rule::slot, slot3, platformSlot("NIC.Slot.4-1", 6, 3),
     Condition::slotNumberEqual,
     "SlotDesignation \"PCIe SLOT 3\" names slot 3, PCIeFQDD \"NIC.Slot.4-1\" slot 4: differ",
     false, "PCIeFQDD", text(nic3)},
    {"device", Rule::slot, smbiosSlot("RISER SLOT 3", 3), platformSlot(nic3, 6, 3),
     Condition::deviceNamed, "SlotDesignation \"RISER SLOT 3\": contains neither \"NIC\" nor PCIe",
     true, "SlotDesignation", text("NIC SLOT 3")},
    {"slotForBay", Rule::slot, slot3, platformSlot(disk31, 9, 3), Condition::bayNamed,
     "SlotDesignation \"PCIe SLOT 3\": names no bay, and the platform object is one", true,
     "SlotDesignation", text("SLOT 3 BAY 1")},
    {"bayUnread", Rule::slot, smbiosSlot("BAY 1", 3), platformSlot(disk31, 9, 3),
     Condition::bayRead,
     "SlotDesignation \"BAY 1\" names slot none and bay 1, PCIeFQDD "
     "\"Disk.Bay.3:Enclosure.Internal.0-1\" disk 3 and enclosure 1: all four are needed",
     true, "SlotDesignation", text("SLOT 3 BAY 1")},
    {"bayUnnumbered", Rule::slot, bay31, platformSlot("Disk.Bay.x:Enclosure.Internal.0-1", 9, 3),
     Condition::bayNumbered,
     "SlotDesignation \"SLOT 3 BAY 1\" names slot 3 and bay 1, PCIeFQDD "
     "\"Disk.Bay.x:Enclosure.Internal.0-1\" disk none and enclosure 1: all four are needed",
     false, "PCIeFQDD", text(disk31)},
    {"disk", Rule::slot, bay31, platformSlot("Disk.Bay.4:Enclosure.Internal.0-1", 9, 3),
     Condition::diskEqual,
     "SlotDesignation \"SLOT 3 BAY 1\" names slot 3, PCIeFQDD "
     "\"Disk.Bay.4:Enclosure.Internal.0-1\" disk 4: differ",
     false, "PCIeFQDD", text(disk31)},
    {"enclosure", Rule::slot, bay31, platformSlot("Disk.Bay.3:Enclosure.Internal.0-2", 9, 3),
     Condition::bayEqual,
     "SlotDesignation \"SLOT 3 BAY 1\" names bay 1, PCIeFQDD "
     "\"Disk.Bay.3:Enclosure.Internal.0-2\" enclosure 2: differ",
     false, "PCIeFQDD", text(disk31)},
    {"deviceSlot",
     Rule::device,
     slot3,
     {{"FQDD", text("NIC.Slot.4-1-1")}},
     Condition::slotNumberEqual,
     "SlotDesignation \"PCIe SLOT 3\" names slot 3, FQDD \"NIC.Slot.4-1-1\" slot 4: differ",
     false,
     "FQDD",
     text("NIC.Slot.3-1-1")},
    {"deviceBay",
     Rule::device,
     bay31,
     {{"FQDD", text("Disk.Bay.4:Enclosure.Internal.0-1")}},
     Condition::diskEqual,
     "SlotDesignation \"SLOT 3 BAY 1\" names slot 3, FQDD \"Disk.Bay.4:Enclosure.Internal.0-1\" "
     "disk 4: differ",
     false,
     "FQDD",
     text(disk31)},
    {"socket", Rule::processor, smbiosCpu("CPU1"), platformCpu(2, "Kov.Socket.1"),
     Condition::socketIsNumber, "Socket \"CPU1\", SlotNumber 2: differ", false, "SlotNumber",
     word(1)},
    {"key", Rule::processor, smbiosCpu("CPU1"), platformCpu(1, "Kov.Socket.01"),
     Condition::socketIsKey, "Socket \"CPU1\", TargetDevKey \"Kov.Socket.01\": differ", false,
     "TargetDevKey", text("Kov.Socket.1")},
    {"keyTokens", Rule::processor, smbiosCpu("CPU1"), platformCpu(1, "Kov.1"),
     Condition::threeTokens, "TargetDevKey \"Kov.1\": 2 tokens, 3 are needed", false,
     "TargetDevKey", text("Kov.Socket.1")},
    {"noHandle", Rule::cache, cache(0), smbiosCpu("CPU1"), Condition::handleNotZero,
     "Handle 0: 0 is no handle", true, "Handle", word(1)},
    {"handle", Rule::cache, cache(2), smbiosCpu("CPU1"), Condition::handleEqual,
     "Handle 2, L1CacheHandle 1, L2CacheHandle 0, L3CacheHandle missing: none is equal", true,
     "Handle", word(1)},
};

class EachRefusal : public testing::TestWithParam<Refused>
{
};

TEST_P(EachRefusal, namesTheFailedConditionWithItsValues)
{
    const Refused& refused = GetParam();
    const auto tests = inspect::testsOf(refused.rule, refused.first, refused.second);
    ASSERT_FALSE(tests.empty());
    EXPECT_EQ(tests.back().condition, refused.failed);
    EXPECT_FALSE(tests.back().holds);
    EXPECT_EQ(tests.back().text, refused.text);
}

TEST_P(EachRefusal, isGoneWhenJustThatPropertyIsChanged)
{
    const Refused& refused = GetParam();
    PropertyMap first = refused.first;
    PropertyMap second = refused.second;
    ASSERT_FALSE(inspect::verdictOf(refused.rule, first, second));
    (refused.inFirst ? first : second).insert_or_assign(refused.property, refused.value);
    EXPECT_TRUE(inspect::verdictOf(refused.rule, first, second));
    for (const inspect::Test& test : inspect::testsOf(refused.rule, first, second))
    {
        EXPECT_TRUE(test.holds) << test.text;
    }
}

/** Where the two objects of a rule stand, and with which interface. */
struct Place
{
    std::string path;
    std::string_view interface;
};

struct Places
{
    Place first;
    Place second;
};

Places placesOf(Rule rule)
{
    const Place slot{sim::smbiosSlotPath(1), names::smbiosSlotInterface};
    const Place cpu{sim::smbiosCpuPath(1), names::smbiosCpuInterface};
    switch (rule)
    {
        case Rule::slot:
            return {slot, {sim::kovdSlotPath(1), names::kovdSlotInterface}};
        case Rule::device:
            return {slot, {sim::kovdDevicePath(1, 1), names::kovdDeviceInterface}};
        case Rule::processor:
            return {cpu, {sim::kovdCpuPath(1), names::kovdItemInterface}};
        case Rule::cache:
            return {{sim::smbiosCachePath(1, 1), names::smbiosCacheInterface}, cpu};
    }
    return {};
}

inspect::Machine machineWith(Rule rule, const PropertyMap& first, const PropertyMap& second)
{
    const Places places = placesOf(rule);
    inspect::World world;
    auto& others = rule == Rule::cache ? world.smbios : world.board;
    world.smbios[places.first.path][std::string(places.first.interface)] =
        worlds::toProperties(first);
    others[places.second.path][std::string(places.second.interface)] = worlds::toProperties(second);
    return inspect::examine(world);
}

/** Whether the daemon would make the two a pair. */
bool arePaired(const inspect::Machine& machine, Rule rule)
{
    const Places places = placesOf(rule);
    if (rule == Rule::cache)
    {
        const auto caches = machine.outcome.caches.find(places.second.path);
        return caches != machine.outcome.caches.end() &&
               caches->second == std::vector<std::string>{places.first.path};
    }
    const auto list = machine.outcome.lists.find(places.second.path);
    return list != machine.outcome.lists.end() &&
           inspect::partnerOf(list->second) == places.first.path;
}

TEST_P(EachRefusal, isWhatExplainStatesOfAMachineWithTheTwo)
{
    const Refused& refused = GetParam();
    const auto machine = machineWith(refused.rule, refused.first, refused.second);
    ASSERT_FALSE(arePaired(machine, refused.rule));
    const auto made = inspect::explain(machine, placesOf(refused.rule).second.path);
    ASSERT_FALSE(made.searches.empty());
    ASSERT_EQ(made.searches.back().candidates.size(), 1U);
    EXPECT_EQ(made.searches.back().candidates[0].failed, refused.failed);
    EXPECT_EQ(made.searches.back().candidates[0].text, refused.text);
}

TEST_P(EachRefusal, isGoneOfAMachineWhenJustThatPropertyIsChanged)
{
    const Refused& refused = GetParam();
    PropertyMap first = refused.first;
    PropertyMap second = refused.second;
    (refused.inFirst ? first : second).insert_or_assign(refused.property, refused.value);
    EXPECT_TRUE(arePaired(machineWith(refused.rule, first, second), refused.rule));
}

INSTANTIATE_TEST_SUITE_P(conditions, EachRefusal, testing::ValuesIn(refusals),
                         [](const auto& tested) { return tested.param.name; });

TEST(conditions, areAllConfirmedButThoseThatNoInputReaches)
{
    std::set<Condition> confirmed;
    for (const Refused& refused : refusals)
    {
        confirmed.insert(refused.failed);
    }
    // No two objects lack a rule here; a descriptor always has a number when it gets that far; and
    // a designation with a slot number contains SLOT.
    const std::set<Condition> unreachable{Condition::kindsComparable, Condition::slotNumberNamed,
                                          Condition::slotNamed};
    for (int number = 1; number <= static_cast<int>(Condition::handleEqual); ++number)
    {
        const auto condition = static_cast<Condition>(number);
        EXPECT_NE(confirmed.contains(condition), unreachable.contains(condition)) << number;
        EXPECT_FALSE(inspect::codeOf(condition).empty()) << number;
    }
}

TEST(testsOf, listsEveryConditionUpToTheFailedOne)
{
    const auto tests = inspect::testsOf(Rule::slot, slot3, platformSlot("NIC.Slot.4-1", 6, 3));
    std::vector<std::string> codes;
    for (const inspect::Test& test : tests)
    {
        codes.push_back(inspect::codeOf(test.condition));
    }
    EXPECT_EQ(codes, (std::vector<std::string>{
                         "properties-present", "slot-id-equal", "texts-not-empty",
                         "locator-type-known", "no-bay-named", "three-tokens", "second-token-slot",
                         "slot-number-read", "slot-number-named", "slot-number-equal"}));
}

} // namespace
