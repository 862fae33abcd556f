// Bytes that a real bus would not let through: the daemon drops the message, or gives it up with a
// line, and lives on. Each wrong message is written here field by field.

#include "faults/raw_faults.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <functional>

namespace
{

using namespace std::chrono_literals;
using faults::RawFaults;
using faults::Wire;
using faults::WireMessage;
using faults::WireProperties;

const std::string interface = sim::names::smbiosSlot;
const std::string slot = sim::smbiosSlotPath(1);

/** What becomes of a wrong message. */
enum class Fate
{
    dropped,    // the library does not show it to anybody
    harmless,   // the library takes it as it is
    unreadable, // a line of the decoder, and a resync
    refused,    // its signature is another one: a line, and nothing else
    connection, // nobody can tell where the next message begins: the connection ends
};

struct Seed
{
    const char* name;
    Fate fate;
    std::string bytes;
};

WireMessage added()
{
    WireMessage signal;
    signal.path = sim::names::smbiosRoot;
    signal.interface = sim::names::objectManager;
    signal.member = "InterfacesAdded";
    signal.sender = faults::serviceConnection;
    signal.signature = "oa{sa{sv}}";
    return signal;
}

/** InterfacesAdded of one object with these properties. */
std::string addedWith(const WireProperties& properties)
{
    Wire body;
    body.text(slot);
    faults::appendInterface(body, interface, properties);
    return faults::withBody(added(), "oa{sa{sv}}", body.bytes());
}

std::string addedBody(const Wire& body)
{
    return faults::withBody(added(), "oa{sa{sv}}", body.bytes());
}

/** A variant of that signature whose content is that. */
faults::WireValue variant(const std::string& signature, const std::function<void(Wire&)>& content)
{
    return [=](Wire& wire)
    {
        wire.signature(signature);
        content(wire);
    };
}

/** The right bytes of a signal with one of them overwritten. */
std::string patched(std::size_t at, char value)
{
    std::string bytes = addedWith({{"SlotDesignation", faults::textVariant("PCIe SLOT 1")}});
    bytes.at(at) = value;
    return bytes;
}

std::vector<Seed> bodies()
{
    const auto nothing = [](Wire&) {};
    const auto none = WireProperties{};
    return {
        {"a byte that is no UTF-8", Fate::unreadable,
         addedWith({{"SlotDesignation", faults::textVariant("PCIe \xff SLOT")}})},
        {"half a character", Fate::unreadable,
         addedWith({{"SlotDesignation", faults::textVariant("PCIe SLOT \xc3")}})},
        {"a zero byte inside a text", Fate::unreadable,
         addedWith({{"SlotDesignation", faults::textVariant(std::string("PCIe\0SLOT", 9))}})},
        {"no zero byte behind a text", Fate::unreadable,
         addedWith(
             {{"SlotDesignation", variant("s", [](Wire& wire) { wire.uint32(4).raw("SLOTX"); })}})},
        {"a text longer than the message", Fate::unreadable,
         addedWith({{"SlotDesignation",
                     variant("s", [](Wire& wire) { wire.uint32(1000).raw("SLOT"); })}})},
        {"a text of 4 GB", Fate::unreadable,
         addedWith({{"SlotDesignation",
                     variant("s", [](Wire& wire) { wire.uint32(0xFFFFFFFF).raw("SLOT"); })}})},
        {"padding that is not zero", Fate::unreadable,
         addedBody(Wire().text(slot).array(
             8, [](Wire& entry) { entry.text(interface).pad(4, 'x').array(8, [](Wire&) {}); }))},
        {"a variant without a signature", Fate::unreadable,
         addedWith({{"SlotID", variant("", nothing)}})},
        {"a variant with half a signature", Fate::unreadable,
         addedWith({{"SlotID", variant("a", nothing)}})},
        {"a variant with two types", Fate::unreadable,
         addedWith({{"SlotID", variant("qq", [](Wire& wire) { wire.uint16(1).uint16(1); })}})},
        {"a variant of an unknown type", Fate::unreadable,
         addedWith({{"SlotID", variant("!", nothing)}})},
        {"a variant whose signature does not end", Fate::unreadable,
         addedWith({{"SlotID", [](Wire& wire) { wire.byte(1).raw("qq"); }}})},
        {"a truth that is neither 0 nor 1", Fate::harmless,
         addedWith({{"Truth", variant("b", [](Wire& wire) { wire.uint32(2); })}})},
        {"a path with two slashes in a row", Fate::unreadable,
         addedBody(Wire().text("//").array(8, nothing))},
        {"an empty path", Fate::unreadable, addedBody(Wire().text("").array(8, nothing))},
        {"an array longer than the message", Fate::unreadable,
         addedBody(Wire().text(slot).uint32(1000).pad(8))},
        {"an array of 4 GB", Fate::unreadable,
         addedBody(Wire().text(slot).uint32(0xFFFFFFFF).pad(8))},
        {"an array that ends inside an element", Fate::unreadable,
         addedBody(Wire().text(slot).uint32(5).pad(8).text(interface))},
        {"a body that ends before its signature", Fate::unreadable, addedBody(Wire().text(slot))},
        {"no body at all", Fate::unreadable, addedBody(Wire())},
        {"a body longer than its signature", Fate::dropped,
         addedBody(Wire().text(slot).array(8, nothing).uint32(7))},
        {"a text where a path was announced", Fate::refused,
         withBody(added(), "sa{sa{sv}}", Wire().text("x").array(8, nothing).bytes())},
    };
}

std::vector<Seed> headers()
{
    WireMessage noPath = added();
    noPath.path.clear();
    WireMessage noMember = added();
    noMember.member.clear();
    WireMessage badInterface = added();
    badInterface.interface = "no dots";
    WireMessage badMember = added();
    badMember.member = "Interfaces.Added";
    WireMessage badPath = added();
    badPath.path = "no/slash";
    WireMessage noSignature = added();
    noSignature.signature.clear();
    noSignature.body = "12345678";
    WireMessage badSignature = added();
    badSignature.signature = "oa{sa{sv}";
    WireMessage reply = added();
    reply.type = faults::MessageType::reply;
    return {
        {"no path", Fate::dropped, noPath.bytes()},
        {"no member", Fate::dropped, noMember.bytes()},
        {"an interface that is none", Fate::dropped, badInterface.bytes()},
        {"a member that is none", Fate::dropped, badMember.bytes()},
        {"a path that is none", Fate::dropped, badPath.bytes()},
        {"a body without a signature", Fate::refused, noSignature.bytes()},
        {"a signature that does not end", Fate::dropped, badSignature.bytes()},
        {"a reply to no call", Fate::dropped, reply.bytes()},
        {"a message of type 0", Fate::dropped, patched(1, 0)},
        {"a message of an unknown type", Fate::dropped, patched(1, 9)},
        {"serial number 0", Fate::dropped, patched(8, 0)},
        {"another version", Fate::connection, patched(3, 2)},
        {"an unknown byte order", Fate::connection, patched(0, 'x')},
        {"fields of 4 GB", Fate::connection, patched(15, '\xff')},
        {"a body of 4 GB", Fate::connection, patched(7, '\xff')},
    };
}

class RawMessages : public RawFaults
{
  protected:
    static bool isAnswer(const rig::LogLine& line)
    {
        return line.function == "GetSmbiosMsgData" ||
               line.function == "SmbiosInterfacesEventCallback";
    }

    /** Sends it; the canary behind it must arrive, and the decoder have said what it has to. */
    void expectFate(const Seed& seed)
    {
        const std::size_t from = daemon().log().size();
        fake.signal(seed.bytes);
        ASSERT_TRUE(rawCanary()) << seed.name << "; " << kit::tailOf(daemon().log());
        daemon().catchUp();
        kit::Texts said;
        for (const auto& line : daemon().log().lines(from))
        {
            if (isAnswer(line))
            {
                said.push_back(line.text);
            }
        }
        const bool silent = seed.fate == Fate::dropped || seed.fate == Fate::harmless;
        ASSERT_EQ(said.size(), silent ? 0u : 1u)
            << seed.name << ": " << testing::PrintToString(said);
        if (seed.fate == Fate::unreadable)
        {
            EXPECT_TRUE(said[0].ends_with(" Exception occurred while reading message"))
                << seed.name << ": " << said[0];
        }
        if (seed.fate == Fate::refused)
        {
            EXPECT_TRUE(said[0].starts_with("Invalid signature = ")) << said[0];
        }
    }
};

TEST_F(RawMessages, M5WrongBodies)
{
    startAndSubscribe({.warp = 20});
    const auto seeds = bodies();
    for (const Seed& seed : seeds)
    {
        expectFate(seed);
    }
    // Some may have come during the first resync; one more brings the second one for certain.
    const std::string completed = "Recovery: resync completed. Entering cool-down...";
    EXPECT_TRUE(waitForLine("startRecovery", completed));
    expectFate(seeds.front());
    EXPECT_TRUE(waitForLine("startRecovery", completed, 2));
    kit::measured(std::to_string(seeds.size()) + " messages");
    EXPECT_TRUE(rawCanary());
    expectHealthy();
}

TEST_F(RawMessages, M5WrongHeaders)
{
    startAndSubscribe();
    unsigned sent = 0;
    for (const Seed& seed : headers())
    {
        if (seed.fate != Fate::connection)
        {
            expectFate(seed);
            ++sent;
        }
    }
    EXPECT_EQ(times("startRecovery", "Resync starting..."), 0u);
    kit::measured(std::to_string(sent) + " messages");
    EXPECT_TRUE(rawCanary());
    expectHealthy();
}

// No bus sends such bytes, and nothing could be read behind them: the daemon is deaf then, as when
// the bus has gone.
TEST_F(RawMessages, M5BytesThatAreNoMessage)
{
    for (const Seed& seed : headers())
    {
        if (seed.fate == Fate::connection)
        {
            startAndSubscribe();
            fake.signal(seed.bytes + std::string(64, 'x'));
            expectHealthy(kit::allThreads, Descriptors::noMore);
            daemon().kill();
        }
    }
    expectEnd();
}

TEST_F(RawMessages, M5RepliesOfAnotherKind)
{
    using faults::replyTo;
    const auto text = [](const WireMessage& call)
    { return replyTo(call, "s", Wire().text("objects").bytes()); };
    const auto broken = [](const WireMessage& call)
    { return replyTo(call, "a{oa{sa{sv}}}", Wire().uint32(1000).pad(8).bytes()); };
    const auto noUtf8 = [](const WireMessage& call)
    {
        const auto object = [](Wire& wire)
        {
            wire.text(slot);
            faults::appendInterface(wire, interface,
                                    {{"SlotDesignation", faults::textVariant("\xff")}});
        };
        return replyTo(call, "a{oa{sa{sv}}}", Wire().array(8, object).bytes());
    };
    const auto number = [](const WireMessage& call)
    { return replyTo(call, "u", Wire().uint32(1).bytes()); };

    unsigned replies = 0;
    for (const auto& answer : std::vector<faults::FakeBus::Answer>{text, broken, noUtf8, number})
    {
        fake.answer("GetManagedObjects", answer);
        startOnFakeBus();
        const auto failed = [](const rig::LogLine& line)
        { return line.text.starts_with("exception: "); };
        EXPECT_TRUE(daemon().log().waitFor(failed, kit::patience, 0, 2));
        ASSERT_TRUE(waitForThreads());
        daemon().catchUp();
        EXPECT_EQ(daemon().log().count(failed), 2u) << "one for each service";
        EXPECT_TRUE(daemon().running());
        daemon().kill();
        ++replies;
    }
    kit::measured(std::to_string(replies) + " replies");
    expectEnd();
}

TEST_F(RawMessages, M5ListNamesOfAnotherKind)
{
    fake.answer("ListNames", [](const WireMessage& call)
                { return faults::replyTo(call, "s", Wire().text("names").bytes()); });
    startOnFakeBus();
    const auto failed = [](const rig::LogLine& line)
    { return line.function == "GetAllManagedObjects" && line.text.starts_with("exception: "); };
    EXPECT_TRUE(daemon().log().waitFor(failed, kit::patience));
    ASSERT_TRUE(waitForThreads());
    ASSERT_TRUE(fake.waitForCalls("AddMatch", 8, kit::patience));
    ASSERT_TRUE(fake.waitForClients(faults::lastingConnections, kit::patience));
    noteDescriptors();
    expectHealthy();
}

} // namespace
