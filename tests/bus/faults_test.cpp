// What the daemon makes of services that fail, keep silent, or say what nobody expects.

#include "kit/bus_test.hpp"

namespace
{

using namespace std::chrono_literals;
using kit::Lists;
using kit::Texts;

/** Shortens the library's time-out of calls, for what keeps silent. */
constexpr const char* shortTimeout = "SYSTEMD_BUS_TIMEOUT=2s";

const sim::Fault failing(const std::string& member, const std::string& path)
{
    return {member, path, sim::FailWith{sim::names::failed}, sim::Fault::always};
}

const sim::Fault hanging(const std::string& member, const std::string& path)
{
    return {member, path, sim::Hang{}, sim::Fault::always};
}

const sim::Fault answering(const std::string& path, const std::string& signature,
                           const sim::Json& body)
{
    return {"GetManagedObjects", path, sim::ReplyWith{signature, body}, sim::Fault::always};
}

const std::string failedText =
    "exception: sd_bus_call: org.freedesktop.DBus.Error.Failed: failed on request";

class Faults : public kit::BusTest
{
};

TEST_F(Faults, AnErrorOfTheSmbiosServiceCostsItsObjectsOnly)
{
    smbios.addFault(failing("GetManagedObjects", ""));
    publish(sim::makeInventory(2, 1));
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetManagedObjsSMBIOS"), (Texts{"SMBIOS service is available", failedText}));
    EXPECT_EQ(logged("GetManagedObjsKOVD").size(), 2u + 7u);
    EXPECT_EQ(lists(), Lists());
}

TEST_F(Faults, AnErrorForTheBoardCostsTheChassisToo)
{
    kovd.addFault(failing("GetManagedObjects", sim::names::boardRoot));
    publish(sim::makeInventory(2, 1));
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetManagedObjsKOVD"), (Texts{"KOVD service is available", failedText}));
    EXPECT_EQ(kovd.journal().calls("GetManagedObjects", sim::names::chassisRoot), 0u);
    EXPECT_EQ(logged("GetManagedObjsSMBIOS").size(), 2u + 6u);
}

TEST_F(Faults, AnErrorForTheChassisCostsTheChassisOnly)
{
    kovd.addFault(failing("GetManagedObjects", sim::names::chassisRoot));
    publish(sim::makeInventory(1));
    startDaemon();
    settle();

    EXPECT_EQ(logged("GetManagedObjsKOVD").back(), failedText);
    kovd.clearFaults();
    const auto list = kit::inSlot(sim::smbiosSlotPath(1));
    EXPECT_EQ(lists(), (Lists{{sim::kovdSlotPath(1), list}, {sim::kovdDevicePath(1, 1), list}}));
}

TEST_F(Faults, SilenceOfTheSmbiosServiceEndsWithTheCallsTimeout)
{
    smbios.addFault(hanging("GetManagedObjects", ""));
    publish(sim::makeInventory(1));
    startDaemon({shortTimeout});
    settle();

    const Texts said = logged("GetManagedObjsSMBIOS");
    ASSERT_EQ(said.size(), 2u);
    EXPECT_TRUE(said[1].starts_with("exception: sd_bus_call: ")) << said[1];
    EXPECT_TRUE(said[1].ends_with(": Connection timed out")) << said[1];
    EXPECT_EQ(logged("GetManagedObjsKOVD").size(), 2u + 3u);
}

TEST_F(Faults, SilenceForTheBoardEndsWithTheCallsTimeout)
{
    kovd.addFault(hanging("GetManagedObjects", sim::names::boardRoot));
    publish(sim::makeInventory(1));
    startDaemon({shortTimeout});
    settle();

    EXPECT_TRUE(logged("GetManagedObjsKOVD").back().ends_with(": Connection timed out"));
    EXPECT_EQ(kovd.journal().calls("GetManagedObjects", sim::names::chassisRoot), 0u);
}

TEST_F(Faults, AServiceThatLeavesDuringTheCallEndsIt)
{
    smbios.addFault(hanging("GetManagedObjects", ""));
    publish(sim::makeInventory(1));
    startDaemon();
    ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", 1, kit::patience));
    smbios.stop();
    settle();

    EXPECT_TRUE(logged("GetManagedObjsSMBIOS")
                    .back()
                    .starts_with("exception: sd_bus_call: org.freedesktop.DBus.Error.NoReply: "));
}

TEST_F(Faults, ALateAnswerIsAnAnswer)
{
    smbios.addFault({"GetManagedObjects", "", sim::Delay{300ms}, sim::Fault::always});
    kovd.addFault({"", "", sim::Delay{100ms}, sim::Fault::always});
    publish(sim::makeInventory(1, 1));
    startDaemon();
    settle();

    kovd.clearFaults();
    EXPECT_EQ(lists(), kit::listsOf(1, 1));
}

struct WrongReply
{
    const char* name;
    const char* signature;
    sim::Json body;
};

void PrintTo(const WrongReply& reply, std::ostream* stream)
{
    *stream << reply.signature;
}

class WrongReplies : public Faults, public testing::WithParamInterface<WrongReply>
{
};

TEST_P(WrongReplies, CostTheService)
{
    const auto& [name, signature, body] = GetParam();
    smbios.addFault(answering(sim::names::smbiosRoot, signature, body));
    kovd.addFault(answering(sim::names::chassisRoot, signature, body));
    publish(sim::makeInventory(1));
    startDaemon();
    settle();

    const Texts smbiosSaid = logged("GetManagedObjsSMBIOS");
    ASSERT_EQ(smbiosSaid.size(), 3u);
    EXPECT_EQ(smbiosSaid[1], "SMBIOS object reply received");
    EXPECT_TRUE(smbiosSaid[2].starts_with("exception: ")) << smbiosSaid[2];
    EXPECT_EQ(times("GetManagedObjsKOVD", "KOVD object path = " + sim::kovdSlotPath(1)), 1u);
    EXPECT_TRUE(logged("GetManagedObjsKOVD").back().starts_with("exception: "));
    kovd.clearFaults();
    EXPECT_EQ(lists(), Lists());
}

INSTANTIATE_TEST_SUITE_P(
    Types, WrongReplies,
    testing::Values(
        WrongReply{"Nothing", "", sim::Json::array()}, WrongReply{"Text", "s", {"objects"}},
        WrongReply{"Properties", "a{sv}", sim::Json::array({sim::Json::object()})},
        WrongReply{"TextKeys", "a{sa{sa{sv}}}", {{{"/a", {{"b.c", sim::Json::object()}}}}}},
        WrongReply{"PlainValues", "a{oa{sa{ss}}}", {{{"/a", {{"b.c", {{"Name", "value"}}}}}}}}),
    [](const auto& wrong) { return wrong.param.name; });

TEST_F(Faults, PropertiesOfUnknownTypesDoNoHarm)
{
    auto inventory = sim::makeInventory(1, 1);
    const sim::Properties strange{
        {"Dictionary", {"a{sv}", sim::Json::object({{"a", {{"type", "s"}, {"data", "b"}}}})}},
        {"Struct", {"(su)", {"a", 1}}},
        {"Signature", {"g", "a{sv}"}},
        {"Path", {"o", "/a"}},
        {"Nested", {"v", {{"type", "s"}, {"data", "inner"}}}},
        {"Numbers", {"au", {1, 2, 3}}},
        {"Lists", {"aas", {{"a"}, {"b"}}}},
    };
    for (auto* objects : {&inventory.smbios, &inventory.kovd})
    {
        for (auto& [path, interfaces] : *objects)
        {
            interfaces.begin()->second.insert(strange.begin(), strange.end());
        }
    }
    publish(inventory);
    startDaemon();
    settle();

    EXPECT_EQ(lists(), kit::listsOf(1, 1));
}

TEST_F(Faults, AKeptPropertyOfAnUnknownTypeCostsItsObjectOnly)
{
    auto inventory = sim::makeInventory(3);
    inventory.smbios[sim::smbiosSlotPath(2)][sim::names::smbiosSlot]["SlotID"] = {"(q)", {2}};
    publish(inventory);
    startDaemon();
    settle();

    EXPECT_EQ(times("InsertSMBIOSPCIeSlotObj",
                    "failed to read message properties[std::get: wrong index for variant]"),
              1u);
    Lists expected = kit::listsOf(3);
    expected.erase(sim::kovdSlotPath(2));
    expected.erase(sim::kovdDevicePath(2, 1));
    expected.erase(sim::kovdChassisPath(2));
    EXPECT_EQ(lists(), expected);
}

TEST_F(Faults, AFailedReadIsMadeGoodByAResync)
{
    auto inventory = sim::makeInventory(1);
    auto& slotId = inventory.smbios[sim::smbiosSlotPath(1)][sim::names::smbiosSlot]["SlotID"];
    const sim::Value right = slotId;
    slotId = sim::Value::uint32(1);
    publish(inventory);
    startDaemon();
    settle();
    EXPECT_EQ(lists(), Lists());

    // As if the service had corrected itself without a signal.
    slotId = right;
    smbios.load(inventory.smbios);

    ASSERT_TRUE(waitForLine("startRecovery", "Resync starting..."));
    ASSERT_TRUE(waitForLine("startRecovery", "Recovery: resync completed. Entering cool-down..."));
    settle();
    EXPECT_EQ(lists(), kit::listsOf(1));
}

TEST_F(Faults, ARefusedSetCostsThatListOnly)
{
    kovd.addFault(failing("Set", sim::kovdDevicePath(1, 1)));
    publish(sim::makeInventory(2));
    startDaemon();
    settle();

    Lists expected = kit::listsOf(2);
    expected.erase(sim::kovdDevicePath(1, 1));
    EXPECT_EQ(lists(), expected);
    std::size_t failures = 0;
    for (const auto& line : daemon().log().lines())
    {
        failures += line.module == 300 && line.level == 1 ? 1 : 0;
    }
    EXPECT_EQ(failures, 1u);
    EXPECT_EQ(times("setAssociations", "Setting associations"), 6u);
}

TEST_F(Faults, ASetThatIsNeverAnsweredCostsThatListOnly)
{
    kovd.addFault(hanging("Set", sim::kovdSlotPath(1)));
    publish(sim::makeInventory(2));
    startDaemon({shortTimeout});
    settle();

    Lists expected = kit::listsOf(2);
    expected.erase(sim::kovdSlotPath(1));
    EXPECT_EQ(lists(), expected);
}

TEST_F(Faults, APlatformServiceThatLeavesIsLeftAlone)
{
    publish(sim::makeInventory(1));
    startDaemon();
    settle();
    kovd.stop();
    smbios.removeObject(sim::smbiosSlotPath(1));
    settle();

    EXPECT_EQ(times("setAssociations", "Setting associations"), 4u);
    EXPECT_TRUE(daemon().running());
}

} // namespace
