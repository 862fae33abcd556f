#include "../hwinv_sim/inventory_folder.hpp"
#include "../hwinv_sim/own_file.hpp"
#include "../hwinv_sim/serve.hpp"
#include "expectation.hpp"
#include "guard.hpp"
#include "program/program.hpp"
#include "report.hpp"
#include "scene.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"
#include "story.hpp"
#include "table.hpp"
#include "unpaired.hpp"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

constexpr const char* name = "hwinv_demo";
constexpr const char* expectationFile = "expected.json";

struct Options
{
    std::string inventory = "two-socket-2u";
    std::string daemon = hwinv_sim::ownFile(BUILT_DAEMON, INSTALLED_DAEMON);
    std::string log;
    std::string late;
    bool live = false;
    bool keep = false;
};

struct Show
{
    sim::InventoryCapture inventory;

    /** A machine that somebody captured has none. */
    std::optional<hwinv_demo::Expectation> expected;
};

/** All that is on the bus and not expected, or the other way round. */
std::vector<std::string> allDifferences(const hwinv_demo::Expectation& expected,
                                        const hwinv_demo::Facts& facts)
{
    using namespace hwinv_demo;
    auto lines = differences(expected, facts.associations);
    for (const auto& more :
         {differences(expected.unpairedPlatform, unpairedPlatform(facts.kovd, facts.associations)),
          differences(expected.unpairedSmbios, unpairedSmbios(facts.smbios, facts.associations))})
    {
        lines.insert(lines.end(), more.begin(), more.end());
    }
    return lines;
}

/** Prints what is not as expected; true when there is nothing of the kind. */
bool printVerdict(const hwinv_demo::Facts& facts, const hwinv_demo::Expectation& expected)
{
    const auto wrong = allDifferences(expected, facts);
    for (const std::string& line : wrong)
    {
        std::cout << "\nNOT AS EXPECTED: " << line << "\n";
    }
    const std::size_t objects = expected.pcie.size() + expected.processors.size();
    std::cout << "\n"
              << (wrong.empty() ? "As expected: " : "NOT as expected: ")
              << facts.associations.size() << " platform objects carry associations, " << objects
              << " should.\n";
    return wrong.empty();
}

/** Prints what is on the bus; false when it is not what the inventory expects. */
bool report(hwinv_demo::Scene& scene, const Show& show)
{
    const auto facts = hwinv_demo::readFacts(scene.address());
    const std::size_t columns = hwinv_demo::terminalColumns(STDOUT_FILENO);
    hwinv_demo::printReport(std::cout, facts, show.expected.value_or(hwinv_demo::Expectation()),
                            columns);
    if (show.expected)
    {
        return printVerdict(facts, *show.expected);
    }
    std::cout << "\n"
              << facts.associations.size() << " platform objects carry associations.\n"
              << "The inventory has no expected.json, so nobody knows how many should.\n";
    return true;
}

bool play(hwinv_demo::Scene& scene, const Options& options, const Show& show)
{
    if (options.late.empty())
    {
        scene.smbios().start();
        scene.kovd().start();
        scene.startDaemon();
        scene.settle();
    }
    else
    {
        hwinv_demo::startLate(scene, options.late, std::cout);
    }
    bool good = report(scene, show);
    if (options.live)
    {
        const int wrong = hwinv_demo::playStory(scene, std::cout);
        std::cout << "\n" << (wrong == 0 ? "The story went as told.\n" : "The story went WRONG.\n");
        good = good && wrong == 0;
    }
    program::finishOutput();
    return good;
}

/** Leaves all running until somebody ends it. */
int keepRunning(hwinv_demo::Scene& scene, const hwinv_demo::Guard& guard, int status)
{
    guard.stay(status); // before anybody can have read how to end it: a terminal gets line by line
    std::cout << "\nAll of it keeps running. From another terminal, look around with busctl or\n"
                 "play with hwinv_sim:\n\n"
              << "  export DBUS_SYSTEM_BUS_ADDRESS='" << scene.address() << "'\n"
              << "  busctl tree com.vexa.bmc.kovd\n"
              << "  " << hwinv_sim::ownFile("build/tools/hwinv_sim/hwinv_sim", "hwinv_sim")
              << " list\n\n"
              << "Ctrl-C ends it here. From there,\n"
              << "End it with: kill " << getppid() << "\n";
    program::finishOutput();
    hwinv_sim::serveControl(scene.address(), scene.simulator());
    return status;
}

/** A machine that is captured while a daemon runs has lists already. Here they start empty, so
 *  that what is shown is what this daemon writes. */
void emptyLists(sim::Objects& platform)
{
    namespace names = sim::names;
    for (auto& [path, interfaces] : platform)
    {
        const auto definitions = interfaces.find(names::associationDefinitions);
        if (definitions != interfaces.end())
        {
            definitions->second[names::associations] = sim::Value::associations({});
        }
    }
}

/** What is to be shown, read before anything is started. */
Show prepare(const Options& options)
{
    const auto folder = hwinv_sim::findInventory(options.inventory);
    if (options.live && folder.filename() != "two-socket-2u")
    {
        throw sim::UsageError("--live tells the story of the inventory two-socket-2u");
    }
    Show show{sim::readInventory(folder), std::nullopt};
    emptyLists(show.inventory.kovd);
    if (std::filesystem::exists(folder / expectationFile))
    {
        show.expected = hwinv_demo::readExpectation(folder / expectationFile);
    }
    return show;
}

int run(const Options& options)
{
    const Show show = prepare(options);
    const auto work = [&](const hwinv_demo::Guard& guard)
    {
        hwinv_demo::Scene scene(guard.folder(), show.inventory, options.daemon, options.log);
        const int status = play(scene, options, show) ? program::done : program::failed;
        return options.keep ? keepRunning(scene, guard, status) : status;
    };
    return hwinv_demo::runGuarded([&](const hwinv_demo::Guard& guard)
                                  { return program::run(name, [&] { return work(guard); }); });
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app("Shows the daemon at work on a private bus, with both services simulated.", name);
    app.add_option("--inventory", options.inventory, "Name or folder of an inventory")
        ->capture_default_str();
    app.add_option("--late", options.late, "Start this service after the daemon")
        ->check(CLI::IsMember({"smbios", "kovd"}));
    app.add_flag("--live", options.live, "Then play a story: cards and records come and go");
    app.add_flag("--keep", options.keep, "Leave everything running until Ctrl-C");
    app.add_option("--log", options.log, "Write the daemon's log, all of it, to this file");
    app.add_option("--daemon", options.daemon, "The daemon's program");
    const auto work = [&]
    {
        const auto answered = program::readCommandLine(app, argc, argv);
        return answered ? *answered : run(options);
    };
    return program::run(name, work);
}
