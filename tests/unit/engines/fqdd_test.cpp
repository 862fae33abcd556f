#include "engines/fqdd.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using std::string;
using std::string_view;

const string beyondInt = "99999999999";

/** All that splitFqdd tells, in a form that compares and prints. */
std::vector<string> tokensOf(string_view fqdd)
{
    const FqddTokens tokens = splitFqdd(fqdd);
    std::vector<string> all;
    for (std::size_t i = 0; i < tokens.token.size() && i < tokens.count; ++i)
    {
        all.emplace_back(tokens.token[i]);
    }
    return all;
}

TEST(toUpperCopy, raisesAsciiLettersAndNothingElse)
{
    for (int byte = 0; byte < 256; ++byte)
    {
        SCOPED_TRACE(byte);
        const char given = static_cast<char>(byte);
        const bool lower = given >= 'a' && given <= 'z';
        const char raised = lower ? static_cast<char>(given - 'a' + 'A') : given;
        EXPECT_EQ(toUpperCopy(string(1, given)), string(1, raised));
    }
}

TEST(toUpperCopy, keepsLengthAndOrder)
{
    EXPECT_EQ(toUpperCopy(""), "");
    EXPECT_EQ(toUpperCopy("PCIe Slot 3"), "PCIE SLOT 3");
    EXPECT_EQ(toUpperCopy("f\xc3\xbcnf"), "F\xc3\xbcNF");
    EXPECT_EQ(toUpperCopy(string("a\0b", 3)), string("A\0B", 3));
}

TEST(containsNoCase, findsTheNeedleInAnyCase)
{
    struct Row
    {
        string_view text;
        string_view needle;
        bool contained;
    };
    const Row rows[] = {
        {"PCIe SLOT 3", "pcie", true},   {"pcie slot 3", "SLOT", true},
        {"pcie slot 3", "3", true},      {"slot", "slot", true},
        {"slot", "slots", false},        {"s l o t", "slot", false},
        {"sloslot", "SLOT", true},       {"\xe4slot", "\xe4SLOT", true},
        {"\xe4slot", "\xc4SLOT", false}, // no case beyond ASCII
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.text << " / " << row.needle);
        EXPECT_EQ(containsNoCase(row.text, row.needle), row.contained);
    }
}

TEST(containsNoCase, anEmptyNeedleIsInNothingButAnEmptyText)
{
    EXPECT_TRUE(containsNoCase("", ""));
    EXPECT_FALSE(containsNoCase("slot", ""));
    EXPECT_FALSE(containsNoCase("", "slot"));
}

TEST(equalsExact, comparesEveryByte)
{
    EXPECT_TRUE(equalsExact("", ""));
    EXPECT_TRUE(equalsExact("Slot", "Slot"));
    EXPECT_FALSE(equalsExact("Slot", "slot"));
    EXPECT_FALSE(equalsExact("Slot", "Slots"));
    EXPECT_FALSE(equalsExact("Slots", "Slot"));
    EXPECT_FALSE(equalsExact("", "S"));
    EXPECT_FALSE(equalsExact(string_view("a\0b", 3), string_view("a\0c", 3)));
}

TEST(splitFqdd, splitsAtDotsAndDashes)
{
    struct Row
    {
        string_view fqdd;
        std::vector<string> tokens; // the first three
        std::size_t count;
    };
    const Row rows[] = {
        {"X.Slot.4-1", {"X", "Slot", "4"}, 4},
        {"NIC.Slot.3", {"NIC", "Slot", "3"}, 3},
        {"NIC-Slot-3", {"NIC", "Slot", "3"}, 3},
        {"NIC.Slot", {"NIC", "Slot"}, 2},
        {"NIC", {"NIC"}, 1},
        {"", {}, 0},
        {".-.-", {}, 0},
        {"..NIC.-Slot--3..", {"NIC", "Slot", "3"}, 3},
        {"NIC.Slot.", {"NIC", "Slot"}, 2},
        {"Disk.Bay.3:Enclosure.Internal.0-1", {"Disk", "Bay", "3:Enclosure"}, 6},
        {"NIC Slot_3", {"NIC Slot_3"}, 1},
        {"\xff.\x80.3", {"\xff", "\x80", "3"}, 3},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.fqdd);
        EXPECT_EQ(tokensOf(row.fqdd), row.tokens);
        EXPECT_EQ(splitFqdd(row.fqdd).count, row.count);
    }
}

TEST(parseDigitsAt, readsTheLongestRunOfDigits)
{
    struct Row
    {
        string_view text;
        std::size_t position;
        int number;
    };
    const Row rows[] = {
        {"12", 0, 12},
        {"12", 1, 2},
        {"12ab34", 0, 12},
        {"ab34", 2, 34},
        {"007", 0, 7},
        {"0", 0, 0},
        {"2147483647", 0, std::numeric_limits<int>::max()},
        {"00000000000000000003", 0, 3},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(parseDigitsAt(row.text, row.position), row.number);
    }
}

TEST(parseDigitsAt, readsNothingWhereNoDigitStands)
{
    struct Row
    {
        string_view text;
        std::size_t position;
    };
    const Row rows[] = {
        {"", 0},     {"3", 1},    {"3", 2},  {"3", string_view::npos},
        {"x3", 0},   {" 3", 0},   {"-3", 0}, {"+3", 0},
        {"\xb2", 0}, {"\xff", 0}, {"/", 0},  {":", 0},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(testing::Message() << row.text << " at " << row.position);
        EXPECT_EQ(parseDigitsAt(row.text, row.position), -1);
    }
}

TEST(parseDigitsAt, throwsWhenTheNumberDoesNotFit)
{
    EXPECT_THROW(parseDigitsAt("2147483648", 0), std::out_of_range);
    EXPECT_THROW(parseDigitsAt(beyondInt, 0), std::out_of_range);
    EXPECT_THROW(parseDigitsAt(string(400, '9'), 0), std::out_of_range);
}

TEST(parseSlotAndBay, readsWhatTheDesignationNames)
{
    struct Row
    {
        string_view designation;
        bool both;
        int slot;
        int bay;
    };
    const Row rows[] = {
        {"SLOT 3 BAY 1", true, 3, 1},
        {"slot 3 bay 1", true, 3, 1},
        {"BAY 2 SLOT 5", true, 5, 2},
        {"SLOT 3BAY 1", true, 3, 1},
        {"SLOT 12abc BAY 034", true, 12, 34},
        {"MULTISLOT 7 MINIBAY 2", true, 7, 2},
        {"SLOT 0 BAY 0", true, 0, 0},
        {"SLOTX 3 SLOT 4 BAY 1", true, 4, 1}, // "SLOTX" is not "SLOT" and a blank
        {"\xe4 SLOT 3 BAY 1", true, 3, 1},
        // What was read is kept although the whole is not.
        {"SLOT 3", false, 3, -1},
        {"SLOT 3 BAY", false, 3, -1},
        {"SLOT 3 BAYS 1", false, 3, -1},
        {"SLOT 3 BAY x", false, 3, -1},
        {"BAY 1", false, -1, 1},
        {"SLOT BAY 1", false, -1, 1},
        {"SLOT  3 BAY 1", false, -1, 1},
        {"SLOT\t3 BAY 1", false, -1, 1},
        {"SLOT3 BAY 1", false, -1, 1},
        {"SLOT -3 BAY 1", false, -1, 1},
        // Only the first occurrence counts, with or without a digit.
        {"SLOT A SLOT 4 BAY 1", false, -1, 1},
        {"SLOT 3 SLOT 4 BAY 1 BAY 2", true, 3, 1},
        {"SLOT 3 BAY x BAY 2", false, 3, -1},
        // Too short for either.
        {"", false, -1, -1},
        {"SLOT", false, -1, -1},
        {"SLOT ", false, -1, -1},
        {"BAY", false, -1, -1},
        {"BAY ", false, -1, -1},
        {"3", false, -1, -1},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.designation);
        SlotAndBay out{77, 88};
        EXPECT_EQ(parseSlotAndBay(row.designation, out), row.both);
        EXPECT_EQ(out.slot, row.slot);
        EXPECT_EQ(out.bay, row.bay);
    }
}

TEST(parseSlotAndBay, throwsWhenANumberDoesNotFit)
{
    SlotAndBay out;
    EXPECT_THROW(parseSlotAndBay("SLOT " + beyondInt, out), std::out_of_range);
    EXPECT_THROW(parseSlotAndBay("SLOT 3 BAY " + beyondInt, out), std::out_of_range);
    EXPECT_THROW(parseSlotAndBay("BAY " + beyondInt, out), std::out_of_range);
}

TEST(parseDiskBayFqdd, readsWhatTheDescriptorNames)
{
    struct Row
    {
        string_view fqdd;
        bool both;
        int disk;
        int enclosure;
    };
    const Row rows[] = {
        {"Disk.Bay.3:Enclosure.Internal.0-1", true, 3, 1},
        {"Disk.Bay.3x:Enclosure.Internal.0-12ab", true, 3, 12},
        {"SAS.Disk.Bay.07:Enclosure.Internal.0-08", true, 7, 8},
        {"Enclosure.Internal.0-1Disk.Bay.3:", true, 3, 1},
        {"Disk.Bay.3Enclosure.Internal.0-1:", true, 3, 1},
        // Found, but no digit there.
        {"Disk.Bay.x:Enclosure.Internal.0-1", true, -1, 1},
        {"Disk.Bay.3:Enclosure.Internal.0-", true, 3, -1},
        {"Disk.Bay.3:Enclosure.Internal.0-x", true, 3, -1},
        {"Disk.Bay.x:Disk.Bay.3:Enclosure.Internal.0-1", true, -1, 1},
        // Not found: case as written, and a ":" with something before it.
        {"disk.bay.3:Enclosure.Internal.0-1", false, -1, 1},
        {"Disk.Bay.3Enclosure.Internal.0-1", false, -1, 1},
        {"Disk.Bay.:Enclosure.Internal.0-1", false, -1, 1},
        {"0:Disk.Bay.3Enclosure.Internal.0-1", false, -1, 1},
        {"Enclosure.Internal.0-7", false, -1, 7},
        {"Enclosure.Internal.0-", false, -1, -1},
        {"Disk.Bay.3:enclosure.internal.0-1", false, 3, -1},
        {"Disk.Bay.3:Enclosure.Internal.1-1", false, 3, -1},
        // Too short for the enclosure, or for the disk.
        {"Disk.Bay.3:", false, 3, -1},
        {"Disk.Bay.3:.........", false, 3, -1},
        {"Disk.Bay.", false, -1, -1},
        {"Disk.Bay", false, -1, -1},
        {"", false, -1, -1},
    };
    for (const Row& row : rows)
    {
        SCOPED_TRACE(row.fqdd);
        DiskBay out{77, 88};
        EXPECT_EQ(parseDiskBayFqdd(row.fqdd, out), row.both);
        EXPECT_EQ(out.disk, row.disk);
        EXPECT_EQ(out.enclosure, row.enclosure);
    }
}

TEST(parseDiskBayFqdd, throwsWhenANumberDoesNotFit)
{
    DiskBay out;
    EXPECT_THROW(parseDiskBayFqdd("Disk.Bay." + beyondInt + ":", out), std::out_of_range);
    EXPECT_THROW(parseDiskBayFqdd("Disk.Bay.3:Enclosure.Internal.0-" + beyondInt, out),
                 std::out_of_range);
}

} // namespace
