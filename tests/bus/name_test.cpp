// The daemon's name on the bus: who has it, who gets it, and what else is to see there.

#include "kit/bus_test.hpp"

#include <sys/wait.h>

namespace
{

using kit::Texts;

class Name : public kit::BusTest
{
  protected:
    /** Somebody else who wants the daemon's name. */
    struct Rival
    {
        sim::Connection connection;

        int request(std::uint64_t flags) const
        {
            return sd_bus_request_name(connection.get(), rig::daemonName, flags);
        }

        std::string uniqueName() const
        {
            const char* name = nullptr;
            sim::check(sd_bus_get_unique_name(connection.get(), &name), "look at the own name");
            return name;
        }
    };

    Rival rival()
    {
        return {sim::connectTo(bus.address())};
    }

    void expectEndWithStatusZero()
    {
        expectEnd();
        const auto status = daemon().waitForEnd(kit::patience);
        ASSERT_TRUE(status.has_value()) << kit::tailOf(daemon().log());
        EXPECT_TRUE(WIFEXITED(*status));
        EXPECT_EQ(WEXITSTATUS(*status), 0);
    }
};

TEST_F(Name, IsTaken)
{
    startDaemon();
    settle();

    EXPECT_NE(observer.ownerOf(rig::daemonName), "");
}

TEST_F(Name, OfAnOwnerThatAllowsItIsTakenOver)
{
    const Rival former = rival();
    ASSERT_GE(former.request(SD_BUS_NAME_ALLOW_REPLACEMENT), 0);
    startDaemon();

    EXPECT_TRUE(observer.waitForOwner(rig::daemonName, kit::patience, former.uniqueName()));
    settle();
}

TEST_F(Name, OfAnOwnerThatForbidsItEndsTheDaemon)
{
    const Rival owner = rival();
    ASSERT_GE(owner.request(0), 0);
    startDaemon();

    expectEndWithStatusZero();
    EXPECT_EQ(logged("main"), (Texts{"starting new process",
                                     "Caught an exception: sd_bus_request_name: "
                                     "org.freedesktop.DBus.Error.FileExists: File exists"}));
    EXPECT_EQ(daemon().log().size(), 2u);
    EXPECT_EQ(observer.ownerOf(rig::daemonName), owner.uniqueName());
}

TEST_F(Name, IsGivenToANewerInstance)
{
    publish(sim::makeInventory(1));
    startDaemon();
    settle();
    const std::string first = observer.ownerOf(rig::daemonName);

    rig::Daemon second({.program = kit::daemonProgram(),
                        .address = bus.address(),
                        .environment = {},
                        .logFile = ""});
    EXPECT_TRUE(observer.waitForOwner(rig::daemonName, kit::patience, first));

    // The older one lives on without it and does its work.
    EXPECT_TRUE(daemon().running());
    smbios.removeObject(sim::smbiosSlotPath(1));
    EXPECT_TRUE(waitForLine("removeSMBIOSPCIeAssociations", "Entry removed from the map"));
}

TEST_F(Name, IsNotQueuedFor)
{
    startDaemon();
    settle();
    const Rival winner = rival();
    ASSERT_GE(winner.request(SD_BUS_NAME_REPLACE_EXISTING), 0);
    EXPECT_EQ(observer.ownerOf(rig::daemonName), winner.uniqueName());
    ASSERT_GE(sd_bus_release_name(winner.connection.get(), rig::daemonName), 0);

    EXPECT_EQ(observer.ownerOf(rig::daemonName), "");
}

TEST_F(Name, HasAnObjectManagerAtTheRoot)
{
    startDaemon();
    settle();

    EXPECT_EQ(observer.managedObjects(rig::daemonName, "/"), sim::Objects());
    EXPECT_THROW(observer.managedObjects(rig::daemonName, "/xyz"), sim::BusError);
}

TEST_F(Name, CannotBeHadWithoutABus)
{
    bus.kill();
    startDaemon();

    expectEndWithStatusZero();
    EXPECT_EQ(daemon().log().size(), 2u);
    const std::string said = logged("main").back();
    EXPECT_TRUE(said.starts_with("Caught an exception: ")) << said;
    EXPECT_TRUE(said.ends_with("Connection refused")) << said;
}

TEST(NoBus, EndsTheDaemonWithStatusZero)
{
    rig::Daemon daemon({.program = kit::daemonProgram(),
                        .address = "unix:path=/nonexistent/bus",
                        .environment = {},
                        .logFile = ""});

    const auto status = daemon.waitForEnd(kit::patience);
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 0);
    const auto lines = daemon.log().lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, "starting new process");
    EXPECT_TRUE(lines[1].text.starts_with("Caught an exception: ")) << lines[1];
    EXPECT_TRUE(lines[1].text.ends_with("No such file or directory")) << lines[1];
    EXPECT_EQ(lines[1].level, 1);
}

} // namespace
