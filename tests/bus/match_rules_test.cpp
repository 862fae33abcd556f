// What the daemon listens to: the rules it gives the bus, and what they let through.

#include "kit/bus_test.hpp"
#include "sim/value_message.hpp"

namespace
{

using kit::Texts;
using sim::Json;

// ---- the rules as the bus is asked for them ----

/** Somebody who sees all that is said to the bus itself. */
class Monitor
{
  public:
    explicit Monitor(const std::string& address)
    {
        sd_bus* raw = nullptr;
        sim::check(sd_bus_new(&raw), "make a connection");
        bus_.reset(raw);
        sim::check(sd_bus_set_address(raw, address.c_str()), "use the address");
        sim::check(sd_bus_set_bus_client(raw, 1), "be a client");
        sim::check(sd_bus_set_monitor(raw, 1), "be a monitor");
        sim::check(sd_bus_start(raw), "connect");
        sd_bus_message* request = nullptr;
        sim::check(sd_bus_message_new_method_call(
                       raw, &request, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                       "org.freedesktop.DBus.Monitoring", "BecomeMonitor"),
                   "make the call");
        const sim::Message owned(request);
        sim::appendBody(request, "asu", {Json::array({"member='AddMatch'"}), 0});
        sim::call(raw, request, "become a monitor");
    }

    /** The next rules that anybody asks the bus for; fewer when the time runs out. */
    Texts nextRules(std::size_t count)
    {
        Texts rules;
        const auto deadline = sim::Clock::now() + kit::patience;
        while (rules.size() < count && sim::Clock::now() < deadline)
        {
            sd_bus_message* raw = nullptr;
            const int processed = sim::check(sd_bus_process(bus_.get(), &raw), "listen to the bus");
            const sim::Message message(raw);
            if (raw != nullptr && sd_bus_message_is_method_call(raw, nullptr, "AddMatch") > 0)
            {
                rules.push_back(sim::readValue(raw).data.get<std::string>());
            }
            if (processed == 0)
            {
                sim::check(sd_bus_wait(bus_.get(), 1'000'000), "wait for the bus");
            }
        }
        return rules;
    }

  private:
    sim::Connection bus_;
};

class MatchRules : public kit::BusTest
{
  protected:
    void start()
    {
        publish(smbios);
        publish(kovd);
        startDaemon();
        settle();
    }

    /** A signal with a body that no decoder takes: whoever gets it says so. */
    static void emit(sim::Service& service, const std::string& member, const std::string& path,
                     const std::string& interface)
    {
        service.emitSignal({path, interface, member, "s", {member}});
    }

    std::size_t delivered()
    {
        settle();
        return times("GetSmbiosMsgData", "Invalid signature = s") +
               times("GetKovdMsgData", "Invalid signature = s");
    }
};

TEST_F(MatchRules, AreEightInTheirOrder)
{
    Monitor monitor(bus.address());
    startDaemon();

    EXPECT_EQ(monitor.nextRules(8),
              (Texts{"type='signal',sender='xyz.openbmc_project.Smbios.MDRV2',"
                     "member='InterfacesAdded',path='/xyz/openbmc_project/inventory',"
                     "interface='org.freedesktop.DBus.ObjectManager',",
                     "type='signal',sender='xyz.openbmc_project.Smbios.MDRV2',"
                     "member='InterfacesRemoved',path='/xyz/openbmc_project/inventory',"
                     "interface='org.freedesktop.DBus.ObjectManager',",
                     "type='signal',sender='xyz.openbmc_project.Smbios.MDRV2',"
                     "member='PropertiesChanged',interface='org.freedesktop.DBus.Properties',",
                     "type='signal',sender='com.vexa.bmc.kovd',"
                     "member='InterfacesAdded',path='/xyz/openbmc_project/inventory/system/board',"
                     "interface='org.freedesktop.DBus.ObjectManager',",
                     "type='signal',sender='com.vexa.bmc.kovd',"
                     "member='InterfacesRemoved',"
                     "path='/xyz/openbmc_project/inventory/system/board',"
                     "interface='org.freedesktop.DBus.ObjectManager',",
                     "type='signal',sender='com.vexa.bmc.kovd',"
                     "member='PropertiesChanged',interface='org.freedesktop.DBus.Properties',",
                     "type='signal',sender='com.vexa.bmc.kovd',"
                     "member='InterfacesAdded',"
                     "path='/xyz/openbmc_project/inventory/system/chassis',"
                     "interface='org.freedesktop.DBus.ObjectManager',",
                     "type='signal',sender='com.vexa.bmc.kovd',"
                     "member='InterfacesRemoved',"
                     "path='/xyz/openbmc_project/inventory/system/chassis',"
                     "interface='org.freedesktop.DBus.ObjectManager',"}));
}

// ---- a bus that refuses some of them ----

class FewMatchRules : public kit::BusTest
{
  protected:
    FewMatchRules() : BusTest({.matchRulesPerConnection = 3}) {}
};

TEST_F(FewMatchRules, AreReportedOnceAndLeaveTheStartUpPassesAtWork)
{
    if (sim::usesBroker())
    {
        GTEST_SKIP() << "dbus-broker's launcher does not hand this limit of a bus on";
    }
    publish(sim::makeInventory(2));
    startDaemon();

    EXPECT_TRUE(waitForLine("SubscribeToEvents",
                            "exception: sd_bus_match: org.freedesktop.DBus.Error.LimitsExceeded: "
                            "No buffer space available"));
    for (const auto& [path, list] : kit::listsOf(2))
    {
        EXPECT_TRUE(waitForList(path, list));
    }
    EXPECT_EQ(logged("SubscribeToEvents").size(), 1u);
}

// ---- what they let through ----

TEST_F(MatchRules, LetEachManagersSignalsThroughOnce)
{
    start();
    std::size_t sent = 0;
    for (const char* member : {"InterfacesAdded", "InterfacesRemoved"})
    {
        emit(smbios, member, sim::names::smbiosRoot, sim::names::objectManager);
        emit(kovd, member, sim::names::boardRoot, sim::names::objectManager);
        emit(kovd, member, sim::names::chassisRoot, sim::names::objectManager);
        sent += 3;
        EXPECT_EQ(delivered(), sent) << member;
    }
}

TEST_F(MatchRules, LetChangesOfAnyPathThrough)
{
    start();
    emit(kovd, "PropertiesChanged", "/any/path", sim::names::properties);
    emit(kovd, "PropertiesChanged", sim::kovdChassisPath(1), sim::names::properties);
    emit(kovd, "PropertiesChanged", sim::names::chassisRoot, sim::names::properties);
    settle();
    // Once each: no rule of its own listens to the changes below the chassis.
    EXPECT_EQ(times("GetKovdMsgData", "Invalid signature = s"), 3u);
    const auto before = times("GetSmbiosMsgData", "Invalid signature = s");
    emit(smbios, "PropertiesChanged", "/any/path", sim::names::properties);
    settle();

    EXPECT_EQ(times("GetSmbiosMsgData", "Invalid signature = s"), before + 1);
}

TEST_F(MatchRules, KeepManagersOfOtherPathsOut)
{
    start();
    for (const char* member : {"InterfacesAdded", "InterfacesRemoved"})
    {
        for (const std::string below :
             {"/system", "/system/chassis", "/system/chassis/motherboard"})
        {
            emit(smbios, member, sim::names::smbiosRoot + below, sim::names::objectManager);
        }
        emit(smbios, member, "/xyz/openbmc_project", sim::names::objectManager);
        emit(smbios, member, "/", sim::names::objectManager);
        emit(kovd, member, sim::names::smbiosRoot, sim::names::objectManager);
        emit(kovd, member, std::string(sim::names::boardRoot) + "/pcie_slot_0001",
             sim::names::objectManager);
        emit(kovd, member, std::string(sim::names::chassisRoot) + "/motherboard",
             sim::names::objectManager);
    }

    EXPECT_EQ(delivered(), 0u);
}

TEST_F(MatchRules, KeepOtherInterfacesOut)
{
    start();
    for (const char* interface : {"com.example.ObjectManager", sim::names::properties})
    {
        emit(smbios, "InterfacesAdded", sim::names::smbiosRoot, interface);
        emit(kovd, "InterfacesRemoved", sim::names::boardRoot, interface);
        emit(kovd, "InterfacesAdded", sim::names::chassisRoot, interface);
    }
    emit(smbios, "PropertiesChanged", sim::smbiosSlotPath(1), sim::names::objectManager);
    emit(kovd, "PropertiesChanged", sim::kovdSlotPath(1), "com.example.Properties");

    EXPECT_EQ(delivered(), 0u);
}

TEST_F(MatchRules, KeepOtherMembersOut)
{
    start();
    emit(smbios, "InterfacesChanged", sim::names::smbiosRoot, sim::names::objectManager);
    emit(kovd, "PropertiesInvalidated", sim::kovdSlotPath(1), sim::names::properties);

    EXPECT_EQ(delivered(), 0u);
}

TEST_F(MatchRules, KeepOtherSendersOut)
{
    start();
    auto profile = sim::kovdProfile();
    profile.busName = "com.example.inventory";
    sim::Service stranger(bus.address(), profile);
    publish(stranger);
    emit(stranger, "InterfacesAdded", sim::names::smbiosRoot, sim::names::objectManager);
    emit(stranger, "InterfacesAdded", sim::names::boardRoot, sim::names::objectManager);
    emit(stranger, "PropertiesChanged", sim::kovdSlotPath(1), sim::names::properties);
    // Its signals and those of the services come on different roads: once it has answered, its
    // own have been handed on.
    observer.ping(profile.busName);

    EXPECT_EQ(delivered(), 0u);
}

TEST_F(MatchRules, FollowAServiceToItsNextOwner)
{
    start();
    kovd.stop();
    kovd.start();
    emit(kovd, "InterfacesAdded", sim::names::boardRoot, sim::names::objectManager);

    EXPECT_EQ(delivered(), 1u);
}

} // namespace
