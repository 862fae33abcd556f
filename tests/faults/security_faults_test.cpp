// What a stranger on the bus can do: without a policy of our own no more than the two services
// could, with ours nothing at all. That no forged signal passes our policy is in
// tests/bus/policy_test.cpp.

#include "faults/counts.hpp"
#include "faults/kit/fault_test.hpp"
#include "faults/kit/process.hpp"
#include "kit/guarded_bus.hpp"
#include "kit/own_root.hpp"
#include "rig/settle.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"
#include "sim/value_message.hpp"

#include <array>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sys/wait.h>
#include <thread>

namespace
{

using namespace std::chrono_literals;

constexpr long tolerance = 1024; // KiB
constexpr std::size_t megabyte = 1U << 20U;

/** What busctl says to whom the bus refuses a call. */
const std::string refused = "Call failed: Access denied";

/** The unique names of all connections of a process. */
std::vector<std::string> connectionsOf(sd_bus* bus, pid_t pid)
{
    const auto ask = [bus](const char* member, const char* types, const char* argument)
    {
        sd_bus_message* raw = nullptr;
        sim::check(sd_bus_message_new_method_call(bus, &raw, "org.freedesktop.DBus",
                                                  "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                                  member),
                   "make a call");
        const sim::Message request(raw);
        sim::check(sd_bus_message_append(raw, types, argument), "write a call");
        return sim::readValue(sim::call(bus, raw, member).get()).data;
    };
    std::vector<std::string> found;
    for (const auto& name : ask("ListNames", "", nullptr))
    {
        const auto text = name.get<std::string>();
        try
        {
            if (text.starts_with(":") &&
                ask("GetConnectionUnixProcessID", "s", text.c_str()).get<pid_t>() == pid)
            {
                found.push_back(text);
            }
        }
        catch (const sim::BusError&)
        {
            // It has left the bus meanwhile.
        }
    }
    return found;
}

/** What is resident once nothing changes any more. */
long settledMemory(pid_t pid)
{
    const auto deadline = sim::Clock::now() + kit::patience;
    long memory = kit::statusNumber(pid, "VmRSS");
    for (auto since = sim::Clock::now();
         sim::Clock::now() < deadline && sim::Clock::now() - since < 600ms;)
    {
        std::this_thread::yield();
        if (const long now = kit::statusNumber(pid, "VmRSS"); now != memory)
        {
            memory = now;
            since = sim::Clock::now();
        }
    }
    return memory;
}

/** A message of a megabyte to the daemon: a call that wants no answer, or a signal. */
void sendLarge(sd_bus* bus, const std::string& destination, bool isCall)
{
    sd_bus_message* raw = nullptr;
    sim::check(isCall ? sd_bus_message_new_method_call(bus, &raw, destination.c_str(), "/",
                                                       "an.Interface", "Call")
                      : sd_bus_message_new_signal(bus, &raw, sim::names::boardRoot,
                                                  sim::names::objectManager, "InterfacesAdded"),
               "make a message");
    const sim::Message message(raw);
    const std::string payload(megabyte, 'x');
    sim::check(sd_bus_message_append(raw, "s", payload.c_str()), "write a message");
    sim::check(isCall ? sd_bus_message_set_expect_reply(raw, 0)
                      : sd_bus_message_set_destination(raw, destination.c_str()),
               "address a message");
    sim::check(sd_bus_send(bus, raw, nullptr), "send a message");
    sim::check(sd_bus_flush(bus), "send a message");
}

// ---- without a policy of our own ----

class StrangerFaults : public kit::FaultTest
{
  protected:
    /** Signals of all three kinds to each connection; each costs a line at most. */
    void forge(unsigned count)
    {
        const sim::Connection stranger = sim::connectTo(bus.address());
        const auto connections = connectionsOf(stranger.get(), daemon().pid());
        EXPECT_EQ(connections.size(), 2u);
        const std::string slot = sim::kovdSlotPath(1);
        for (unsigned number = 0; number < count; ++number)
        {
            for (const std::string& connection : connections)
            {
                sendForgery(stranger.get(), connection, slot, number % 3);
            }
        }
    }

  private:
    static void sendForgery(sd_bus* bus, const std::string& to, const std::string& slot,
                            unsigned kind)
    {
        const bool change = kind == 2;
        const char* const members[] = {"InterfacesAdded", "InterfacesRemoved", "PropertiesChanged"};
        sd_bus_message* raw = nullptr;
        sim::check(sd_bus_message_new_signal(
                       bus, &raw, change ? slot.c_str() : sim::names::boardRoot,
                       change ? sim::names::properties : sim::names::objectManager, members[kind]),
                   "make a signal");
        const sim::Message signal(raw);
        const char* const interface = sim::names::kovdSlot;
        sim::check(kind == 0 ? sd_bus_message_append(raw, "oa{sa{sv}}", slot.c_str(), 1, interface,
                                                     1, "PCIClassCode", "y", 7)
                   : kind == 1 ? sd_bus_message_append(raw, "oas", slot.c_str(), 1, interface)
                               : sd_bus_message_append(raw, "sa{sv}as", interface, 0, 0),
                   "write a signal");
        sim::check(sd_bus_message_set_destination(raw, to.c_str()), "address a signal");
        sim::check(sd_bus_send(bus, raw, nullptr), "send a signal");
        sim::check(sd_bus_flush(bus), "send a signal");
    }
};

TEST_F(StrangerFaults, X1ForgedSignalsDoNoMoreThanGenuineOnes)
{
    const auto count = static_cast<unsigned>(faults::rounds(2'000, 10'000));
    publishWithCanaries(sim::makeInventory(1, 1));
    startSettled({}, {}, 1);
    forge(300);
    settle();
    const long before = settledMemory(daemon().pid());
    forge(count);
    settle();
    const long after = settledMemory(daemon().pid());
    if (!kit::sanitized() && !daemon().emulated())
    {
        EXPECT_LE(after, before + tolerance);
    }
    EXPECT_TRUE(lists() == kit::listsOf(1, 1));
    kit::measured(std::to_string(2 * count) + " forged signals, resident " +
                  std::to_string(before) + " KiB, then " + std::to_string(after) + " KiB");
    expectCanary();
    expectHealthy();
}

TEST_F(StrangerFaults, X2MegabytesDuringASetAreGivenBack)
{
    const auto count = static_cast<unsigned>(faults::rounds(20, 200));
    publishWithCanaries(sim::makeInventory(1, 1), 4);
    startSettled({}, {}, 1);
    const long before = settledMemory(daemon().pid());
    kovd.addFault({"Set", "", sim::Hang{}, 1});
    const auto [path, slot] = sim::makeKovdSlot(kit::firstCanary + 3);
    kovd.addObject(path, slot);
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", path, 1, kit::patience));
    const sim::Connection stranger = sim::connectTo(bus.address());
    const auto connections = connectionsOf(stranger.get(), daemon().pid());
    for (unsigned number = 0; number < count; ++number)
    {
        sendLarge(stranger.get(), connections.at(number % connections.size()), number % 4 < 2);
    }
    const long during = kit::statusNumber(daemon().pid(), "VmRSS");
    kovd.stop(); // ends the call
    kovd.start();
    settle();
    const long after = settledMemory(daemon().pid());
    if (!kit::sanitized() && !daemon().emulated())
    {
        EXPECT_LE(after, before + tolerance);
    }
    kit::measured(std::to_string(count) + " MiB, resident " + std::to_string(before) +
                  " KiB before, " + std::to_string(during) + " KiB during, " +
                  std::to_string(after) + " KiB after");
    expectCanary();
    expectHealthy();
}

// ---- with ours ----

class GuardedFaults : public testing::TestWithParam<kit::BusKind>
{
  protected:
    void SetUp() override
    {
        if (kit::onBroker())
        {
            GTEST_SKIP() << "starts both buses itself, and needs the machine's own root for that";
        }
        const std::string whyNot = kit::enterOwnRoot(SYSUSERS_FILE);
        if (!whyNot.empty())
        {
            GTEST_SKIP() << whyNot;
        }
        if (GetParam() == kit::BusKind::dbusBroker && !kit::brokerIsThere(UNPACKED_BROKER))
        {
            GTEST_SKIP() << "dbus-broker is not installed";
        }
        bus_ = std::make_unique<kit::GuardedBus>(GetParam(), POLICY_FILE);
        smbios_ = std::make_unique<sim::Service>(bus_->address(), sim::smbiosProfile());
        kovd_ = std::make_unique<sim::Service>(bus_->address(), sim::kovdProfile());
        observer_ = std::make_unique<rig::Observer>(bus_->address());
        std::filesystem::copy_file(kit::daemonProgram(), bus_->folder() + "/kov_hwinv");
        const auto inventory = sim::makeInventory(2, 1);
        smbios_->load(inventory.smbios);
        kovd_->load(inventory.kovd);
        smbios_->start();
        kovd_->start();
    }

    /** As the user who is meant to run it. */
    std::unique_ptr<rig::Daemon> startAsItsUser() const
    {
        if (kit::daemonLauncher().empty())
        {
            return startAs("kov_hwinv");
        }
        return std::make_unique<rig::Daemon>(rig::DaemonOptions{.program = kit::daemonProgram(),
                                                                .launcher = kit::daemonLauncher(),
                                                                .address = bus_->address(),
                                                                .logLevel = 1,
                                                                .environment = {},
                                                                .logFile = ""});
    }

    /** As that user, from a folder which every user may enter. */
    std::unique_ptr<rig::Daemon> startAs(const std::string& name) const
    {
        const kit::User user = kit::userNamed(name);
        const std::string wrapper = bus_->folder() + "/as-" + name;
        std::ofstream(wrapper) << "#!/bin/sh\nexec setpriv --reuid=" << user.uid
                               << " --regid=" << user.gid << " --clear-groups " << bus_->folder()
                               << "/kov_hwinv\n";
        std::filesystem::permissions(wrapper, std::filesystem::perms(0755));
        return std::make_unique<rig::Daemon>(rig::DaemonOptions{.program = wrapper,
                                                                .address = bus_->address(),
                                                                .logLevel = 1,
                                                                .environment = {},
                                                                .logFile = ""});
    }

    /** The daemon, when everything has paired. */
    std::unique_ptr<rig::Daemon> startPaired()
    {
        auto daemon = startAsItsUser();
        EXPECT_TRUE(kovd_->journal().waitForSets(kit::listsOf(2, 1).size(), kit::patience))
            << kit::tailOf(daemon->log());
        rig::settle(*observer_, *daemon, {kovd_.get(), smbios_.get()}, kit::patience);
        return daemon;
    }

    /** A call of another user to whom nothing is allowed; what busctl says when it has failed. */
    std::string refusalOf(const std::vector<std::string>& call) const
    {
        const kit::User nobody = kit::userNamed("nobody");
        child::Pipe pipe = child::makePipe();
        std::vector<std::string> command{"setpriv",
                                         "--reuid=" + std::to_string(nobody.uid),
                                         "--regid=" + std::to_string(nobody.gid),
                                         "--clear-groups",
                                         "busctl",
                                         "--no-pager",
                                         "--address=" + bus_->address(),
                                         "call"};
        command.insert(command.end(), call.begin(), call.end());
        child::Child busctl({.command = command,
                             .streams = {.output = pipe.write.get(), .error = pipe.write.get()}});
        pipe.write.reset();
        std::string said;
        EXPECT_TRUE(child::readAll(pipe.read.get(), said, kit::patience));
        EXPECT_EQ(busctl.finish(kit::patience), 1) << said;
        return said.substr(0, said.find('\n'));
    }

    static std::vector<std::string> requestName()
    {
        const int replaceAndDoNotWait = 0x2 | 0x4;
        return {"org.freedesktop.DBus",
                "/org/freedesktop/DBus",
                "org.freedesktop.DBus",
                "RequestName",
                "su",
                rig::daemonName,
                std::to_string(replaceAndDoNotWait)};
    }

    /** Owners, lists and what it has said are as they were, and a slot that comes again is paired.
     */
    void expectUnchanged(rig::Daemon& daemon, const std::vector<std::string>& owners,
                         std::size_t lines)
    {
        EXPECT_TRUE(daemon.running());
        EXPECT_EQ(allOwners(), owners);
        EXPECT_EQ(observer_->allAssociations(), kit::listsOf(2, 1));
        EXPECT_EQ(kovd_->journal().setCount(), kit::listsOf(2, 1).size());
        daemon.catchUp();
        EXPECT_EQ(daemon.log().size(), lines) << kit::tailOf(daemon.log());
        const auto inventory = sim::makeInventory(2, 1);
        const auto slot = *inventory.smbios.find(sim::smbiosSlotPath(1));
        smbios_->removeObject(slot.first);
        EXPECT_TRUE(kovd_->waitForAssociations(sim::kovdSlotPath(1), {}, kit::patience));
        smbios_->addObject(slot.first, slot.second);
        EXPECT_TRUE(kovd_->waitForAssociations(sim::kovdSlotPath(1), kit::inSlot(slot.first),
                                               kit::patience));
    }

    std::vector<std::string> allOwners() const
    {
        return {observer_->ownerOf(rig::daemonName), observer_->ownerOf(sim::names::smbiosService),
                observer_->ownerOf(sim::names::kovdService)};
    }

    std::unique_ptr<kit::GuardedBus> bus_;
    std::unique_ptr<sim::Service> smbios_;
    std::unique_ptr<sim::Service> kovd_;
    std::unique_ptr<rig::Observer> observer_;
};

TEST_P(GuardedFaults, X2MegabytesDuringASetAreRefused)
{
    const auto count = static_cast<unsigned>(faults::rounds(20, 200));
    const auto daemon = startAsItsUser();
    ASSERT_TRUE(kovd_->journal().waitForSets(kit::listsOf(2, 1).size(), kit::patience))
        << kit::tailOf(daemon->log());
    kovd_->addFault({"Set", "", sim::Hang{}, 1});
    const long before = settledMemory(daemon->pid());
    const auto [path, slot] = sim::makeSmbiosSlot(1);
    smbios_->removeObject(path);
    ASSERT_TRUE(
        kovd_->journal().waitForCalls("Set", "", kit::listsOf(2, 1).size() + 1, kit::patience));
    const sim::Connection stranger = sim::connectTo(bus_->address());
    const auto connections = connectionsOf(stranger.get(), daemon->pid());
    ASSERT_EQ(connections.size(), 2u);
    for (unsigned number = 0; number < count; ++number)
    {
        sendLarge(stranger.get(), connections.at(number % 2), false);
    }
    connectionsOf(stranger.get(), daemon->pid()); // answered after all of it has been dealt with
    const long during = kit::statusNumber(daemon->pid(), "VmRSS");
    if (!kit::sanitized())
    {
        EXPECT_LE(during, before + tolerance);
    }
    EXPECT_TRUE(daemon->running());
    kit::measured(std::to_string(count) + " MiB, resident " + std::to_string(before) +
                  " KiB before, " + std::to_string(during) + " KiB during");
}

TEST_P(GuardedFaults, X3ASecondDaemonOfAnotherUserChangesNothing)
{
    const auto daemon = startPaired();
    const auto owners = allOwners();
    const std::size_t before = daemon->log().size();
    const auto second = startAs("nobody");
    const auto status = second->waitForEnd(kit::patience);
    ASSERT_TRUE(status.has_value()) << kit::tailOf(second->log());
    EXPECT_EQ(*status, 0);
    const auto lines = second->log().lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_TRUE(lines[1].text.starts_with("Caught an exception: sd_bus_request_name: "));
    EXPECT_NE(lines[1].text.find("AccessDenied"), std::string::npos) << lines[1];
    expectUnchanged(*daemon, owners, before);
}

TEST_P(GuardedFaults, X3AnotherUserIsRefusedTheName)
{
    EXPECT_EQ(refusalOf(requestName()), refused);
    EXPECT_EQ(observer_->ownerOf(rig::daemonName), "");
    const auto daemon = startPaired();
    const auto owners = allOwners();
    const std::size_t lines = daemon->log().size();
    const std::string said = refusalOf(requestName());
    EXPECT_EQ(said, refused);
    kit::measured(said);
    expectUnchanged(*daemon, owners, lines);
}

TEST_P(GuardedFaults, X3AnotherUserIsRefusedCalls)
{
    const auto daemon = startPaired();
    const auto owners = allOwners();
    const std::size_t lines = daemon->log().size();
    const std::string ours = "org.freedesktop.DBus.";
    const std::vector<std::vector<std::string>> calls{
        {ours + "Peer", "Ping"},
        {ours + "Introspectable", "Introspect"},
        {ours + "ObjectManager", "GetManagedObjects"}};
    for (const std::string& name : {std::string(rig::daemonName), owners.front()})
    {
        for (const auto& call : calls)
        {
            const std::string said = refusalOf({name, "/", call.at(0), call.at(1)});
            EXPECT_EQ(said, refused);
        }
        observer_->ping(name); // root may
    }
    kit::measured("refused under both names, answered to root");
    expectUnchanged(*daemon, owners, lines);
}

INSTANTIATE_TEST_SUITE_P(On, GuardedFaults,
                         testing::Values(kit::BusKind::dbusDaemon, kit::BusKind::dbusBroker),
                         [](const auto& kind) {
                             return kind.param == kit::BusKind::dbusDaemon ? "DbusDaemon"
                                                                           : "DbusBroker";
                         });

} // namespace
