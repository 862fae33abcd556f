/* Each refusal names the first condition that does not hold. */
#include "doubles/sample_objects.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/match.hpp"
#include "engines/verdict.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using sample::kovdCpu;
using sample::kovdDevice;
using sample::kovdSlot;
using sample::smbiosCpu;
using sample::smbiosSlot;
using sample::with;
using sample::without;

struct Pair
{
    std::string situation;
    PropertyMap smbios;
    PropertyMap kovd;
    Condition failed;
};

void expectVerdicts(int interfaceType, const std::vector<Pair>& pairs)
{
    for (const Pair& pair : pairs)
    {
        SCOPED_TRACE(pair.situation);
        const Verdict verdict = CompareAssociationProperties(pair.smbios, pair.kovd, interfaceType);
        EXPECT_EQ(static_cast<int>(verdict.failed()), static_cast<int>(pair.failed));
        EXPECT_EQ(verdict, pair.failed == Condition::none);
    }
}

const PropertyMap slot3 = smbiosSlot("PCIe SLOT 3", 3);
const PropertyMap bay31 = smbiosSlot("SLOT 3 BAY 1", 3);
const std::string disk31 = "Disk.Bay.3:Enclosure.Internal.0-1";

TEST(Verdict, ofTwoSlotsNamesTheFirstConditionThatFails)
{
    const PropertyMap kovd3 = kovdSlot("NIC.Slot.3-1", 3);
    expectVerdicts(
        compare::slotForKovd,
        {
            {"match", slot3, kovd3, Condition::none},
            {"no slot id", without(slot3, "SlotID"), kovd3, Condition::propertiesPresent},
            {"no descriptor", slot3, without(kovd3, "PCIeFQDD"), Condition::propertiesPresent},
            {"slot id of another type", with(slot3, "SlotID", true), kovd3,
             Condition::propertiesReadable},
            {"other slot id", smbiosSlot("PCIe SLOT 3", 4), kovd3, Condition::slotIdEqual},
            {"empty designation", smbiosSlot("", 3), kovd3, Condition::textsNotEmpty},
            {"empty descriptor", slot3, kovdSlot("", 3), Condition::textsNotEmpty},
            {"locator type", slot3, kovdSlot("NIC.Slot.3", 3, 7), Condition::locatorTypeKnown},
            {"bay for a slot", bay31, kovd3, Condition::noBayNamed},
            {"slot for a bay", slot3, kovdSlot(disk31, 3, 9), Condition::bayNamed},
            {"two tokens", slot3, kovdSlot("NIC.Slot", 3), Condition::threeTokens},
            {"no SLOT token", slot3, kovdSlot("NIC.Integrated.3", 3), Condition::secondTokenSlot},
            {"no number", slot3, kovdSlot("NIC.Slot.x", 3), Condition::slotNumberRead},
            {"other number", slot3, kovdSlot("NIC.Slot.4", 3), Condition::slotNumberEqual},
            {"no slot named", smbiosSlot("PCIe 3", 3), kovd3, Condition::slotNumberEqual},
            {"other device", smbiosSlot("SLOT 3", 3), kovd3, Condition::deviceNamed},
            {"number too large", smbiosSlot("PCIe SLOT 99999999999", 3), kovd3,
             Condition::propertiesReadable},
        });
}

TEST(Verdict, ofADriveBayNamesTheFirstConditionThatFails)
{
    const auto kovd = [](const std::string& fqdd) { return kovdSlot(fqdd, 3, 9); };
    expectVerdicts(
        compare::slotForSmbios,
        {
            {"match", bay31, kovd(disk31), Condition::none},
            {"no slot in the designation", smbiosSlot("BAY 1", 3), kovd(disk31),
             Condition::bayRead},
            {"no enclosure in the descriptor", bay31, kovd("Disk.Bay.3:Rack"), Condition::bayRead},
            {"no disk number", bay31, kovd("Disk.Bay.x:Enclosure.Internal.0-1"),
             Condition::bayNumbered},
            {"other disk", bay31, kovd("Disk.Bay.4:Enclosure.Internal.0-1"), Condition::diskEqual},
            {"other bay", bay31, kovd("Disk.Bay.3:Enclosure.Internal.0-2"), Condition::bayEqual},
        });
}

TEST(Verdict, ofADeviceNeedsNoSlotId)
{
    expectVerdicts(
        compare::slotDevice,
        {
            {"match", without(slot3, "SlotID"), kovdDevice("NIC.Slot.3"), Condition::none},
            {"no descriptor", slot3, {}, Condition::propertiesPresent},
            {"bay for a card", bay31, kovdDevice("NIC.Slot.3"), Condition::noBayNamed},
            {"slot for a drive", slot3, kovdDevice(disk31), Condition::bayNamed},
        });
}

TEST(Verdict, ofTwoProcessorsNamesTheFirstConditionThatFails)
{
    expectVerdicts(
        compare::cpu,
        {
            {"match", smbiosCpu("CPU1"), kovdCpu("X.Y.1", 1), Condition::none},
            {"no key", smbiosCpu("CPU1"), {}, Condition::propertiesPresent},
            {"empty socket", smbiosCpu(""), kovdCpu("X.Y.1", 1), Condition::textsNotEmpty},
            {"other number", smbiosCpu("CPU1"), kovdCpu("X.Y.1", 2), Condition::socketIsNumber},
            {"two tokens", smbiosCpu("CPU1"), kovdCpu("X.1", 1), Condition::threeTokens},
            {"other key", smbiosCpu("CPU1"), kovdCpu("X.Y.01", 1), Condition::socketIsKey},
        });
    expectVerdicts(6, {{"no rule", smbiosCpu("CPU1"), {}, Condition::kindsComparable}});
}

TEST(Verdict, ofACacheNamesTheFirstConditionThatFails)
{
    const PropertyMap cpu{{"L1CacheHandle", std::uint16_t{7}}};
    const auto failed = [&](const PropertyMap& cache)
    {
        std::string handleName;
        return CompareCacheAssocProps(cpu, cache, handleName).failed();
    };
    EXPECT_EQ(failed({{"Handle", std::uint16_t{7}}}), Condition::none);
    EXPECT_EQ(failed({}), Condition::propertiesPresent);
    EXPECT_EQ(failed({{"Handle", std::uint16_t{0}}}), Condition::handleNotZero);
    EXPECT_EQ(failed({{"Handle", std::uint16_t{8}}}), Condition::handleEqual);
}

TEST(Verdict, ofTwoSlotsWithoutANumberIsNoMatch)
{
    EXPECT_EQ(compareSlots(-1, -1).verdict.failed(), Condition::slotNumberNamed);
}

} // namespace
