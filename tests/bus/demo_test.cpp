// The demo as a person runs it: what it prints, and above all how it ends.

#include "kit/bus_test.hpp"
#include "sim/value.hpp"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/wait.h>
#include <thread>

namespace
{

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using sim::Json;

struct Outcome
{
    int status = -1;
    std::string output;

    bool says(const std::string& text) const
    {
        return output.find(text) != std::string::npos;
    }
};

/** Runs the demo and reads all that it prints. */
Outcome runDemo(const std::string& arguments)
{
    const std::string command = std::string(DEMO) + " " + arguments + " 2>&1";
    Outcome outcome;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
    {
        return outcome;
    }
    std::array<char, 4096> buffer;
    while (const std::size_t got = fread(buffer.data(), 1, buffer.size(), pipe))
    {
        outcome.output.append(buffer.data(), got);
    }
    const int status = pclose(pipe);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

/** A copy of an inventory that a test may tamper with. */
class Copy
{
  public:
    explicit Copy(const std::string& name)
    {
        std::string folder = (fs::temp_directory_path() / "demo-test-XXXXXX").string();
        folder_ = mkdtemp(folder.data());
        fs::copy(fs::path(INVENTORIES) / name, folder_, fs::copy_options::recursive);
    }
    ~Copy()
    {
        fs::remove_all(folder_);
    }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;

    void tamper(const std::string& file, const std::function<void(Json&)>& change) const
    {
        std::ifstream in(folder_ / file);
        Json json = Json::parse(in);
        change(json);
        std::ofstream(folder_ / file) << json;
    }

    std::string folder() const
    {
        return folder_.string();
    }

  private:
    fs::path folder_;
};

/** The inventory is not as expected, and the demo says why. */
void expectFailure(const Copy& copy, const std::string& reason)
{
    const Outcome outcome = runDemo("--inventory " + copy.folder());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(outcome.says("NOT AS EXPECTED: ")) << outcome.output;
    EXPECT_TRUE(outcome.says(reason)) << outcome.output;
}

const std::string root = "/xyz/openbmc_project/inventory/system/";

TEST(Demo, ShowsEachInventory)
{
    for (const char* name : {"two-socket-2u", "edge-small", "awkward"})
    {
        const Outcome outcome = runDemo(std::string("--inventory ") + name);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_TRUE(outcome.says("As expected: ")) << outcome.output;
    }
}

TEST(Demo, SaysWhoIsPairedAndWhy)
{
    const Outcome outcome = runDemo("");

    EXPECT_EQ(outcome.status, 0);
    for (const char* text :
         {"pcieslot8  \"NIC Riser Slot 8\", id 8 ", "board/pcie_slot_08 ",
          "FQDD Nic.Slot.8-1, slot id 8", "device in pcie_slot_08, FQDD Nic.Slot.8-1-1",
          "same name as its slot on the board", "FQDD Ahci.Slot.11-1", "board/cpu2  Kov.Socket.2",
          "cpu1, socket CPU2", "processor / L3CacheHandle  cache5, handle 1797",
          "an empty drive bay that the platform does not report"})
    {
        EXPECT_TRUE(outcome.says(text)) << text << "\n" << outcome.output;
    }
}

TEST(Demo, FailsWhenAListIsNotTheExpectedOne)
{
    const Copy copy("edge-small");
    copy.tamper("expected.json", [](Json& json)
                { json["pcie"][root + "board/pcie_slot_1"][0][2] = root + "elsewhere"; });

    expectFailure(copy, "board/pcie_slot_1: [[\"chassis\",\"pcieslot\",\"" + root +
                            "chassis/motherboard/pcieslot1\"]] instead of ");
}

TEST(Demo, FailsWhenAListIsMissing)
{
    const Copy copy("edge-small");
    copy.tamper("kovd-board.json",
                [](Json& json) { json["data"][0].erase(root + "board/pcie_slot_1"); });

    expectFailure(copy, "board/pcie_slot_1: nothing instead of ");
}

TEST(Demo, FailsWhenAListIsOneTooMany)
{
    const Copy copy("edge-small");
    copy.tamper("expected.json", [](Json& json) { json["processors"].erase(root + "board/cpu1"); });

    expectFailure(copy, "]] instead of nothing");
}

TEST(Demo, FailsWhenAnObjectHasNoPartnerUnexpectedly)
{
    const Copy copy("two-socket-2u");
    copy.tamper("expected.json", [](Json& json) { json["unpairedSmbios"].clear(); });

    expectFailure(copy, "pcieslot23: no partner, and no reason why");
}

TEST(Demo, FailsWhenAnObjectHasAPartnerUnexpectedly)
{
    const Copy copy("edge-small");
    copy.tamper("expected.json", [](Json& json)
                { json["unpairedPlatform"][root + "board/cpu1"] = "it is too old"; });

    expectFailure(copy, "board/cpu1: a partner in spite of: it is too old");
}

TEST(Demo, FailsOnWhatItCannotRead)
{
    const Copy copy("edge-small");
    fs::remove(fs::path(copy.folder()) / "expected.json");

    EXPECT_EQ(runDemo("--inventory " + copy.folder()).status, 1);
    EXPECT_EQ(runDemo("--inventory nosuch").status, 1);
    EXPECT_NE(runDemo("--nosuch").status, 0);
}

TEST(Demo, FailsWithoutADaemon)
{
    const Outcome ended = runDemo("--daemon /bin/true");
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(ended.says("the daemon has ended: it said nothing")) << ended.output;
    EXPECT_EQ(runDemo("--daemon /nonexistent").status, 1);
}

TEST(Demo, TellsItsStory)
{
    const Outcome outcome = runDemo("--live");

    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_TRUE(outcome.says("The story went as told.")) << outcome.output;
    EXPECT_TRUE(outcome.says("board/pcie_slot_01: nothing")) << outcome.output;
    EXPECT_EQ(runDemo("--live --inventory edge-small").status, 1);
}

TEST(Demo, ShowsALateService)
{
    for (const char* service : {"smbios", "kovd"})
    {
        const Outcome outcome = runDemo(std::string("--late ") + service);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_TRUE(outcome.says("Platform objects with associations: 0\n")) << outcome.output;
        EXPECT_TRUE(outcome.says("The resync is done.")) << outcome.output;
    }
}

TEST(Demo, KeepsTheDaemonsLogOnRequest)
{
    const Copy copy("edge-small");
    const std::string log = copy.folder() + "/daemon.log";
    EXPECT_EQ(runDemo("--inventory edge-small --log " + log).status, 0);

    std::ifstream stream(log);
    std::string first;
    std::getline(stream, first);
    EXPECT_EQ(rig::parseLogLine(first).text, "starting new process");
}

/** The rest of the line behind `label`. */
std::string behind(const std::string& output, const std::string& label)
{
    const std::size_t start = output.find(label);
    if (start == std::string::npos)
    {
        return "";
    }
    const std::size_t begin = start + label.size();
    return output.substr(begin, output.find('\n', begin) - begin);
}

/** Waits until nobody can connect to a bus any more; false when the time runs out. */
bool waitUntilGone(const std::string& address)
{
    const auto deadline = sim::Clock::now() + kit::patience;
    while (sim::Clock::now() < deadline)
    {
        try
        {
            rig::Observer observer(address);
            observer.ownerOf(rig::daemonName);
        }
        catch (const sim::BusError&)
        {
            return true;
        }
        std::this_thread::sleep_for(2ms); // nobody tells when a socket has gone
    }
    return false;
}

TEST(Demo, LeavesEverythingRunningUntilItIsEnded)
{
    const Outcome outcome = runDemo("--keep --inventory edge-small");
    ASSERT_EQ(outcome.status, 0) << outcome.output;
    const std::string address = behind(outcome.output, "export DBUS_SYSTEM_BUS_ADDRESS=");
    const pid_t keeper = std::stoi(behind(outcome.output, "End it with: kill "));
    {
        rig::Observer observer(address);
        EXPECT_NO_THROW(observer.ping(rig::daemonName));
        EXPECT_EQ(observer.allAssociations().size(), 9u);
    }
    ASSERT_EQ(kill(keeper, SIGTERM), 0);

    EXPECT_TRUE(waitUntilGone(address));
}

TEST(Demo, LeavesEverythingRunningForALookAtAFailureToo)
{
    const Copy copy("edge-small");
    copy.tamper("expected.json", [](Json& json) { json["processors"].clear(); });
    const Outcome outcome = runDemo("--keep --inventory " + copy.folder());

    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(kill(std::stoi(behind(outcome.output, "End it with: kill ")), SIGTERM), 0);
}

} // namespace
