// The fault catalogue, section B: the message bus is not there, goes away, or refuses something.

#include "faults/kit/fault_test.hpp"
#include "faults/kit/mute_socket.hpp"
#include "faults/kit/process.hpp"
#include "faults/kit/small_broker.hpp"
#include "sim/error.hpp"

#include <cerrno>
#include <csignal>
#include <filesystem>

namespace
{

using namespace std::chrono_literals;
using kit::Texts;

/** Any thread that is started becomes a line of another kind. */
const kit::FailingCall noThread{.function = "pthread_create", .error = EAGAIN, .times = 0};

class BusFaults : public kit::FaultTest
{
  protected:
    using FaultTest::FaultTest;

    /** What main says when it ends because of this, and nothing else is said. The words behind it
     *  are the library's. */
    void expectOnlyThisFailure(const std::string& failure)
    {
        const Texts said = logged("main");
        ASSERT_EQ(said.size(), 2u) << kit::tailOf(daemon().log());
        EXPECT_EQ(said.front(), "starting new process");
        EXPECT_TRUE(said.back().starts_with("Caught an exception: " + failure)) << said.back();
        EXPECT_EQ(daemon().log().size(), 2u) << kit::tailOf(daemon().log());
    }

    /** A bus without the identifier in the address, by which a client would know another one. */
    std::string plainAddress() const
    {
        return bus.address().substr(0, bus.address().find(','));
    }

    /** Waits until the daemon has written nothing for a second. */
    void waitUntilQuiet()
    {
        const auto anything = [](const rig::LogLine&) { return true; };
        while (daemon().log().waitFor(anything, 1s, daemon().log().size()))
        {
        }
    }

    /** Somebody else who wants the daemon's name. */
    struct Rival
    {
        sim::Connection connection;

        int request(std::uint64_t flags) const
        {
            return sd_bus_request_name(connection.get(), rig::daemonName, flags);
        }
    };

    Rival rival() const
    {
        return {sim::connectTo(bus.address())};
    }
};

// ---- no bus, or one that says nothing ----

TEST_F(BusFaults, B1NoSocket)
{
    startWith({.failing = {noThread}}, {"DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent/bus"});

    EXPECT_EQ(endedWithin(1s), 0);
    expectOnlyThisFailure("sd_bus_default_system: ");
}

TEST_F(BusFaults, B2MuteSocket)
{
    constexpr unsigned warp = 30;
    const kit::MuteSocket mute;
    startWith({.warp = warp}, {"DBUS_SYSTEM_BUS_ADDRESS=" + mute.address()});

    EXPECT_EQ(endedWithin(std::chrono::milliseconds(95s) / warp), 0);
    expectOnlyThisFailure("sd_bus_get_unique_name: ");
}

// ---- a bus that goes ----

TEST_F(BusFaults, B3BusKilledWhileIdle)
{
    publishWithCanaries(sim::makeInventory(2, 1));
    startSettled();
    const std::size_t lines = daemon().log().size();
    bus.kill();

    expectHealthy(kit::allThreads, Descriptors::noMore);
    EXPECT_EQ(daemon().log().size(), lines) << kit::tailOf(daemon().log());
    interrupt();
    expectHealthy(kit::threadsAfterInterrupt, Descriptors::noMore);
}

TEST_F(BusFaults, B4BusKilledWithHundredUnitsBehindASet)
{
    constexpr unsigned units = 101;
    sim::InventoryCapture inventory;
    for (unsigned slot = 1; slot <= units; ++slot)
    {
        inventory.smbios.insert(sim::makeSmbiosSlot(slot));
        inventory.kovd.insert(sim::makeKovdSlot(slot));
    }
    kovd.addFault({"Set", "", sim::Hang{}, sim::Fault::always});
    publish(inventory);
    startDaemon();
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", "", 1, kit::patience));
    noteDescriptors();
    bus.kill();

    EXPECT_TRUE(waitForLine("setAssociations", "Setting associations", units));
    expectHealthy(kit::allThreads, Descriptors::noMore);
    EXPECT_EQ(times("setAssociations", "Setting associations"), units);
    EXPECT_EQ(failedUnits(), units);
    kit::measured(std::to_string(failedUnits()) + " of 101 units ran and failed");
}

TEST_F(BusFaults, B5BusKilledDuringDiscovery)
{
    smbios.addFault({"GetManagedObjects", "", sim::Hang{}, sim::Fault::always});
    publish(sim::makeInventory(2, 1));
    startDaemon();
    ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", 1, kit::patience));
    waitUntilSubscribed();
    noteDescriptors();
    bus.kill();

    expectHealthy(kit::allThreads, Descriptors::noMore);
    EXPECT_EQ(linesWith("exception: sd_bus_call: "), 2u) << kit::tailOf(daemon().log());
    EXPECT_TRUE(kit::waitsForEvents(daemon().pid()));
}

TEST_F(BusFaults, B6BusKilledAndStartedAnew)
{
    constexpr unsigned slots = 3;
    const auto inventory = sim::makeInventory(slots);
    publish(smbios, inventory.smbios);
    publish(kovd);
    startWith({.warp = 60}, {"DBUS_SYSTEM_BUS_ADDRESS=" + plainAddress()});
    settle();
    noteState();
    const std::string socket = plainAddress().substr(std::string("unix:path=").size());
    bus.kill();
    std::filesystem::remove(socket);

    const sim::PrivateBus next(std::filesystem::path(socket).parent_path().string());
    sim::Service laterSmbios(next.address(), sim::smbiosProfile());
    sim::Service laterKovd(next.address(), sim::kovdProfile());
    publish(laterSmbios, inventory.smbios);
    publish(laterKovd, inventory.kovd);

    // The first fallback, 180 s of daemon time after the start, requests what no signal can.
    EXPECT_TRUE(waitForLine("startRecovery", "Resync starting..."));
    EXPECT_TRUE(waitForLine("startRecovery", "Recovery: resync completed. Entering cool-down..."));
    constexpr std::size_t attempts = 3 * slots;
    EXPECT_TRUE(waitForLine("setAssociations", "Setting associations", attempts));
    expectHealthy(kit::allThreads, Descriptors::noMore);
    EXPECT_EQ(times("setAssociations", "Setting associations"), attempts);
    EXPECT_EQ(failedUnits(), attempts);
    EXPECT_EQ(laterKovd.journal().calls("Set"), 0u);
    kit::measured(std::to_string(failedUnits()) + " of 9 writes failed");
}

// ---- the name ----

TEST_F(BusFaults, B7NameOfAnOwnerThatRefuses)
{
    const Rival owner = rival();
    ASSERT_GE(owner.request(0), 0);
    startWith({.failing = {noThread}});

    EXPECT_EQ(endedWithin(1s), 0);
    expectOnlyThisFailure(
        "sd_bus_request_name: org.freedesktop.DBus.Error.FileExists: File exists");
}

TEST_F(BusFaults, B7NameOfAnOwnerThatGivesWay)
{
    const Rival former = rival();
    unsigned lost = 0;
    const auto count = [](sd_bus_message*, void* counter, sd_bus_error*)
    {
        ++*static_cast<unsigned*>(counter);
        return 0;
    };
    sim::check(sd_bus_match_signal(former.connection.get(), nullptr, "org.freedesktop.DBus",
                                   nullptr, "org.freedesktop.DBus", "NameLost", count, &lost),
               "listen");
    ASSERT_GE(former.request(SD_BUS_NAME_ALLOW_REPLACEMENT), 0);
    publishWithCanaries(sim::makeInventory(2, 1));
    const char* name = nullptr;
    sim::check(sd_bus_get_unique_name(former.connection.get(), &name), "look at the own name");
    startDaemon();
    ASSERT_TRUE(observer.waitForOwner(rig::daemonName, kit::patience, name));
    settle();
    noteState();
    while (sim::check(sd_bus_process(former.connection.get(), nullptr), "read signals") > 0)
    {
    }

    EXPECT_EQ(lost, 1u);
    expectCanary();
    expectHealthy();
}

TEST_F(BusFaults, B8NameTakenAway)
{
    publishWithCanaries(sim::makeInventory(2, 1));
    startSettled();
    const Rival next = rival();
    ASSERT_GE(next.request(SD_BUS_NAME_REPLACE_EXISTING), 0);

    expectCanary();
    expectHealthy();
    expectCanary();
}

class NameDenied : public BusFaults
{
  protected:
    NameDenied() : BusFaults({.policy = R"(<deny own="com.vexa.kesto.kovdSupportService"/>)"}) {}
};

TEST_F(NameDenied, B9PolicyDeniesTheName)
{
    startWith({.failing = {noThread}});

    EXPECT_EQ(endedWithin(1s), 0);
    expectOnlyThisFailure(
        "sd_bus_request_name: org.freedesktop.DBus.Error.AccessDenied: Permission denied");
}

// ---- limits of the bus ----

constexpr std::size_t megabyte = 1 << 20;

/** A signal of the platform that the worker takes, of a megabyte that nobody keeps. */
sim::Signal largeSignal(const std::string& path)
{
    const sim::Json blob{{"type", "s"}, {"data", std::string(megabyte, 'x')}};
    return {sim::names::boardRoot,
            sim::names::objectManager,
            "InterfacesAdded",
            "oa{sa{sv}}",
            {path, {{sim::names::kovdSlot, {{"Blob", blob}}}}}};
}

std::string largePath(unsigned number)
{
    return sim::kovdSlotPath(7000 + number);
}

void emitLargeSignals(sim::Service& service, unsigned count)
{
    for (unsigned number = 0; number < count; ++number)
    {
        service.emitSignal(largeSignal(largePath(number)));
    }
}

class FewMatchRules : public BusFaults
{
  protected:
    FewMatchRules() : BusFaults({.matchRulesPerConnection = 4, .bytesPerConnection = 8 * megabyte})
    {
    }

    /** Whether the service answers within a few seconds, behind all that it has sent. */
    static bool answers(const std::string& address, const char* service)
    {
        const sim::Connection caller = sim::connectTo(address);
        sim::check(sd_bus_set_method_call_timeout(caller.get(), 3'000'000), "bound the call");
        return sd_bus_call_method(caller.get(), service, "/", sim::names::peer, "Ping", nullptr,
                                  nullptr, nullptr) >= 0;
    }
};

TEST_F(FewMatchRules, B10FourMatchRulesAllowed)
{
    if (kit::onBroker())
    {
        GTEST_SKIP() << "it has no such limit for one connection";
    }
    publish(sim::makeInventory(2));
    startDaemon();
    ASSERT_TRUE(waitForLine("SubscribeToEvents",
                            "exception: sd_bus_match: org.freedesktop.DBus.Error.LimitsExceeded: "
                            "No buffer space available"));
    for (const auto& [path, list] : kit::listsOf(2))
    {
        EXPECT_TRUE(waitForList(path, list));
    }
    noteDescriptors();
    expectHealthy(kit::allThreads - 1);
    EXPECT_EQ(logged("SubscribeToEvents").size(), 1u);

    // The four rules stay, and nobody reads what the bus delivers for them.
    emitLargeSignals(kovd, 40);
    kit::measured(answers(bus.address(), sim::names::kovdService)
                      ? "the platform sends 40 MB all the same"
                      : "the platform is held up by the bus after less than 40 MB");
    expectHealthy(kit::allThreads - 1);
}

TEST_F(BusFaults, B11StoppedWhileTwoHundredMegabytesArrive)
{
    constexpr unsigned signals = 200;
    publishWithCanaries(sim::makeInventory(2, 1));
    startSettled();
    daemon().signal(SIGSTOP);
    emitLargeSignals(kovd, signals);
    ASSERT_FALSE(daemon().waitForEnd(10s).has_value());
    const auto continued = sim::Clock::now();
    daemon().signal(SIGCONT);
    settle();
    kit::measured("200 MB worked off in " + kit::inMilliseconds(sim::Clock::now() - continued));

    Texts expected;
    for (unsigned number = 0; number < signals; ++number)
    {
        expected.push_back(largePath(number) + " ObjPath to be added");
    }
    Texts said;
    for (const std::string& text : logged("processKovdMessagesInQueue"))
    {
        if (text.ends_with(" ObjPath to be added"))
        {
            said.push_back(text);
        }
    }
    EXPECT_EQ(said, expected);
    expectCanary();
    expectHealthy();
}

constexpr std::size_t fewBytes = 8 * megabyte;

/** Before there is a bus. */
class SmallBroker
{
  protected:
    const std::string whyNot = kit::onBroker() ? kit::limitBroker(fewBytes) : "";
};

class SmallBus : private SmallBroker, public BusFaults
{
  protected:
    SmallBus() : BusFaults({.bytesPerConnection = fewBytes}) {}

    void SetUp() override
    {
        ASSERT_EQ(whyNot, "");
    }
};

TEST_F(SmallBus, B11StoppedWhileMoreArrivesThanTheBusKeeps)
{
    constexpr unsigned signals = 200;
    publishWithCanaries(sim::makeInventory(2, 1));
    startSettled();
    const std::size_t before = kit::descriptorsOf(daemon().pid()).size();
    daemon().signal(SIGSTOP);
    try
    {
        emitLargeSignals(kovd, signals);
    }
    catch (const sim::Error&)
    {
        // The bus has thrown the sender out.
    }
    ASSERT_FALSE(daemon().waitForEnd(10s).has_value());
    const bool connected = kovd.running();
    kit::measured(connected ? "the bus keeps the platform" : "the bus throws the platform out");
    daemon().signal(SIGCONT);

    // Some of it may be lost, and the daemon may have been thrown out.
    waitUntilQuiet();
    expectHealthy(kit::allThreads, Descriptors::noMore);
    kit::measured(std::to_string(linesWith(" ObjPath to be added")) + " of 200 signals arrived");
    kovd.start();
    if (kit::descriptorsOf(daemon().pid()).size() == before)
    {
        expectCanary();
    }
    interrupt();
    expectHealthy(kit::threadsAfterInterrupt, Descriptors::noMore);
}

class SmallReplies : public BusFaults
{
  protected:
    SmallReplies() : BusFaults({.bytesPerMessage = 32 * megabyte}) {}
};

TEST_F(SmallReplies, B12ReplyTooLargeForTheBus)
{
    if (kit::onBroker())
    {
        GTEST_SKIP() << "it allows any message that a library can make";
    }
    const auto inventory = sim::makeInventory(2, 1);
    auto large = inventory.smbios;
    large[sim::smbiosSlotPath(2)][sim::names::smbiosSlot]["Blob"] =
        sim::Value::string(std::string(33 * megabyte, 'x'));
    publish(smbios, large);
    publish(kovd, inventory.kovd);
    startWith({.warp = 60}, {"SYSTEMD_BUS_TIMEOUT=1h"});
    settle();

    const Texts said = logged("GetManagedObjsSMBIOS");
    ASSERT_EQ(said.size(), 2u) << kit::tailOf(daemon().log());
    EXPECT_TRUE(
        said.back().starts_with("exception: sd_bus_call: org.freedesktop.DBus.Error.NoReply: "))
        << said.back();
    EXPECT_EQ(times("GetManagedObjsKOVD", "KOVD chassis object reply received"), 1u);

    // The bus has thrown the service out; it comes back with less to tell.
    publish(smbios, inventory.smbios);
    noteState();
    resync();
    EXPECT_EQ(lists(), kit::listsOf(2, 1));
    expectHealthy();
}

} // namespace
