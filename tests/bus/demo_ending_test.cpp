// How the demo ends, and that it leaves nothing behind.

#include "demo_program.hpp"
#include "rig/daemon.hpp"
#include "rig/observer.hpp"
#include "sim/bus.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sys/wait.h>

namespace
{

using namespace demo;

/** The rest of the line behind `label`. */
std::string behind(const std::string& output, const std::string& label)
{
    const std::size_t start = output.find(label);
    if (start == std::string::npos)
    {
        return "";
    }
    const std::size_t begin = start + label.size();
    return output.substr(begin, output.find_first_of("'\r\n", begin) - begin);
}

void expectNothingLeft(const RunningDemo& demo)
{
    EXPECT_EQ(demo.processes(), 0U);
    EXPECT_TRUE(demo.folderIsEmpty());
}

/** The demo and its child, the bus, which may be two, and the daemon. */
const std::size_t allProcesses = sim::usesBroker() ? 5 : 4;

constexpr const char* firstLine = "PCIe slots";
constexpr const char* howToEnd = "End it with: kill ";

TEST(DemoEnding, LeavesNothingWhenItIsDone)
{
    RunningDemo demo("");
    demo.rest();
    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, 0));
    expectNothingLeft(demo);
}

TEST(DemoEnding, LeavesNothingWhenItIsStopped)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
    {
        RunningDemo demo("--live");
        ASSERT_TRUE(demo.waitFor(firstLine)) << demo.output();
        demo.signal(signal);
        EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, signal)) << demo.rest();
        expectNothingLeft(demo);
    }
}

TEST(DemoEnding, LeavesNothingWhenItIsStoppedBeforeItSaysAnything)
{
    const TemporaryFolder folder;
    const std::string daemon = folder.path() / "daemon"; // it never takes its name
    std::ofstream(daemon) << "#!/bin/sh\nexec sleep 600\n";
    std::filesystem::permissions(daemon, std::filesystem::perms::owner_all);
    RunningDemo demo("--daemon " + daemon);
    ASSERT_TRUE(demo.waitForProcesses(allProcesses)) << demo.output();
    demo.signal(SIGTERM);
    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, SIGTERM)) << demo.rest();
    expectNothingLeft(demo);
}

TEST(DemoEnding, LeavesNothingWhenNobodyReadsOn)
{
    RunningDemo demo("--live");
    ASSERT_TRUE(demo.waitFor(firstLine)) << demo.output();
    demo.closeOutput();
    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, SIGPIPE));
    expectNothingLeft(demo);
}

TEST(DemoEnding, LeavesNoProcessWhenItIsKilled)
{
    RunningDemo demo("--keep");
    ASSERT_TRUE(demo.waitFor(howToEnd)) << demo.output();
    EXPECT_EQ(demo.processes(), allProcesses);
    demo.signal(SIGKILL);
    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, SIGKILL));
    EXPECT_TRUE(demo.waitForProcesses(0));
}

TEST(DemoEnding, KeepsEverythingRunningUntilItIsEndedAsItSays)
{
    RunningDemo demo("--keep --inventory edge-small");
    ASSERT_TRUE(demo.waitFor(howToEnd)) << demo.output();
    ASSERT_TRUE(demo.waitFor(howToEnd + std::to_string(demo.pid()) + "\n")) << demo.output();
    {
        rig::Observer observer(behind(demo.output(), "export DBUS_SYSTEM_BUS_ADDRESS='"));
        EXPECT_NO_THROW(observer.ping(rig::daemonName));
        EXPECT_EQ(observer.allAssociations().size(), 9U);
    }
    demo.signal(SIGTERM);

    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, 0));
    expectNothingLeft(demo);
}

TEST(DemoEnding, KeepsEverythingRunningForALookAtAFailureToo)
{
    const Copy copy("edge-small");
    copy.tamper("expected.json", [](sim::Json& json) { json["processors"].clear(); });
    RunningDemo demo("--keep --inventory " + copy.folder());
    ASSERT_TRUE(demo.waitFor(howToEnd + std::to_string(demo.pid()) + "\n")) << demo.output();
    demo.signal(SIGTERM);

    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(1, 0));
    expectNothingLeft(demo);
}

TEST(DemoEnding, KeepsEverythingRunningUntilCtrlC)
{
    RunningDemo demo("--keep", RunningDemo::Terminal());
    ASSERT_TRUE(demo.waitFor(howToEnd + std::to_string(demo.pid()) + "\r\n")) << demo.output();
    const std::size_t said = demo.output().size();
    demo.type("\x03");

    const std::string after = demo.rest().substr(said);
    EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, 0)) << after;
    EXPECT_EQ(after, "^C");
    expectNothingLeft(demo);
}

} // namespace
