// The bus policy that is installed with the daemon: who may own its name, what it may call, and
// that no signal reaches it but those of the two services and of the bus itself. On both buses,
// with the daemon running as its own user.

#include "environment.hpp"
#include "kit/bus_test.hpp"
#include "kit/guarded_bus.hpp"
#include "kit/own_root.hpp"
#include "rig/settle.hpp"
#include "sim/value_message.hpp"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <ostream>
#include <regex>
#include <thread>

namespace kit
{

void PrintTo(BusKind kind, std::ostream* stream)
{
    *stream << (kind == BusKind::dbusDaemon ? "dbus-daemon" : "dbus-broker");
}

} // namespace kit

namespace
{

using kit::Lists;
using namespace std::chrono_literals;

constexpr const char* daemonUser = "kov_hwinv";
constexpr const char* bystander = "org.example.Bystander";
const auto forgeries = static_cast<unsigned>(environment::rounds(2'000));
constexpr unsigned genuineEvery = 10;

/** Bodies that tell in the daemon's log whose signal has reached a callback. */
constexpr const char* forgedSignature = "s";
constexpr const char* genuineSignature = "u";

struct Target
{
    const char* path;
    const char* member;
};

/** What passes the daemon's match rules. */
constexpr std::array targets{
    Target{sim::names::smbiosRoot, "InterfacesAdded"},
    Target{sim::names::boardRoot, "InterfacesAdded"},
    Target{sim::names::chassisRoot, "InterfacesRemoved"},
};

std::string textOf(const std::string& file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

sim::Message signalTo(sd_bus* bus, const std::string& destination, const Target& target)
{
    sd_bus_message* raw = nullptr;
    sim::check(
        sd_bus_message_new_signal(bus, &raw, target.path, sim::names::objectManager, target.member),
        "make a signal");
    sim::Message signal(raw);
    sim::check(sd_bus_message_append(raw, forgedSignature, "forged"), "write a signal");
    sim::check(sd_bus_message_set_destination(raw, destination.c_str()), "address a signal");
    return signal;
}

sim::Message askBus(sd_bus* bus, const char* member, const std::string& argument = "")
{
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_call(bus, &raw, "org.freedesktop.DBus",
                                              "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                              member),
               "make a call");
    const sim::Message request(raw);
    if (!argument.empty())
    {
        sim::check(sd_bus_message_append_basic(raw, 's', argument.c_str()), "write a call");
    }
    return sim::call(bus, raw, member);
}

/** The unique names of all connections of a process. */
std::vector<std::string> connectionsOf(sd_bus* bus, pid_t pid)
{
    std::vector<std::string> found;
    for (const auto& name : sim::readValue(askBus(bus, "ListNames").get()).data)
    {
        const auto text = name.get<std::string>();
        if (!text.starts_with(":"))
        {
            continue;
        }
        try
        {
            const auto reply = askBus(bus, "GetConnectionUnixProcessID", text);
            if (sim::readValue(reply.get()).data.get<pid_t>() == pid)
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

class Policy : public testing::TestWithParam<kit::BusKind>
{
  protected:
    void SetUp() override
    {
        const std::string whyNot = kit::enterOwnRoot(SYSUSERS_FILE);
        if (!whyNot.empty())
        {
            GTEST_SKIP() << whyNot;
        }
        if (GetParam() == kit::BusKind::dbusBroker && !kit::brokerIsThere(UNPACKED_BROKER))
        {
            GTEST_SKIP() << "dbus-broker is not installed";
        }
        user_ = kit::userNamed(daemonUser);
        openBus(POLICY_FILE);
    }

    void TearDown() override
    {
        daemon_.reset();
        kovd_.reset();
        smbios_.reset();
    }

    void openBus(const std::string& policyFile)
    {
        bus_ = std::make_unique<kit::GuardedBus>(GetParam(), policyFile);
        smbios_ = std::make_unique<sim::Service>(bus_->address(), sim::smbiosProfile());
        kovd_ = std::make_unique<sim::Service>(bus_->address(), sim::kovdProfile());
        observer_ = std::make_unique<rig::Observer>(bus_->address());
        stranger_ = sim::connectTo(bus_->address());
    }

    /** The same rules but those about what is received. */
    void openBusWithoutReceiveRules()
    {
        const std::regex rule("<(deny|allow) receive_type[^>]*>");
        const std::string text = textOf(POLICY_FILE);
        const std::string less = std::regex_replace(text, rule, "");
        ASSERT_NE(text, less);
        const std::string file =
            std::filesystem::temp_directory_path() / ("less-" + std::to_string(getpid()) + ".conf");
        std::ofstream(file) << less;
        daemon_.reset();
        openBus(file);
        std::filesystem::remove(file);
    }

    void publish(const sim::InventoryCapture& inventory)
    {
        smbios_->load(inventory.smbios);
        kovd_->load(inventory.kovd);
        smbios_->start();
        kovd_->start();
    }

    /** As its own user, from a folder which that user may enter. */
    void startDaemon()
    {
        const std::string copy = bus_->folder() + "/kov_hwinv";
        std::filesystem::copy_file(kit::daemonProgram(), copy,
                                   std::filesystem::copy_options::skip_existing);
        const std::string wrapper = bus_->folder() + "/as-its-user";
        std::ofstream(wrapper) << "#!/bin/sh\nexec " << asUser(user_) << " " << copy << "\n";
        std::filesystem::permissions(wrapper, std::filesystem::perms(0755));
        daemon_ = std::make_unique<rig::Daemon>(rig::DaemonOptions{
            .program = wrapper,
            .address = bus_->address(),
            .logLevel = 9,
            .environment = {},
            .logFile = "",
        });
        ASSERT_TRUE(observer_->waitForOwner(rig::daemonName, kit::patience))
            << kit::tailOf(daemon_->log());
    }

    void settle()
    {
        rig::settle(*observer_, *daemon_, {kovd_.get(), smbios_.get()}, kit::patience);
    }

    static std::string asUser(const kit::User& user)
    {
        return "setpriv --reuid=" + std::to_string(user.uid) +
               " --regid=" + std::to_string(user.gid) + " --clear-groups";
    }

    /** True when busctl could do this; what it says goes to the test's output. */
    bool busctl(const std::string& arguments, const std::string& as = "")
    {
        const std::string command =
            as + " busctl --no-pager --address=" + bus_->address() + " " + arguments + " 2>&1";
        return std::system(command.c_str()) == 0;
    }

    std::size_t reached(const std::string& signature) const
    {
        daemon_->catchUp();
        const std::string text = "Invalid signature = " + signature;
        return daemon_->log().count(rig::says("GetSmbiosMsgData", text)) +
               daemon_->log().count(rig::says("GetKovdMsgData", text));
    }

    std::vector<std::string> daemonConnections()
    {
        return connectionsOf(stranger_.get(), daemon_->pid());
    }

    /** When there are `count` of them, or what there is when the time has run out. */
    std::vector<std::string> waitForConnections(std::size_t count, std::chrono::seconds limit)
    {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        auto found = daemonConnections();
        while (found.size() < count && std::chrono::steady_clock::now() < deadline)
        {
            std::this_thread::sleep_for(5ms); // the bus does not tell whose a new connection is
            found = daemonConnections();
        }
        return found;
    }

    /** Starts the daemon; its connections while its discovery waits for the SMBIOS service, that of
     *  the discovery and that of the subscription's thread among them. A busy machine may miss that
     *  moment, and gets a longer one. */
    std::vector<std::string> connectionsDuringDiscovery()
    {
        std::vector<std::string> found;
        for (const auto moment : {2s, 8s, 32s})
        {
            smbios_->addFault({"GetManagedObjects", "", sim::Delay{moment}, 1});
            startDaemon();
            const auto asked = [](const rig::LogLine& line)
            { return line.function == "GetManagedObjsSMBIOS"; };
            EXPECT_TRUE(daemon_->log().waitFor(asked, kit::patience));
            found = waitForConnections(3, moment);
            if (found.size() == 3)
            {
                break;
            }
            daemon_.reset();
        }
        return found;
    }

    /** Sends `forgeries` to each connection, with a genuine one of a service now and then. */
    void forgeTo(const std::vector<std::string>& connections)
    {
        for (unsigned number = 0; number < forgeries; ++number)
        {
            for (const std::string& connection : connections)
            {
                const auto& target = targets[number % targets.size()];
                const auto signal = signalTo(stranger_.get(), connection, target);
                sim::check(sd_bus_send(stranger_.get(), signal.get(), nullptr), "send a signal");
            }
            if (number % genuineEvery == 0)
            {
                kovd_->emitSignal({sim::names::boardRoot, sim::names::objectManager,
                                   "InterfacesAdded", genuineSignature, sim::Json::array({1})});
            }
        }
        askBus(stranger_.get(), "GetId"); // answered after all of it has been dealt with
    }

    kit::User user_;
    std::unique_ptr<kit::GuardedBus> bus_;
    std::unique_ptr<sim::Service> smbios_;
    std::unique_ptr<sim::Service> kovd_;
    std::unique_ptr<rig::Observer> observer_;
    std::unique_ptr<rig::Daemon> daemon_;
    sim::Connection stranger_;
};

TEST_P(Policy, KeepsForgedSignalsOutAndLetsGenuineOnesIn)
{
    publish(sim::makeInventory(2, 1));
    startDaemon();
    settle();
    const auto connections = daemonConnections();
    ASSERT_EQ(connections.size(), 2u);
    forgeTo(connections);
    settle();

    EXPECT_EQ(reached(forgedSignature), 0u);
    EXPECT_EQ(reached(genuineSignature), forgeries / genuineEvery);
    EXPECT_EQ(observer_->allAssociations(), kit::listsOf(2, 1));
}

TEST_P(Policy, KeepsThemOutDuringDiscovery)
{
    publish(sim::makeInventory(2, 1));
    const auto connections = connectionsDuringDiscovery();
    ASSERT_EQ(connections.size(), 3u);
    forgeTo(connections);
    settle();

    EXPECT_EQ(reached(forgedSignature), 0u);
    EXPECT_EQ(observer_->allAssociations(), kit::listsOf(2, 1));
}

TEST_P(Policy, IsWhatKeepsThemOut)
{
    openBusWithoutReceiveRules();
    publish(sim::makeInventory(2, 1));
    startDaemon();
    settle();
    forgeTo(daemonConnections());
    settle();

    // One of the two connections has the match rules.
    EXPECT_EQ(reached(forgedSignature), forgeries);
    EXPECT_EQ(reached(genuineSignature), forgeries / genuineEvery);
}

TEST_P(Policy, LetsChangesOfBothServicesIn)
{
    auto inventory = sim::makeInventory(2, 1);
    const auto slot = *inventory.kovd.find(sim::kovdSlotPath(2));
    const auto twin = *inventory.smbios.find(sim::smbiosSlotPath(1));
    inventory.kovd.erase(slot.first);
    inventory.smbios.erase(twin.first);
    publish(inventory);
    startDaemon();
    settle();
    kovd_->addObject(slot.first, slot.second);
    smbios_->addObject(twin.first, twin.second);
    settle();

    EXPECT_EQ(kovd_->associationsOf(slot.first), kit::inSlot(sim::smbiosSlotPath(2)));
    EXPECT_EQ(kovd_->associationsOf(sim::kovdSlotPath(1)), kit::inSlot(twin.first));
}

TEST_P(Policy, GivesTheNameToNobodyElse)
{
    for (const auto flags : {0, SD_BUS_NAME_REPLACE_EXISTING | SD_BUS_NAME_QUEUE})
    {
        const int result = sd_bus_request_name(stranger_.get(), rig::daemonName,
                                               static_cast<std::uint64_t>(flags));
        EXPECT_EQ(result, -EACCES);
    }
}

TEST_P(Policy, LetsRootLookAroundAndNobodyElse)
{
    publish(sim::makeInventory(1));
    startDaemon();
    settle();
    const std::string name = rig::daemonName;
    const std::string nobody = asUser(kit::userNamed("nobody"));

    EXPECT_TRUE(busctl("tree " + name));
    EXPECT_TRUE(busctl("introspect " + name + " /"));
    EXPECT_TRUE(busctl("call " + name + " / org.freedesktop.DBus.Peer Ping"));
    EXPECT_FALSE(busctl("call " + name + " / org.freedesktop.DBus.Peer Ping", nobody));
}

TEST_P(Policy, LetsTheDaemonCallTheTwoServicesAndNobodyElse)
{
    publish(sim::makeInventory(1));
    sim::check(sd_bus_request_name(stranger_.get(), bystander, 0), "take a name");
    const std::string daemon = asUser(user_);
    const std::string manager = " org.freedesktop.DBus.ObjectManager GetManagedObjects";

    EXPECT_TRUE(busctl(std::string("--quiet call ") + sim::names::kovdService + " " +
                           sim::names::boardRoot + manager,
                       daemon));
    EXPECT_TRUE(busctl(std::string("--quiet call ") + sim::names::smbiosService + " " +
                           sim::names::smbiosRoot + manager,
                       daemon));
    EXPECT_FALSE(busctl(std::string("--timeout=2 call ") + bystander + " /" + manager, daemon));

    // The bus refused it; the bystander has seen no call.
    sd_bus_message* seen = nullptr;
    while (sim::check(sd_bus_process(stranger_.get(), &seen), "look for a call") > 0)
    {
        const sim::Message message(seen);
        EXPECT_FALSE(seen != nullptr && sd_bus_message_is_method_call(seen, nullptr, nullptr) > 0);
        seen = nullptr;
    }
}

TEST_P(Policy, LeavesSignalsOfOthersAlone)
{
    const auto listener = sim::connectTo(bus_->address());
    const char* name = nullptr;
    sim::check(sd_bus_get_unique_name(listener.get(), &name), "look at the own name");
    unsigned heard = 0;
    const auto count = [](sd_bus_message*, void* counter, sd_bus_error*)
    {
        ++*static_cast<unsigned*>(counter);
        return 0;
    };
    sim::check(sd_bus_match_signal(listener.get(), nullptr, nullptr, nullptr,
                                   sim::names::objectManager, nullptr, count, &heard),
               "listen");
    for (unsigned number = 0; number < genuineEvery; ++number)
    {
        const auto signal = signalTo(stranger_.get(), name, targets.front());
        sim::check(sd_bus_send(stranger_.get(), signal.get(), nullptr), "send a signal");
    }
    askBus(stranger_.get(), "GetId");
    askBus(listener.get(), "GetId");
    while (sim::check(sd_bus_process(listener.get(), nullptr), "read signals") > 0)
    {
    }

    EXPECT_EQ(heard, genuineEvery);
}

INSTANTIATE_TEST_SUITE_P(On, Policy,
                         testing::Values(kit::BusKind::dbusDaemon, kit::BusKind::dbusBroker),
                         [](const auto& kind) {
                             return kind.param == kit::BusKind::dbusDaemon ? "DbusDaemon"
                                                                           : "DbusBroker";
                         });

} // namespace
