#include "faults/raw_faults.hpp"

#include "sim/names.hpp"
#include "sim/samples.hpp"

namespace faults
{
namespace
{

constexpr unsigned canaries = 200;
constexpr std::size_t matchRules = 8;

/** All SMBIOS slots of the canaries as an "a{oa{sa{sv}}}". */
void appendSlots(Wire& objects)
{
    for (unsigned number = kit::firstCanary; number < kit::firstCanary + canaries; ++number)
    {
        objects.pad(8).text(sim::smbiosSlotPath(number));
        appendInterface(objects, sim::names::smbiosSlot,
                        {{"SlotDesignation", textVariant("PCIe Slot " + std::to_string(number))},
                         {"SlotID", uint16Variant(static_cast<std::uint16_t>(number))}});
    }
}

std::string slotsAtTheSmbiosService(const WireMessage& call)
{
    const bool smbios = call.path == sim::names::smbiosRoot;
    const auto nothing = [](Wire&) {};
    Wire body;
    smbios ? body.array(8, appendSlots) : body.array(8, nothing);
    return replyTo(call, "a{oa{sa{sv}}}", body.bytes());
}

/** The body of the one right Set. */
std::string setBody(unsigned number)
{
    const auto tuple = [number](Wire& list)
    { list.pad(8).text("chassis").text("pcieslot").text(sim::smbiosSlotPath(number)); };
    return Wire()
        .text(sim::names::associationDefinitions)
        .text(sim::names::associations)
        .signature("a(sss)")
        .array(8, tuple)
        .bytes();
}

} // namespace

RawFaults::RawFaults()
{
    fake.answer("GetManagedObjects", slotsAtTheSmbiosService);
}

void RawFaults::startOnFakeBus(const kit::Preloads& preloads)
{
    // What an earlier daemon has left behind must not be taken for this one's.
    ASSERT_TRUE(fake.waitForClients(0, kit::patience));
    fake.forgetCalls();
    startWith(preloads, {"DBUS_SYSTEM_BUS_ADDRESS=" + fake.address()});
}

void RawFaults::startAndSubscribe(const kit::Preloads& preloads)
{
    startOnFakeBus(preloads);
    ASSERT_TRUE(fake.waitForCalls("AddMatch", matchRules, kit::patience));
    ASSERT_TRUE(fake.waitForCalls("GetManagedObjects", 3, kit::patience));
    ASSERT_TRUE(waitForThreads());
    ASSERT_TRUE(fake.waitForClients(lastingConnections, kit::patience));
    noteDescriptors();
}

WireMessage RawFaults::addedSlot(unsigned number)
{
    WireMessage signal;
    signal.path = sim::names::boardRoot;
    signal.interface = sim::names::objectManager;
    signal.member = "InterfacesAdded";
    signal.sender = serviceConnection;
    signal.signature = "oa{sa{sv}}";
    Wire body;
    body.text(sim::kovdSlotPath(number));
    appendInterface(
        body, sim::names::kovdSlot,
        {{"PCIeFQDD", textVariant("Nic.Slot." + std::to_string(number) + "-1")},
         {"PCIeLocatorType", byteVariant(6)},
         {"PCIeLocatorInstanceNum", uint16Variant(static_cast<std::uint16_t>(number))}});
    signal.body = body.bytes();
    return signal;
}

bool RawFaults::rawCanary()
{
    const unsigned number = nextCanary_++;
    const std::size_t before = fake.calls("Set").size();
    if (!fake.hasListener())
    {
        return false;
    }
    fake.signal(addedSlot(number).bytes());
    if (!fake.waitForCalls("Set", before + 1, std::chrono::seconds{kit::sanitized() ? 10 : 1}))
    {
        EXPECT_FALSE(fake.hasListener()) << "no Set; " << kit::tailOf(daemon().log());
        return false;
    }
    const auto sets = fake.calls("Set");
    EXPECT_EQ(sets.size(), before + 1);
    EXPECT_EQ(sets.back().path, sim::kovdSlotPath(number));
    EXPECT_EQ(sets.back().body, setBody(number));
    return true;
}

std::string withBody(WireMessage signal, const std::string& signature, const std::string& body)
{
    signal.signature = signature;
    signal.body = body;
    return signal.bytes();
}

} // namespace faults
