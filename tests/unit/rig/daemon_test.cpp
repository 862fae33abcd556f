// A daemon that a launcher starts: whose process id, whose signals, whose end. Scripts stand for
// both. One that the test starts itself is in every bus test.

#include "rig/daemon.hpp"
#include "sim/error.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>

namespace
{

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr auto ever = 60s;

class LaunchedDaemon : public testing::Test
{
  protected:
    LaunchedDaemon()
    {
        std::string name = (fs::temp_directory_path() / "launched-XXXXXX").string();
        mkdtemp(name.data());
        folder_ = name;
    }

    ~LaunchedDaemon() override
    {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    std::string script(const std::string& name, const std::string& text) const
    {
        const std::string path = folder_ / name;
        std::ofstream(path) << "#!/bin/sh\n" << text;
        fs::permissions(path, fs::perms(0755));
        return path;
    }

    /** The launcher has the daemon as its child, and tells whose process id it is. */
    rig::DaemonOptions options(const std::string& daemon) const
    {
        return {.program = script("daemon", daemon),
                .launcher = script("launcher", "env \"$@\" &\necho $!\nwait $!\n"),
                .address = "unix:path=/nonexistent",
                .environment = {"GREETING=hello"},
                .logFile = ""};
    }

    fs::path folder_;
};

const std::string waitsForUsr1 = "trap 'exit 3' USR1\n"
                                 "echo \"1 2 $$.4.$GREETING: $DBUS_SYSTEM_BUS_ADDRESS\" >&2\n"
                                 "while :; do sleep 0.01; done\n";

TEST_F(LaunchedDaemon, HasTheProcessIdAndTheEnvironmentThatItsLauncherWasGiven)
{
    rig::Daemon daemon(options(waitsForUsr1));

    ASSERT_TRUE(daemon.log().waitFor(rig::says("hello", "unix:path=/nonexistent"), ever));
    EXPECT_EQ(daemon.log().lines()[0].file, std::to_string(daemon.pid()));
    EXPECT_TRUE(daemon.running());
}

TEST_F(LaunchedDaemon, GetsTheSignalsItself)
{
    rig::Daemon daemon(options(waitsForUsr1));
    ASSERT_TRUE(daemon.log().waitFor([](const auto&) { return true; }, ever));
    daemon.signal(SIGUSR1);

    const auto status = daemon.waitForEnd(ever);
    ASSERT_TRUE(status.has_value());
    EXPECT_TRUE(WIFEXITED(*status));
    EXPECT_EQ(WEXITSTATUS(*status), 3);
    EXPECT_FALSE(daemon.running());
}

TEST_F(LaunchedDaemon, IsKilledBeforeItsLauncherEnds)
{
    pid_t pid = 0;
    {
        rig::Daemon daemon(options(waitsForUsr1));
        pid = daemon.pid();
    }
    EXPECT_EQ(kill(pid, 0), -1);
}

TEST_F(LaunchedDaemon, IsMissedWithWhatTheLauncherSaid)
{
    auto failing = options("");
    failing.launcher = script("launcher", "echo no room >&2\n");

    try
    {
        rig::Daemon daemon(failing);
        FAIL() << "there is a daemon";
    }
    catch (const sim::Error& error)
    {
        EXPECT_STREQ(error.what(), "the launcher did not start the daemon: no room\n");
    }
}

} // namespace
