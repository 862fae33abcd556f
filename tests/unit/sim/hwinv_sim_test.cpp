#include "program.hpp"
#include "sim/bus.hpp"
#include "sim/capture.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"
#include "watcher.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <signal.h>
#include <string>
#include <vector>

namespace
{

namespace fs = std::filesystem;
using namespace sim::names;
using sim::Json;
using std::string;
using std::vector;

const string slot1 = sim::kovdSlotPath(1);
const string below = string(boardRoot) + "/thing";
const string some = R"({"x.y":{"P":{"type":"y","data":1}}})";

/** A bus, a folder, and hwinv_sim on them. */
class HwinvSim : public testing::Test
{
  protected:
    HwinvSim()
    {
        string name = testing::TempDir() + "hwinv-sim-XXXXXX";
        folder = mkdtemp(name.data());
        sim::writeInventory(folder / "small", sim::makeInventory(2, 1));
    }
    ~HwinvSim() override
    {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    Finished run(vector<string> arguments)
    {
        arguments.insert(arguments.begin(), HWINV_SIM);
        return runProgram(bus.address(), arguments);
    }

    /** Runs it, expecting success; gives what it printed. */
    string output(const vector<string>& arguments)
    {
        const Finished finished = run(arguments);
        EXPECT_EQ(finished.status, 0) << finished.err;
        return finished.out;
    }

    /** Runs it, expecting failure; gives what it complained of. */
    string complaint(const vector<string>& arguments, int status = 1)
    {
        const Finished finished = run(arguments);
        EXPECT_EQ(finished.status, status) << finished.err;
        EXPECT_EQ(finished.out, "");
        EXPECT_TRUE(finished.err.starts_with("hwinv_sim: ")) << finished.err;
        return finished.err;
    }

    /** Runs it with a command line that it refuses. */
    string refusal(const vector<string>& arguments)
    {
        return complaint(arguments, 2);
    }

    void serve(vector<string> more = {})
    {
        vector<string> command{HWINV_SIM, "serve", "--inventory", folder / "small"};
        command.insert(command.end(), more.begin(), more.end());
        served.emplace(bus.address(), command);
    }

    sim::PrivateBus bus;
    fs::path folder;
    std::optional<RunningProgram> served;
};

TEST_F(HwinvSim, SaysWhenItIsReadyAndEndsOnSignals)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
    {
        serve();
        EXPECT_EQ(served->firstLine(),
                  "ready: 6 SMBIOS objects, 7 platform objects on " + bus.address());
        Watcher watcher(bus.address());
        EXPECT_EQ(watcher.managedObjects(smbiosService, smbiosRoot).body[0].size(), 6U);
        EXPECT_EQ(watcher.managedObjects(kovdService, boardRoot).body[0].size(), 5U);
        EXPECT_EQ(served->end(signal), 0);
        EXPECT_TRUE(watcher.waitUntilFree("com.vexa.hwinv.Simulator"));
    }
}

TEST_F(HwinvSim, EndsWithStatusOneWhenTheBusIsGone)
{
    serve();
    bus.kill();
    EXPECT_EQ(served->end(0), 1);
}

TEST_F(HwinvSim, PlaysOneServiceOnly)
{
    serve({"--only", "smbios"});
    Watcher watcher(bus.address());
    EXPECT_NE(watcher.ownerOf(smbiosService), "");
    EXPECT_EQ(watcher.ownerOf(kovdService), "");
}

TEST_F(HwinvSim, StartsAServiceLate)
{
    serve({"--stopped", "kovd"});
    Watcher watcher(bus.address());
    EXPECT_EQ(watcher.ownerOf(kovdService), "");
    output({"start", "kovd"});
    EXPECT_NE(watcher.ownerOf(kovdService), "");
    output({"stop", "kovd"});
    EXPECT_EQ(watcher.ownerOf(kovdService), "");
    EXPECT_TRUE(output({"list"}).starts_with("kovd (stopped)\n"));
}

TEST_F(HwinvSim, BeginsWithFaults)
{
    serve({"--fail", "kovd:GetManagedObjects*1=com.example.Broken", "--delay",
           "smbios:GetManagedObjects=1"});
    Watcher watcher(bus.address());
    EXPECT_EQ(watcher.managedObjects(kovdService, boardRoot).error, "com.example.Broken");
    EXPECT_EQ(watcher.managedObjects(kovdService, boardRoot).error, "");
    EXPECT_EQ(watcher.managedObjects(smbiosService, smbiosRoot).error, "");
}

TEST_F(HwinvSim, SpoilsCallsOnRequestUntilHealed)
{
    serve();
    Watcher watcher(bus.address());
    output({"fail", "Get@" + slot1});
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeFQDD").error, failed);
    output({"heal"});
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeFQDD").error, "");
}

TEST_F(HwinvSim, RefusesAFaultThatMakesNoSense)
{
    serve();
    const struct
    {
        const char* kind;
        const char* text;
        const char* said;
    } wrong[] = {
        {"fail", "Get=no name",
         "'no name' is not an error name such as org.freedesktop.DBus.Error.Failed"},
        {"fail", "Get=", "'' is not an error name such as org.freedesktop.DBus.Error.Failed"},
        {"fail", "Get*0", "'0' is not a number of times, which is 1 at least"},
        {"fail", "Get*-1", "'-1' is not a number of times, which is 1 at least"},
        {"fail", "Get*99999999999", "'99999999999' is not a number of times, which is 1 at least"},
        {"hang", "Get*", "'' is not a number of times, which is 1 at least"},
        {"hang", "Get*x", "'x' is not a number of times, which is 1 at least"},
        {"hang", "Get=3", "a hang takes no value such as '3'; *TIMES says how many calls"},
        {"hang", "Get@", "'' in 'Get@' is not an object path"},
        {"hang", "Get@x", "'x' in 'Get@x' is not an object path"},
        {"hang", "a b", "'a b' in 'a b' is not a method name"},
        {"hang", "none:Get", "no service is called 'none': smbios, kovd"},
        {"delay", "Get", "'' is not a number of milliseconds"},
        {"delay", "Get=1.5", "'1.5' is not a number of milliseconds"},
    };
    for (const auto& [kind, text, said] : wrong)
    {
        EXPECT_EQ(refusal({kind, text}), string("hwinv_sim: ") + said + "\n");
        EXPECT_EQ(refusal({"serve", "--inventory", folder / "small", string("--") + kind, text}),
                  string("hwinv_sim: ") + said + "\n");
    }
}

TEST_F(HwinvSim, AddsChangesAndRemovesObjects)
{
    serve();
    Watcher watcher(bus.address());
    output({"add", below, "--json", some});
    ASSERT_EQ(watcher.waitFor("InterfacesAdded", 1).size(), 1U);
    output({"set", below, "x.y", "P", "y", "7"});
    const auto changed = watcher.waitFor("PropertiesChanged", 1);
    ASSERT_EQ(changed.size(), 1U);
    EXPECT_EQ(changed[0].body[1]["P"]["data"], 7);
    output({"set", below, "x.y", "P", "s", "plain text"});
    EXPECT_EQ(watcher.get(kovdService, below, "x.y", "P").body[0]["data"], "plain text");
    output({"remove", below, "x.y"});
    ASSERT_EQ(watcher.waitFor("InterfacesRemoved", 1).size(), 1U);
    EXPECT_EQ(watcher.get(kovdService, below, "x.y", "P").error, unknownObject);
}

TEST_F(HwinvSim, AddsAnObjectOutOfACapture)
{
    serve();
    Watcher watcher(bus.address());
    output({"remove", slot1});
    output({"add", slot1, "--from", folder / "small" / boardFile});
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeFQDD").error, "");
    EXPECT_NE(complaint({"add", below, "--from", folder / "small" / boardFile})
                  .find(below + ": no such object in this capture"),
              string::npos);
    EXPECT_EQ(complaint({"add", below, "--from", folder / "none"}),
              "hwinv_sim: " + (folder / "none").string() +
                  ": cannot be read: No such file or directory\n");
    EXPECT_EQ(complaint({"add", below, "--from", folder / "small"}),
              "hwinv_sim: " + (folder / "small").string() + ": cannot be read: not a file\n");
}

TEST_F(HwinvSim, AsksWhoseObjectItIsWhenThatIsOpen)
{
    serve();
    const string path = string(chassisRoot) + "/thing";
    EXPECT_NE(complaint({"add", path, "--json", some}).find("say --service"), string::npos);
    output({"add", path, "--json", some, "--service", "smbios"});
    output({"set", path, "x.y", "P", "y", "2"});
    Watcher watcher(bus.address());
    EXPECT_EQ(watcher.get(smbiosService, path, "x.y", "P").body[0]["data"], 2);
}

TEST_F(HwinvSim, SaysWhatIsWrongWithARequest)
{
    serve();
    EXPECT_NE(complaint({"set", "/none", "x.y", "P", "y", "1", "--service", "kovd"})
                  .find("no object at /none"),
              string::npos);
    EXPECT_NE(complaint({"remove", below}).find("no object at " + below), string::npos);
}

TEST_F(HwinvSim, NamesTheArgumentThatIsWrong)
{
    serve();
    const struct
    {
        vector<string> arguments;
        string said;
    } wrong[] = {
        {{"set", "none", "x.y", "P", "y", "1"}, "PATH: 'none' is not an object path"},
        {{"set", slot1, "xy", "P", "y", "1"}, "INTERFACE: 'xy' is not an interface name"},
        {{"set", slot1, "x.y", "P-", "y", "1"}, "PROPERTY: 'P-' is not a property name"},
        {{"set", slot1, "x.y", "P", "yy", "1"}, "TYPE: 'yy' is not one complete type"},
        {{"set", slot1, "x.y", "P", "y", "256"}, "VALUE: 256 is out of range for type 'y'"},
        {{"set", slot1, "x.y", "P", "as", "[1]"},
         "VALUE[0]: expected a text for type 's', found number"},
        {{"set", slot1, "x.y", "P", "o", "none"}, "VALUE: 'none' is not an object path"},
        {{"set", slot1, "x.y", "P", "s", "\xff"}, "VALUE: not valid UTF-8"},
        {{"set", slot1, "x.y", "P", "y", "{"},
         "VALUE: line 1, column 2: syntax error while parsing object key - unexpected end of "
         "input; "
         "expected string literal"},
        {{"add", "none", "--json", some}, "PATH: 'none' is not an object path"},
        {{"add", below, "--json", R"({"x.y":{"P":{"type":"y"}}})"},
         R"(--json: x.y["P"]: field "data" is missing)"},
        {{"add", below, "--json", "["},
         "--json: line 1, column 2: syntax error while parsing value - unexpected end of input; "
         "expected '[', '{', or a literal"},
        {{"remove", "none"}, "PATH: 'none' is not an object path"},
        {{"remove", slot1, "a b"}, "INTERFACE: 'a b' is not an interface name"},
        {{"emit", "kovd", "none", "a.b", "C", "y", "[1]"}, "PATH: 'none' is not an object path"},
        {{"emit", "kovd", "/a", "a", "C", "y", "[1]"}, "INTERFACE: 'a' is not an interface name"},
        {{"emit", "kovd", "/a", "a.b", "C-", "y", "[1]"}, "MEMBER: 'C-' is not a signal name"},
        {{"emit", "kovd", "/a", "a.b", "C", "Y", "[1]"}, "SIGNATURE: 'Y' is not a signature"},
        {{"emit", "kovd", "/a", "a.b", "C", "y", "[1,2]"},
         "BODY: expected a list of 1 values for 'y'"},
        {{"emit", "kovd", "/a", "a.b", "C", "y", "[256]"},
         "BODY[0]: 256 is out of range for type 'y'"},
    };
    for (const auto& [arguments, said] : wrong)
    {
        EXPECT_EQ(refusal(arguments), "hwinv_sim: " + said + "\n");
    }
}

TEST_F(HwinvSim, EmitsAnySignal)
{
    serve();
    Watcher watcher(bus.address());
    output({"emit", "kovd", boardRoot, objectManager, "InterfacesAdded", "os", R"(["/a","b"])"});
    const auto seen = watcher.waitFor("InterfacesAdded", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].signature, "os");
}

TEST_F(HwinvSim, ListsWhatIsAssociated)
{
    serve();
    Watcher watcher(bus.address());
    watcher.set(kovdService, slot1, associationDefinitions, associations,
                sim::Value::associations({{"chassis", "pcieslot", "/slot"}}));
    EXPECT_NE(output({"list"}).find("  " + slot1 + "\n    chassis / pcieslot -> /slot\n"),
              string::npos);
    EXPECT_EQ(output({"sets", "kovd"}),
              "accepted " + slot1 + R"( Associations [["chassis","pcieslot","/slot"]])" + "\n");
}

TEST_F(HwinvSim, RefusesAMalformedCaptureWithFilePlaceAndReason)
{
    const fs::path file = folder / "small" / boardFile;
    std::ofstream(file) << R"({"type":"a{oa{sa{sv}}}","data":[{"/a":5}]})";
    EXPECT_EQ(complaint({"serve", "--inventory", folder / "small"}),
              "hwinv_sim: " + file.string() +
                  ": data[0][\"/a\"]: expected a dictionary for type 'a{sa{sv}}', found number\n");
}

TEST_F(HwinvSim, RefusesAnUnknownInventory)
{
    const string said = refusal({"serve", "--inventory", "none"});
    EXPECT_NE(said.find("no inventory 'none'"), string::npos);
    EXPECT_NE(said.find("two-socket-2u"), string::npos);
    EXPECT_EQ(output({"inventories"}),
              "awkward\nedge-small\nmulti-segment\nstorage-24\ntwo-socket-2u\n");
}

TEST_F(HwinvSim, RefusesASecondSimulatorOnTheBus)
{
    serve();
    EXPECT_NE(complaint({"serve", "--inventory", folder / "small"}).find("another simulator"),
              string::npos);
}

TEST_F(HwinvSim, SaysThatNoSimulatorRuns)
{
    EXPECT_NE(complaint({"list"}).find("com.vexa.hwinv.Simulator"), string::npos);
}

TEST_F(HwinvSim, EndsWithStatusTwoOnAWrongCommandLine)
{
    EXPECT_EQ(run({"start", "none"}).status, 2);
    EXPECT_EQ(run({"add", below}).status, 2);
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_EQ(run({"serve", "--help"}).status, 0);
}

TEST_F(HwinvSim, NamesTheVerbThatItDoesNotKnow)
{
    EXPECT_TRUE(refusal({"lst"}).starts_with("hwinv_sim: 'lst' is no command: serve, bus, "));
    EXPECT_TRUE(refusal({}).starts_with("hwinv_sim: a command is missing: serve, bus, "));
    EXPECT_TRUE(refusal({"--none"}).starts_with("hwinv_sim: '--none' is no option\n"));
}

TEST_F(HwinvSim, SaysItsVersion)
{
    EXPECT_EQ(output({"--version"}), "hwinv_sim " PROJECT_VERSION "\n");
}

TEST_F(HwinvSim, FailsWhenItsOutputCannotBeWritten)
{
    const string command = string("exec ") + HWINV_SIM + " inventories >/dev/full";
    const Finished finished = runProgram(bus.address(), {"/bin/sh", "-c", command});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(finished.err, "hwinv_sim: standard output cannot be written\n");
}

TEST_F(HwinvSim, TakesNoBusThatNobodyNamed)
{
    const string command = string("unset DBUS_SYSTEM_BUS_ADDRESS; exec ") + HWINV_SIM +
                           " serve --inventory edge-small";
    const Finished finished = runProgram(bus.address(), {"/bin/sh", "-c", command});
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.err, "hwinv_sim: no bus is named: give --address, or set "
                            "DBUS_SYSTEM_BUS_ADDRESS to what 'hwinv_sim bus' prints; --system is "
                            "for this machine's own\n");
}

TEST_F(HwinvSim, TakesTheMachinesOwnBusOnlyWhenItIsTold)
{
    const string own = "unix:path=/var/run/dbus/system_bus_socket";
    EXPECT_EQ(refusal({"list", "--address", own}),
              "hwinv_sim: '" + own + "' is this machine's own bus: that takes --system\n");
    EXPECT_EQ(runProgram(own, {HWINV_SIM, "list"}).status, 2);
    EXPECT_EQ(refusal({"list", "--system", "--address", own}),
              "hwinv_sim: --address excludes --system\nSee hwinv_sim --help.\n");
    serve();
    EXPECT_TRUE(output({"list", "--system"}).starts_with("kovd (running)\n")); // the variable's
}

TEST_F(HwinvSim, RunsAPrivateBus)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
    {
        const fs::path temporary = folder / "temporary folder";
        fs::create_directory(temporary);
        const string command = "TMPDIR='" + temporary.string() + "' exec " + HWINV_SIM + " bus";
        RunningProgram other(bus.address(), {"/bin/sh", "-c", command});
        const string prefix = "DBUS_SYSTEM_BUS_ADDRESS=";
        ASSERT_TRUE(other.firstLine().starts_with(prefix));
        Watcher watcher(other.firstLine().substr(prefix.size()));
        EXPECT_EQ(watcher.ownerOf(kovdService), "");
        EXPECT_EQ(other.end(signal), 0);
        EXPECT_TRUE(fs::is_empty(temporary));
    }
}

} // namespace
