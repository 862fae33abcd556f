// The demo as a person runs it: what it prints, and with which status it ends.

#include "demo_program.hpp"
#include "rig/log.hpp"
#include "sim/names.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <sstream>

namespace
{

namespace fs = std::filesystem;
using namespace demo;
using sim::Json;

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
    for (const char* name :
         {"two-socket-2u", "edge-small", "storage-24", "multi-segment", "awkward"})
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
          "both name slot 8 (Nic.Slot.8-1), both have identifier 8",
          "it inherits from the slot object above it, pcie_slot_08",
          "it takes the association of its twin below the board path",
          "both name slot 11 (Ahci.Slot.11-1)", "board/cpu2  Kov.Socket.2", "cpu1, socket CPU2",
          "processor / L3CacheHandle  cache5, handle 1797",
          "pcieslot23  none of 12 platform slots fits; nearest is pcie_bay_00_01: SlotID 163, "
          "PCIeLocatorInstanceNum 160: differ"})
    {
        EXPECT_TRUE(outcome.says(text)) << text << "\n" << outcome.output;
    }
}

TEST(Demo, SaysWhyNotInTheWordsOfTheEngine)
{
    const Outcome outcome = runDemo("--inventory awkward");

    for (const char* text : {"SlotID has type u, and the daemon reads q",
                             "PCIeFQDD \"Nic.Slots.7-1\": its second token, \"Slots\", is not SLOT",
                             "Socket \"CPU2\", TargetDevKey \"Kov.Socket.02\": differ"})
    {
        EXPECT_TRUE(outcome.says(text)) << text << "\n" << outcome.output;
    }
    // What the inventory's own file says of it is not shown.
    EXPECT_FALSE(outcome.says("the second part of its FQDD is Slots")) << outcome.output;
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
    copy.tamper("expected.json", [](Json& json) { json.erase("pcie"); });
    const Outcome lacking = runDemo("--inventory " + copy.folder());
    EXPECT_EQ(lacking.status, 1);
    EXPECT_TRUE(lacking.says("hwinv_demo: " + copy.folder() + "/expected.json: "))
        << lacking.output;
    EXPECT_FALSE(lacking.says("json.exception")) << lacking.output;

    fs::remove(fs::path(copy.folder()) / "smbios.json");
    EXPECT_EQ(runDemo("--inventory " + copy.folder()).status, 1);
}

TEST(Demo, RefusesAWrongCommandLine)
{
    for (const char* arguments :
         {"--inventory nosuch", "--nosuch", "--late nosuch", "--live --inventory edge-small"})
    {
        const Outcome outcome = runDemo(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments << outcome.output;
        EXPECT_TRUE(outcome.output.starts_with("hwinv_demo: ")) << arguments << outcome.output;
    }
}

TEST(Demo, SaysItsVersion)
{
    const Outcome outcome = runDemo("--version");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "hwinv_demo " PROJECT_VERSION "\n");
}

TEST(Demo, FailsWhenItsOutputCannotBeWritten)
{
    for (const char* arguments : {"", "--help", "--keep"})
    {
        const Outcome outcome = runDemo(std::string(arguments) + " >/dev/full");
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_EQ(outcome.output, "hwinv_demo: standard output cannot be written\n") << arguments;
    }
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
}

TEST(Demo, ShowsALateService)
{
    // Both at once: each waits five seconds for a resync.
    auto lateSmbios = std::async(std::launch::async, runDemo, "--late smbios");
    auto lateKovd = std::async(std::launch::async, runDemo, "--late kovd");
    for (auto* coming : {&lateSmbios, &lateKovd})
    {
        const Outcome outcome = coming->get();
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

/** The longest line, in characters. */
std::size_t widthOf(const std::string& output)
{
    std::istringstream lines(output);
    std::size_t width = 0;
    for (std::string line; std::getline(lines, line);)
    {
        width = std::max(width, line.find_last_not_of('\r') + 1);
    }
    return width;
}

TEST(Demo, FillsATerminalAndNoMore)
{
    for (const unsigned columns : {80U, 120U})
    {
        RunningDemo demo("", RunningDemo::Terminal{static_cast<unsigned short>(columns)});
        const std::string output = demo.rest();
        EXPECT_EQ(demo.waitForEnd(), W_EXITCODE(0, 0)) << output;
        EXPECT_LE(widthOf(output), columns) << output;
        EXPECT_GT(widthOf(output), columns - 10) << output;
        EXPECT_NE(output.find("NVMe"), std::string::npos) << output;
    }
}

TEST(Demo, CutsNothingWhenItIsPiped)
{
    EXPECT_GT(widthOf(runDemo("").output), 120U);
}

TEST(Demo, ShowsAMachineOfWhichNothingIsExpected)
{
    const Copy copy("two-socket-2u");
    fs::remove(fs::path(copy.folder()) / "expected.json");
    const Outcome outcome = runDemo("--inventory " + copy.folder());

    EXPECT_EQ(outcome.status, 0) << outcome.output;
    for (const char* text :
         {"both name slot 8 (Nic.Slot.8-1), both have identifier 8\n", "board/cpu2  Kov.Socket.2",
          "cache5, handle 1797\n",
          "chassis/motherboard/pcieslot23  none of 12 platform slots fits; nearest is ",
          "42 platform objects carry associations.\n"})
    {
        EXPECT_TRUE(outcome.says(text)) << text << "\n" << outcome.output;
    }
    EXPECT_FALSE(outcome.says("expected: ")) << outcome.output;
}

TEST(Demo, ShowsWhatThisDaemonWritesAndNotWhatACaptureHeld)
{
    const Copy copy("edge-small");
    copy.tamper("kovd-board.json",
                [](Json& json)
                {
                    Json& fan = json["data"][0][root + "board/fan1"];
                    fan[sim::names::associationDefinitions][sim::names::associations]["data"] = {
                        {"chassis", "pcieslot", root + "chassis/motherboard/pcieslot2"}};
                });
    const Outcome outcome = runDemo("--inventory " + copy.folder());

    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_FALSE(outcome.says("fan1")) << outcome.output;
}

} // namespace
