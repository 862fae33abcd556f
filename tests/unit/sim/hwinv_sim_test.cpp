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

    /** Runs it, expecting refusal; gives what it complained of. */
    string complaint(const vector<string>& arguments)
    {
        const Finished finished = run(arguments);
        EXPECT_EQ(finished.status, 1);
        EXPECT_EQ(finished.out, "");
        EXPECT_TRUE(finished.err.starts_with("hwinv_sim: ")) << finished.err;
        return finished.err;
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
    for (const int signal : {SIGTERM, SIGINT})
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
    EXPECT_NE(complaint({"fail", "Get=no name"}).find("'no name' is not an error name"),
              string::npos);
    EXPECT_NE(complaint({"delay", "Get"}).find("'' is not a number of milliseconds"), string::npos);
    EXPECT_NE(complaint({"hang", "Get*x"}).find("'x' is not a number of times"), string::npos);
    EXPECT_NE(complaint({"hang", "none:Get"}).find("no service is called 'none'"), string::npos);
    EXPECT_NE(complaint({"hang", "a b"}).find("'a b' in 'a b' is not a method name"), string::npos);
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
    EXPECT_NE(complaint({"add", below, "--from", folder / "none"}).find("cannot be read"),
              string::npos);
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
    EXPECT_NE(complaint({"set", slot1, kovdSlot, "P", "y", "256"}).find("out of range"),
              string::npos);
    EXPECT_NE(complaint({"set", slot1, kovdSlot, "P", "y", "{"}).find("the value '{'"),
              string::npos);
    EXPECT_NE(complaint({"add", below, "--json", R"({"x.y":{"P":{"type":"y"}}})"})
                  .find(R"(--json: x.y["P"]: field "data" is missing)"),
              string::npos);
    EXPECT_NE(complaint({"remove", below}).find("no object at " + below), string::npos);
}

TEST_F(HwinvSim, EmitsAnySignal)
{
    serve();
    Watcher watcher(bus.address());
    output({"emit", "kovd", boardRoot, objectManager, "InterfacesAdded", "os", R"(["/a","b"])"});
    const auto seen = watcher.waitFor("InterfacesAdded", 1);
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].signature, "os");
    EXPECT_NE(complaint({"emit", "kovd", "/a", "a.b", "C", "y", "[256]"}).find("out of range"),
              string::npos);
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

TEST_F(HwinvSim, SavesWhatItServes)
{
    serve();
    output({"capture", folder / "saved"});
    const auto saved = sim::readInventory(folder / "saved");
    EXPECT_EQ(saved.smbios, sim::makeInventory(2, 1).smbios);
    EXPECT_EQ(saved.kovd.size(), 7U);
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
    const string said = complaint({"serve", "--inventory", "none"});
    EXPECT_NE(said.find("no inventory 'none'"), string::npos);
    EXPECT_NE(said.find("two-socket-2u"), string::npos);
    EXPECT_EQ(output({"inventories"}), "awkward\nedge-small\ntwo-socket-2u\n");
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

TEST_F(HwinvSim, EndsWithStatusOneOnAWrongCommandLine)
{
    EXPECT_EQ(run({}).status, 1);
    EXPECT_EQ(run({"none"}).status, 1);
    EXPECT_EQ(run({"start", "none"}).status, 1);
    EXPECT_EQ(run({"add", below}).status, 1);
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_EQ(run({"serve", "--help"}).status, 0);
}

TEST_F(HwinvSim, RunsAPrivateBus)
{
    RunningProgram other(bus.address(), {HWINV_SIM, "bus"});
    const string prefix = "DBUS_SYSTEM_BUS_ADDRESS=";
    ASSERT_TRUE(other.firstLine().starts_with(prefix));
    Watcher watcher(other.firstLine().substr(prefix.size()));
    EXPECT_EQ(watcher.ownerOf(kovdService), "");
    EXPECT_EQ(other.end(SIGTERM), 0);
}

} // namespace
