// Messages that a real bus lets through and that are not as they should be: each costs itself, with
// its line, and nothing else. What one of each kind does is in tests/bus/malformed_test.cpp.

#include "faults/message_faults.hpp"

#include <array>

namespace
{

using namespace std::chrono_literals;
using faults::Kind;
using kit::inSlot;
using kit::Lists;
using kit::Texts;
using sim::Json;
using sim::Value;

using faults::MessageFaults;

const std::string startsResync = "Resync starting...";

// ---- signatures ----

constexpr const char* added = "InterfacesAdded";
constexpr const char* removed = "InterfacesRemoved";
constexpr const char* changed = "PropertiesChanged";

/** The three right ones among them: so each member has 40 wrong ones. */
constexpr std::array<const char*, 41> signatures{
    "oa{sa{sv}}", "oas",         "sa{sv}as",    "",           "o",
    "s",          "g",           "y",           "b",          "n",
    "q",          "i",           "x",           "t",          "d",
    "v",          "as",          "ao",          "ay",         "av",
    "a{sv}",      "a{sa{sv}}",   "oa{sv}",      "oa{sa{ss}}", "oa{oa{sv}}",
    "sa{sa{sv}}", "oa{sa{sv}}s", "soa{sa{sv}}", "o(sa{sv})",  "sas",
    "oao",        "oass",        "os",          "oav",        "sa{sv}",
    "sa{ss}as",   "sa{sv}ao",    "sa{sv}ass",   "oa{sv}as",   "sa{sv}v",
    "a(sss)",
};

TEST_F(MessageFaults, M1WrongSignatures)
{
    constexpr unsigned warp = 20;
    publishWithCanaries({{sim::makeSmbiosSlot(1)}, {}});
    startSettled({.warp = warp});
    unsigned sent = 0;
    const auto send = [&](sim::Service& service, const std::string& path, const char* member)
    {
        const std::string right = member == added     ? "oa{sa{sv}}"
                                  : member == removed ? "oas"
                                                      : "sa{sv}as";
        for (const std::string signature : signatures)
        {
            if (signature != right)
            {
                const char* interface =
                    member == changed ? sim::names::properties : sim::names::objectManager;
                service.emitSignal(
                    {path, interface, member, signature, faults::emptyBody(signature)});
                ++sent;
            }
        }
    };
    for (const char* member : {added, removed})
    {
        send(smbios, sim::names::smbiosRoot, member);
        send(kovd, sim::names::boardRoot, member);
        send(kovd, sim::names::chassisRoot, member);
    }
    send(smbios, sim::smbiosSlotPath(1), changed);
    send(kovd, sim::kovdSlotPath(1), changed);
    settle();

    // The library looks at no well-known sender, so a change reaches both decoders.
    const std::size_t each = signatures.size() - 1;
    const auto complaints = [&](const std::string& function)
    {
        std::size_t count = 0;
        for (const std::string& text : logged(function))
        {
            count += text.starts_with("Invalid signature = ") ? 1 : 0;
        }
        EXPECT_EQ(count, linesOf(function));
        return count;
    };
    EXPECT_EQ(complaints("GetSmbiosMsgData"), (2 + 2) * each);
    EXPECT_EQ(complaints("GetKovdMsgData"), (4 + 2) * each);
    // Seventy seconds of the daemon's time.
    EXPECT_FALSE(daemon().log().waitFor(rig::says("startRecovery", startsResync), 70s / warp));
    kit::measured(std::to_string(sent) + " messages");
    expectCanary();
    expectHealthy();
}

// ---- types of kept properties ----

TEST_F(MessageFaults, M2WrongTypesOfKeptProperties)
{
    publishWithCanaries(sim::makeInventory(1, 1));
    startSettled({.warp = 20});
    const Lists before = lists();
    unsigned sent = 0;
    for (const Kind& kind : faults::kinds())
    {
        unsigned ofKind = 0;
        for (const auto& [property, type] : kind.kept)
        {
            auto types = faults::knownTypes();
            types.insert(types.end(), faults::unknownTypes().begin(), faults::unknownTypes().end());
            for (const std::string& other : types)
            {
                if (other != std::string(1, type))
                {
                    announceWith(kind, 2, property, faults::emptyOf(other));
                    ++ofKind;
                }
            }
        }
        settle();
        EXPECT_EQ(times(kind.insert, kind.wrongType), ofKind) << kind.name;
        sent += ofKind;
    }
    EXPECT_EQ(sent, 23u * (12 + 4));
    EXPECT_EQ(lists(), before);
    // A resync writes the lists of a device and of a twin again, but none of an object that nobody
    // could read.
    for (const Kind& kind : faults::kinds())
    {
        EXPECT_EQ(kovd.journal().setsOn(kind.make(2).first).size(), 0u) << kind.name;
    }
    EXPECT_TRUE(waitForLine("startRecovery", startsResync));
    EXPECT_TRUE(waitForLine("startRecovery", "Recovery: resync completed. Entering cool-down..."));
    settle(); // what the resync has queued is written
    kit::measured(std::to_string(sent) + " messages");
    expectCanary();
    expectHealthy();
}

TEST_F(MessageFaults, M2EmptyTextsMatchNothingAndSayNothing)
{
    // Each of them alone keeps two objects apart that would match.
    constexpr std::array<const char*, 5> names{"SlotDesignation", "PCIeFQDD", "FQDD", "Socket",
                                               "TargetDevKey"};
    auto inventory = sim::makeInventory(0);
    inventory.smbios.insert(sim::makeSmbiosSlot(2));
    inventory.smbios.insert(sim::makeSmbiosSlot(3));
    inventory.smbios.insert(sim::makeSmbiosCpu(5));
    inventory.kovd.insert(sim::makeKovdSlot(1));
    inventory.kovd.insert(sim::makeKovdCpu(4));
    publishWithCanaries(inventory);
    startSettled();
    const std::size_t comparisons = linesOf("matchFQDD") + linesOf("CompareAssociationProperties");
    unsigned number = 1;
    for (const char* name : names)
    {
        for (const Kind& kind : faults::kinds())
        {
            for (const auto& kept : kind.kept)
            {
                if (std::string(kept.name) == name)
                {
                    announceWith(kind, number, name, Value::string(""));
                }
            }
        }
        ++number;
    }
    settle();

    EXPECT_EQ(linesOf("matchFQDD") + linesOf("CompareAssociationProperties"), comparisons);
    EXPECT_EQ(kovd.journal().setCount(), 0u);
    EXPECT_EQ(times("startRecovery", startsResync), 0u);
    expectCanary();
    expectHealthy();
}

// ---- depth ----

/** A variant in a variant, so many times. */
Value nestedVariants(unsigned depth)
{
    Value value = Value::string("inside");
    for (unsigned level = 0; level < depth; ++level)
    {
        value = {"v", sim::valueToJson(value)};
    }
    return value;
}

Value nestedArrays(unsigned depth)
{
    Json data = "inside";
    for (unsigned level = 0; level < depth; ++level)
    {
        data = Json::array({data});
    }
    return {std::string(depth, 'a') + "s", data};
}

class DeepMessages : public MessageFaults
{
  protected:
    /** Announces a slot with a property of that value; false when the bus has thrown its sender
     *  out. */
    bool survives(unsigned number, const Value& value)
    {
        const Kind& kind = faults::kinds().front();
        const std::string line = kind.make(number).first + " Add ObjPath";
        announceWith(kind, number, "Deep", value);
        const auto deadline = sim::Clock::now() + kit::patience;
        const auto said = rig::says("processSmbiosMessagesInQueue", line);
        while (smbios.running() && sim::Clock::now() < deadline)
        {
            if (daemon().log().waitFor(said, 20ms))
            {
                return true;
            }
        }
        EXPECT_FALSE(smbios.running()) << "neither processed nor refused";
        smbios.start();
        return false;
    }
};

TEST_F(DeepMessages, M3VariantsInVariants)
{
    constexpr unsigned deepest = 65;
    publishWithCanaries({});
    startSettled();
    unsigned survived = 0;
    for (unsigned depth = 1; depth <= deepest; ++depth)
    {
        const bool processed = survives(depth, nestedVariants(depth));
        EXPECT_TRUE(!processed || survived == depth - 1) << "a deeper one than " << survived;
        survived += processed ? 1 : 0;
    }
    // What is around it has a depth of its own, and the bus allows 64 altogether.
    EXPECT_GE(survived, 57u);
    EXPECT_LT(survived, deepest);
    kit::measured("up to " + std::to_string(survived) + " levels");
    expectCanary();
    expectHealthy();
}

TEST_F(DeepMessages, M3ArraysOfArrays)
{
    constexpr unsigned deepest = 32; // no signature may have more
    publishWithCanaries({});
    startSettled();
    for (unsigned depth = 1; depth <= deepest; ++depth)
    {
        EXPECT_TRUE(survives(depth, nestedArrays(depth))) << depth;
    }
    expectCanary();
    expectHealthy();
}

// ---- numbers in texts ----

struct Numbers
{
    const char* designation;
    std::uint8_t locator; // 6: a slot, 9: a drive bay
    const char* fqdd;
    bool matches;
    std::pair<const char*, const char*> line; // function and text of the line that it costs
};

const std::pair<const char*, const char*> overflow{
    "CompareAssociationProperties", "Exception in CompareAssociationProperties: stoi"};
const std::pair<const char*, const char*> unreadable{"matchFQDD",
                                                     "Failed to Parse the Slot Number"};
const std::pair<const char*, const char*> same{"matchFQDD",
                                               "Slot comparison: SMBIOS=4 vs FQDD=4 => MATCH"};

const std::vector<Numbers> numbers{
    {"PCIe SLOT 99999999999", 6, "Nic.Slot.1-1", false, overflow},
    {"PCIe SLOT 2147483648", 6, "Nic.Slot.1-1", false, overflow},
    {"SLOT 1 BAY 99999999999", 9, "Disk.Bay.1:Enclosure.Internal.0-1", false, overflow},
    {"PCIe SLOT 4", 6, "Nic.Slot.99999999999-1", false, unreadable},
    {"PCIe SLOT 4", 6, "Nic.Slot.abc-1", false, unreadable},
    {"PCIe SLOT 4", 6, "Nic.Slot.+4", true, same},
    {"PCIe SLOT 4", 6, "Nic.Slot. 4", true, same},
    {"PCIe SLOT 4", 6, "Nic.Slot.4x", true, same},
    {"PCIe SLOT 0",
     6,
     "Nic.Slot.0x10",
     true,
     {"matchFQDD", "Slot comparison: SMBIOS=0 vs FQDD=0 => MATCH"}},
};

TEST_F(MessageFaults, M8NumbersThatAreNone)
{
    sim::InventoryCapture inventory;
    unsigned number = 1;
    for (const Numbers& row : numbers)
    {
        inventory.smbios.insert(
            sim::makeSmbiosSlot(number, row.designation, static_cast<std::uint16_t>(number)));
        ++number;
    }
    publishWithCanaries(inventory);
    startSettled();
    Lists expected;
    number = 1;
    for (const Numbers& row : numbers)
    {
        const auto& [function, text] = row.line;
        const std::size_t before = times(function, text);
        const auto [path, interfaces] =
            sim::makeKovdSlot(number, row.fqdd, row.locator, static_cast<std::uint16_t>(number));
        kovd.addObject(path, interfaces);
        settle();
        EXPECT_EQ(times(function, text), before + 1) << row.designation << ", " << row.fqdd;
        if (row.matches)
        {
            expected[path] = inSlot(sim::smbiosSlotPath(number));
        }
        ++number;
    }
    EXPECT_EQ(lists(), expected);
    expectCanary();
    expectHealthy();
}

} // namespace
