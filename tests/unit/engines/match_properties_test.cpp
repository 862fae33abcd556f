#include "compare_checks.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/match.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using namespace compare_checks;
using namespace sample;
using std::string;
using Lines = std::vector<string>;

const string beyondInt = "99999999999";

constexpr std::uint8_t slotLocator = 6;
constexpr std::uint8_t bayLocator = 9;
constexpr int slotTypes[] = {1, 2};

const PropertyMap smbios3 = smbiosSlot("PCIe SLOT 3", 3);
const PropertyMap kovd3 = kovdSlot("NIC.Slot.3-1", 3);
const PropertyMap smbiosBay = smbiosSlot("SLOT 3 BAY 1", 3);
const PropertyMap kovdBay = kovdSlot("Disk.Bay.3:Enclosure.Internal.0-1", 3, bayLocator);
const PropertyMap device3 = kovdDevice("NIC.Slot.3-1");
const PropertyMap diskDevice = kovdDevice("Disk.Bay.3:Enclosure.Internal.0-1");
const PropertyMap smbiosCpu1 = smbiosCpu("CPU1");
const PropertyMap kovdCpu1 = kovdCpu("X.Y.1", 1);

bool traced(const string& text)
{
    return recorded_log::contains(text);
}

// Slot and slot

TEST(CompareAssociationProperties, pairsSlots)
{
    for (const int type : slotTypes)
    {
        EXPECT_TRUE(CompareAssociationProperties(smbios3, kovd3, type));
        EXPECT_TRUE(traced("Slot comparison: SMBIOS=3 vs FQDD=3 => MATCH"));
    }
}

TEST(CompareAssociationProperties, needsEachPropertyOfASlotInItsType)
{
    for (const int type : slotTypes)
    {
        expectEachPropertyNeeded(smbios3, kovd3, type);
        expectEachPropertyNeeded(smbiosBay, kovdBay, type);
    }
}

TEST(CompareAssociationProperties, looksNamesUpExactly)
{
    for (const int type : slotTypes)
    {
        const PropertyMap smbios = with(without(smbios3, "SlotID"), "slotID", std::uint16_t{3});
        EXPECT_FALSE(CompareAssociationProperties(smbios, kovd3, type));
        // Each name is looked up on its own side.
        EXPECT_FALSE(CompareAssociationProperties(kovd3, smbios3, type));
        EXPECT_EQ(recorded_log::summary(), Lines{});
    }
}

TEST(CompareAssociationProperties, comparesSlotIdsOnlyForEquality)
{
    struct Row
    {
        std::uint16_t slotId;
        std::uint16_t instance;
        bool match;
    };
    const Row rows[] = {
        {0, 0, true}, {65535, 65535, true}, {7, 7, true}, {3, 4, false}, {0, 65535, false},
    };
    for (const int type : slotTypes)
    {
        for (const Row& row : rows)
        {
            SCOPED_TRACE(testing::Message() << row.slotId << " / " << row.instance);
            recorded_log::clear();
            EXPECT_EQ(CompareAssociationProperties(smbiosSlot("PCIe SLOT 3", row.slotId),
                                                   kovdSlot("NIC.Slot.3", row.instance), type),
                      row.match);
            EXPECT_EQ(recorded_log::summary().empty(), !row.match);
        }
    }
}

TEST(CompareAssociationProperties, readsTheLocatorTypeAlsoWhenTheIdsDiffer)
{
    const PropertyMap kovd = with(kovdSlot("NIC.Slot.3", 4), "PCIeLocatorType", string("6"));
    for (const int type : slotTypes)
    {
        recorded_log::clear();
        EXPECT_FALSE(CompareAssociationProperties(smbios3, kovd, type));
        EXPECT_EQ(recorded_log::summary(), Lines{badAccess});
    }
}

TEST(CompareAssociationProperties, missesATextBeforeItReadsTheOther)
{
    const PropertyMap smbios = with(smbios3, "SlotDesignation", true);
    for (const int type : slotTypes)
    {
        EXPECT_FALSE(CompareAssociationProperties(smbios, without(kovd3, "PCIeFQDD"), type));
    }
    EXPECT_FALSE(CompareAssociationProperties(smbios, {}, 3));
    EXPECT_FALSE(CompareAssociationProperties(with(smbiosCpu1, "Socket", true), {}, 5));
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, refusesEmptyTexts)
{
    for (const int type : slotTypes)
    {
        EXPECT_FALSE(CompareAssociationProperties(smbiosSlot("", 3), kovd3, type));
        EXPECT_FALSE(CompareAssociationProperties(smbios3, kovdSlot("", 3), type));
        EXPECT_FALSE(
            CompareAssociationProperties(smbiosSlot("", 3), kovdSlot("", 3, bayLocator), type));
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, aSlotLocatorRefusesEveryDesignationWithBay)
{
    for (const int type : slotTypes)
    {
        for (const string designation :
             {"PCIe SLOT 3 BAY 1", "pcie slot 3 bay", "PCIe SLOT 3 Bayou"})
        {
            SCOPED_TRACE(designation);
            EXPECT_FALSE(CompareAssociationProperties(smbiosSlot(designation, 3), kovd3, type));
            EXPECT_EQ(recorded_log::summary(), Lines{});
        }
    }
}

TEST(CompareAssociationProperties, aSlotLocatorTakesTheSlotRuleWhateverTheDescriptor)
{
    EXPECT_FALSE(CompareAssociationProperties(
        smbios3, kovdSlot("Disk.Bay.3:Enclosure.Internal.0-1", 3, slotLocator), 1));
    EXPECT_TRUE(traced("Slot Type=Bay"));
}

TEST(CompareAssociationProperties, aBayLocatorTakesTheBayRuleAndNeedsBay)
{
    struct Row
    {
        string designation;
        string fqdd;
        bool match;
    };
    const Row rows[] = {
        {"SLOT 3 BAY 1", "Disk.Bay.3:Enclosure.Internal.0-1", true},
        {"pcie slot 3 bay 1", "Disk.Bay.3:Enclosure.Internal.0-1", true},
        {"SLOT 3 BAY 2", "Disk.Bay.3:Enclosure.Internal.0-1", false},
        {"SLOT 3", "Disk.Bay.3:Enclosure.Internal.0-1", false},
        {"PCIe SLOT 3", "NIC.Slot.3", false},
        {"PCIe SLOT 3 BAY 1", "NIC.Slot.3", false},
    };
    for (const int type : slotTypes)
    {
        for (const Row& row : rows)
        {
            SCOPED_TRACE(row.designation + " / " + row.fqdd);
            EXPECT_EQ(CompareAssociationProperties(smbiosSlot(row.designation, 3),
                                                   kovdSlot(row.fqdd, 3, bayLocator), type),
                      row.match);
        }
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, readsNoNumberOfADesignationThatNamesTheOtherKind)
{
    const PropertyMap slot = smbiosSlot("SLOT " + beyondInt, 3);
    const PropertyMap bay = smbiosSlot("SLOT " + beyondInt + " BAY 1", 3);
    for (const int type : slotTypes)
    {
        EXPECT_FALSE(CompareAssociationProperties(slot, kovdBay, type));
        EXPECT_FALSE(CompareAssociationProperties(bay, kovd3, type));
    }
    EXPECT_FALSE(CompareAssociationProperties(slot, diskDevice, 3));
    EXPECT_FALSE(CompareAssociationProperties(bay, device3, 3));
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, refusesEveryOtherLocatorType)
{
    for (int locator = 0; locator < 256; ++locator)
    {
        if (locator == slotLocator || locator == bayLocator)
        {
            continue;
        }
        SCOPED_TRACE(locator);
        const auto byte = static_cast<std::uint8_t>(locator);
        for (const int type : slotTypes)
        {
            EXPECT_FALSE(
                CompareAssociationProperties(smbios3, kovdSlot("NIC.Slot.3", 3, byte), type));
            EXPECT_FALSE(CompareAssociationProperties(
                smbiosBay, kovdSlot("Disk.Bay.3:Enclosure.Internal.0-1", 3, byte), type));
        }
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, handsTheDesignationOnAsItIsStored)
{
    EXPECT_TRUE(CompareAssociationProperties(smbiosSlot("pcie%s slot 3", 3), kovd3, 1));
    EXPECT_TRUE(traced("SMBIOS fqdd pcie%s slot 3"));
}

// Slot and slot device

TEST(CompareAssociationProperties, pairsSlotDevicesWithoutASlotId)
{
    EXPECT_TRUE(CompareAssociationProperties(without(smbios3, "SlotID"), device3, 3));
    EXPECT_TRUE(CompareAssociationProperties(with(smbios3, "SlotID", true), device3, 3));
    EXPECT_TRUE(CompareAssociationProperties(without(smbiosBay, "SlotID"), diskDevice, 3));
}

TEST(CompareAssociationProperties, needsEachPropertyOfADeviceInItsType)
{
    expectEachPropertyNeeded(without(smbios3, "SlotID"), device3, 3);
    expectEachPropertyNeeded(without(smbiosBay, "SlotID"), diskDevice, 3);
}

TEST(CompareAssociationProperties, looksForADevicesOwnDescriptor)
{
    EXPECT_FALSE(CompareAssociationProperties(smbios3, kovd3, 3));
    EXPECT_FALSE(CompareAssociationProperties(smbiosSlot("", 3), device3, 3));
    EXPECT_FALSE(CompareAssociationProperties(smbios3, kovdDevice(""), 3));
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, choosesADevicesRuleByItsDescriptor)
{
    struct Row
    {
        string designation;
        string fqdd;
        bool match;
        bool slotRule; // seen by its trace
    };
    const Row rows[] = {
        {"SLOT 3 BAY 1", "Disk.Bay.3:Enclosure.Internal.0-1", true, false},
        {"slot 3 bay 1", "SAS.Disk.Bay.3:Enclosure.Internal.0-1", true, false},
        {"SLOT 3 BAY 2", "Disk.Bay.3:Enclosure.Internal.0-1", false, false},
        {"PCIe SLOT 3", "Disk.Bay.3:Enclosure.Internal.0-1", false, false},
        {"PCIe SLOT 3", "NIC.Slot.3", true, true},
        {"PCIe SLOT 3", "disk.bay.3", false, true},
        {"PCIe SLOT 3 BAY 1", "NIC.Slot.3", false, false},
        {"pcie slot 3 bayou", "NIC.Slot.3", false, false},
        {"SLOT 3 BAY 1", "disk.bay.3:enclosure.internal.0-1", false, false},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.designation + " / " + row.fqdd);
        recorded_log::clear();
        EXPECT_EQ(
            CompareAssociationProperties(smbiosSlot(row.designation, 3), kovdDevice(row.fqdd), 3),
            row.match);
        EXPECT_EQ(traced("KOVD fqdd " + row.fqdd), row.slotRule);
    }
}

// All of them

TEST(CompareAssociationProperties, refusesEveryOtherType)
{
    const PropertyMap smbios = sample::both(smbios3, smbiosCpu1);
    const PropertyMap kovd = sample::both(sample::both(kovd3, kovdCpu1), device3);
    for (const int type :
         {0, 4, 6, 8, 9, -1, 257, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    {
        EXPECT_FALSE(CompareAssociationProperties(smbios, kovd, type)) << type;
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, findsNothingInEmptyMaps)
{
    for (const int type : {1, 2, 3, 5, 7})
    {
        EXPECT_FALSE(CompareAssociationProperties({}, {}, type)) << type;
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(CompareAssociationProperties, catchesANumberThatDoesNotFit)
{
    const string line = "1 CompareAssociationProperties: Exception in "
                        "CompareAssociationProperties: stoi";
    const string bay = "SLOT " + beyondInt + " BAY 1";
    for (const int type : slotTypes)
    {
        recorded_log::clear();
        EXPECT_FALSE(
            CompareAssociationProperties(smbiosSlot("PCIe SLOT " + beyondInt, 3), kovd3, type));
        EXPECT_EQ(ownLines(), Lines{line});
        recorded_log::clear();
        EXPECT_FALSE(CompareAssociationProperties(smbiosSlot(bay, 3), kovdBay, type));
        EXPECT_EQ(ownLines(), Lines{line});
    }
    recorded_log::clear();
    EXPECT_FALSE(CompareAssociationProperties(
        smbiosBay, kovdDevice("Disk.Bay." + beyondInt + ":Enclosure.Internal.0-1"), 3));
    EXPECT_EQ(ownLines(), Lines{line});
}

TEST(CompareAssociationProperties, catchesEveryException)
{
    const auto throwAtTheFirstLine = [](auto exception)
    {
        recorded_log::clear();
        recorded_log::setHook(
            [exception](const LogLine& line)
            {
                if (line.function == "matchFQDD")
                {
                    throw exception;
                }
            });
    };
    throwAtTheFirstLine(std::runtime_error("boom"));
    EXPECT_FALSE(CompareAssociationProperties(smbios3, kovd3, 1));
    EXPECT_EQ(ownLines(), Lines{"1 CompareAssociationProperties: Exception in "
                                "CompareAssociationProperties: boom"});
    throwAtTheFirstLine(42);
    EXPECT_FALSE(CompareAssociationProperties(smbios3, kovd3, 1));
    EXPECT_EQ(ownLines(), Lines{"1 CompareAssociationProperties: Unknown Exception in "
                                "CompareAssociationProperties"});
}

} // namespace
