#include "doubles/recorded_log.hpp"
#include "engines/match.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using std::string;
using std::string_view;
using Lines = std::vector<string>;

const string beyondInt = "99999999999";

/** What the slot rule logs before it knows whether it can compare. */
Lines textsOf(const string& designation, const string& fqdd)
{
    return {"5 matchFQDD: KOVD fqdd " + fqdd, "5 matchFQDD: SMBIOS fqdd " + designation};
}

Lines tokensOf(const string& device, const string& type, const string& number)
{
    return {"5 matchFQDD: Device Type=" + device, "5 matchFQDD: Slot Type=" + type,
            "5 matchFQDD: Slot number=" + number};
}

Lines operator+(Lines left, const Lines& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

string lastLine()
{
    const Lines lines = recorded_log::summary();
    return lines.empty() ? "" : lines.back();
}

TEST(matchFQDD, logsEachStepOfAMatch)
{
    EXPECT_TRUE(matchFQDD("PCIe SLOT 3", "NIC.Slot.3-1"));
    EXPECT_EQ(recorded_log::summary(),
              textsOf("PCIe SLOT 3", "NIC.Slot.3-1") + tokensOf("NIC", "Slot", "3") +
                  Lines{"5 matchFQDD: Slot comparison: SMBIOS=3 vs FQDD=3 => MATCH"});
}

TEST(matchFQDD, comparesDeviceTypeAndSlotNumber)
{
    struct Row
    {
        string designation;
        string fqdd;
        bool match;
        string comparison;
    };
    const Row rows[] = {
        // The designation names the device type, or any "PCIe".
        {"NIC SLOT 3", "NIC.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"ocpnic slot 3", "NIC.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"pcie Slot 3", "GPU.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"NIC SLOT 3", "NIC.Slot.4", false, "SMBIOS=3 vs FQDD=4 => NO_MATCH"},
        {"\xe4 SLOT 3", "\xe4.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"\xe4 SLOT 3", "\xc4.Slot.3", false, "SMBIOS=3 vs FQDD=3 => MATCH"},
        // It names neither: only the placeholder will do.
        {"SLOT 3", "NIC.Slot.3", false, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"SLOT 3", "PCIESLOTPLACEHOLDER.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"SLOT 3", "PcieSlotPlaceholder.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"SLOT 3", "PCIESLOTPLACEHOLDERS.Slot.3", false, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"SLOT 3", "PCIESLOTPLACEHOLDER.Slot.4", false, "SMBIOS=3 vs FQDD=4 => NO_MATCH"},
        {"PCIe SLOT 3", "PCIESLOTPLACEHOLDER.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        // Slot numbers are integers.
        {"PCIe SLOT 3", "NIC.Slot.03", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"PCIe SLOT 003", "NIC.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"PCIe SLOT 3", "NIC.Slot. \t3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"PCIe SLOT 3", "NIC.Slot.+3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"PCIe SLOT 3", "NIC.Slot.-3", true, "SMBIOS=3 vs FQDD=3 => MATCH"}, // "-" separates
        {"PCIe SLOT 3", "NIC.Slot.3abc", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"PCIe SLOT 3", "NIC.Slot.0x3", false, "SMBIOS=3 vs FQDD=0 => NO_MATCH"},
        {"PCIe SLOT 2147483647", "NIC.Slot.2147483647", true,
         "SMBIOS=2147483647 vs FQDD=2147483647 => MATCH"},
        {"PCIe SLOT 0", "NIC.Slot.0", true, "SMBIOS=0 vs FQDD=0 => MATCH"},
        // The designation has no slot number.
        {"PCIe SLOT3", "NIC.Slot.3", false, "SMBIOS=-1 vs FQDD=3 => NO_MATCH"},
        {"PCIe SLOT", "NIC.Slot.3", false, "SMBIOS=-1 vs FQDD=3 => NO_MATCH"},
        {"PCIe 3", "NIC.Slot.3", false, "SMBIOS=-1 vs FQDD=3 => NO_MATCH"},
        {"", "NIC.Slot.3", false, "SMBIOS=-1 vs FQDD=3 => NO_MATCH"},
        {"PCIe SLOT A SLOT 3", "NIC.Slot.3", false, "SMBIOS=-1 vs FQDD=3 => NO_MATCH"},
        // A slot number counts also when the designation has no readable bay, or has one.
        {"PCIe SLOT 3 BAY x", "NIC.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        {"PCIe SLOT 3 BAY 1", "NIC.Slot.3", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
        // Separators.
        {"PCIe SLOT 3", "--NIC..Slot-3-", true, "SMBIOS=3 vs FQDD=3 => MATCH"},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.designation + " / " + row.fqdd);
        recorded_log::clear();
        EXPECT_EQ(matchFQDD(row.designation, row.fqdd), row.match);
        EXPECT_EQ(recorded_log::summary().size(), 6U);
        EXPECT_EQ(lastLine(), "5 matchFQDD: Slot comparison: " + row.comparison);
    }
}

TEST(matchFQDD, acceptsSlotTypeInAnyCase)
{
    for (const string type : {"slot", "SLOT", "Slot", "sLoT"})
    {
        EXPECT_TRUE(matchFQDD("PCIe SLOT 3", "NIC." + type + ".3")) << type;
    }
}

TEST(matchFQDD, stopsBeforeTheNumberWhenTheSecondTokenIsNotSlot)
{
    for (const string type : {"Slots", "Slo", "Bay", "Embedded", "Slot 3", "\xd3slot"})
    {
        SCOPED_TRACE(type);
        recorded_log::clear();
        EXPECT_FALSE(matchFQDD("PCIe SLOT 3", "NIC." + type + ".3"));
        EXPECT_EQ(recorded_log::summary(),
                  textsOf("PCIe SLOT 3", "NIC." + type + ".3") + tokensOf("NIC", type, "3"));
    }
}

TEST(matchFQDD, refusesFewerThanThreeTokens)
{
    for (const string fqdd : {"NIC.Slot", "NIC-Slot", "NIC.Slot.", "NIC", "", "..-", "SLOT 3"})
    {
        SCOPED_TRACE(fqdd);
        recorded_log::clear();
        EXPECT_FALSE(matchFQDD("PCIe SLOT 3", fqdd));
        EXPECT_EQ(recorded_log::summary(),
                  textsOf("PCIe SLOT 3", fqdd) +
                      Lines{"1 matchFQDD: KOVD Fqdd is not in expected format"});
    }
}

TEST(matchFQDD, refusesASlotNumberThatIsNoIntOfItsOwn)
{
    for (const string number :
         {"abc", "x3", "+", "\xb2", "2147483648", beyondInt.c_str(), "99999999999999999999999999"})
    {
        SCOPED_TRACE(number);
        recorded_log::clear();
        EXPECT_FALSE(matchFQDD("PCIe SLOT 3", "NIC.Slot." + number));
        EXPECT_EQ(recorded_log::summary(),
                  textsOf("PCIe SLOT 3", "NIC.Slot." + number) + tokensOf("NIC", "Slot", number) +
                      Lines{"5 matchFQDD: Failed to Parse the Slot Number"});
    }
}

TEST(matchFQDD, throwsWhenANumberOfTheDesignationDoesNotFit)
{
    for (const string& designation : {"PCIe SLOT " + beyondInt, "PCIe SLOT 3 BAY " + beyondInt})
    {
        SCOPED_TRACE(designation);
        recorded_log::clear();
        // Before the descriptor's own number is read.
        EXPECT_THROW(matchFQDD(designation, "NIC.Slot.abc"), std::out_of_range);
        EXPECT_EQ(recorded_log::summary(),
                  textsOf(designation, "NIC.Slot.abc") + tokensOf("NIC", "Slot", "abc"));
    }
}

TEST(matchFQDD, takesPercentAndControlCharactersAsData)
{
    const string designation = "PCIe%s%n SLOT 3\n1 357 forged\x01";
    const string fqdd = "NIC%d%\x1b.Slot.3\n%s";
    EXPECT_TRUE(matchFQDD(designation, fqdd));
    EXPECT_EQ(recorded_log::summary(),
              textsOf(designation, fqdd) + tokensOf("NIC%d%\x1b", "Slot", "3\n%s") +
                  Lines{"5 matchFQDD: Slot comparison: SMBIOS=3 vs FQDD=3 => MATCH"});
}

TEST(matchFQDD, readsNotBeyondItsTexts)
{
    const string_view designation = string_view("PCIe SLOT 34").substr(0, 11);
    const string_view fqdd = string_view("NIC.Slot.35").substr(0, 10);
    EXPECT_TRUE(matchFQDD(designation, fqdd));
    EXPECT_EQ(recorded_log::summary(),
              textsOf("PCIe SLOT 3", "NIC.Slot.3") + tokensOf("NIC", "Slot", "3") +
                  Lines{"5 matchFQDD: Slot comparison: SMBIOS=3 vs FQDD=3 => MATCH"});
}

TEST(matchFQDD, answersTheSameInSilence)
{
    recorded_log::setLevel(0);
    EXPECT_TRUE(matchFQDD("PCIe SLOT 3", "NIC.Slot.3"));
    EXPECT_FALSE(matchFQDD("PCIe SLOT 3", "NIC.Slot"));
    EXPECT_FALSE(matchFQDD("PCIe SLOT 3", "NIC.Slot.x"));
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(compareSlots, saysMatchButAnswersNoWhenThereAreNone)
{
    struct Row
    {
        int smbios;
        int fqdd;
        string text;
        bool match;
    };
    constexpr int most = std::numeric_limits<int>::max();
    const Row rows[] = {
        {3, 3, "MATCH", true},      {0, 0, "MATCH", true},       {most, most, "MATCH", true},
        {3, 4, "NO_MATCH", false},  {3, -1, "NO_MATCH", false},  {-1, 3, "NO_MATCH", false},
        {-1, 0, "NO_MATCH", false}, {-1, -2, "NO_MATCH", false}, {-1, -1, "MATCH", false},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.smbios << " / " << row.fqdd);
        const SlotVerdict slots = compareSlots(row.smbios, row.fqdd);
        EXPECT_EQ(string(slots.text), row.text);
        EXPECT_EQ(slots.verdict, row.match);
    }
}

TEST(matchDiskBay, comparesSlotWithDiskAndBayWithEnclosure)
{
    struct Row
    {
        string designation;
        string fqdd;
        bool match;
    };
    const Row rows[] = {
        {"SLOT 3 BAY 1", "Disk.Bay.3:Enclosure.Internal.0-1", true},
        {"slot 03 bay 01", "Disk.Bay.3:Enclosure.Internal.0-1", true},
        {"PCIe SLOT 0 BAY 0", "Disk.Bay.0:Enclosure.Internal.0-0", true},
        {"SLOT 3 BAY 1", "Disk.Bay.4:Enclosure.Internal.0-1", false},
        {"SLOT 3 BAY 1", "Disk.Bay.3:Enclosure.Internal.0-2", false},
        {"SLOT 1 BAY 3", "Disk.Bay.3:Enclosure.Internal.0-1", false},
        // One of the two is not complete.
        {"SLOT 3", "Disk.Bay.3:Enclosure.Internal.0-1", false},
        {"BAY 1", "Disk.Bay.3:Enclosure.Internal.0-1", false},
        {"SLOT x BAY 1", "Disk.Bay.x:Enclosure.Internal.0-1", false},
        {"SLOT 3 BAY x", "Disk.Bay.3:Enclosure.Internal.0-x", false},
        {"SLOT 3 BAY 1", "Disk.Bay.3:", false},
        {"SLOT 3 BAY 1", "Disk.Bay.:Enclosure.Internal.0-1", false},
        {"SLOT 3 BAY 1", "Disk.Bay.3Enclosure.Internal.0-1", false},
        {"SLOT 3 BAY 1", "disk.bay.3:enclosure.internal.0-1", false},
        // Both were found, but a number is missing.
        {"SLOT 3 BAY 1", "Disk.Bay.x:Enclosure.Internal.0-1", false},
        {"SLOT 3 BAY 1", "Disk.Bay.3:Enclosure.Internal.0-", false},
        {"", "", false},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.designation + " / " + row.fqdd);
        EXPECT_EQ(matchDiskBay(row.designation, row.fqdd), row.match);
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

TEST(matchDiskBay, throwsWhenANumberDoesNotFit)
{
    const string fqdd = "Disk.Bay.3:Enclosure.Internal.0-1";
    EXPECT_THROW(matchDiskBay("SLOT " + beyondInt + " BAY 1", fqdd), std::out_of_range);
    EXPECT_THROW(matchDiskBay("SLOT 3 BAY " + beyondInt, fqdd), std::out_of_range);
    EXPECT_THROW(matchDiskBay("SLOT 3 BAY 1", "Disk.Bay." + beyondInt + ":Enclosure.Internal.0-1"),
                 std::out_of_range);
    EXPECT_THROW(matchDiskBay("SLOT 3 BAY 1", fqdd + beyondInt), std::out_of_range);
}

} // namespace
