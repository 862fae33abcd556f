#include "../hwinv_sim/inventory_folder.hpp"
#include "../hwinv_sim/own_file.hpp"
#include "../hwinv_sim/serve.hpp"
#include "background.hpp"
#include "expectation.hpp"
#include "report.hpp"
#include "scene.hpp"
#include "sim/error.hpp"
#include "story.hpp"
#include "unpaired.hpp"

#include <CLI/CLI.hpp>

#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace
{

struct Options
{
    std::string inventory = "two-socket-2u";
    std::string daemon = hwinv_sim::ownFile(BUILT_DAEMON, INSTALLED_DAEMON);
    std::string log;
    std::string late;
    bool live = false;
    bool keep = false;
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

/** Prints what is on the bus and compares it with what is expected; true when they agree. */
bool report(hwinv_demo::Scene& scene, const hwinv_demo::Expectation& expected)
{
    const auto facts = hwinv_demo::readFacts(scene.observer());
    hwinv_demo::printReport(std::cout, facts, expected);
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

bool show(hwinv_demo::Scene& scene, const Options& options, const hwinv_demo::Expectation& expected)
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
    bool good = report(scene, expected);
    if (options.live)
    {
        const int failed = hwinv_demo::playStory(scene, std::cout);
        std::cout << "\n"
                  << (failed == 0 ? "The story went as told.\n" : "The story went WRONG.\n");
        good = good && failed == 0;
    }
    std::cout << std::flush;
    return good;
}

/** Leaves all running until somebody ends this process. */
int keepRunning(hwinv_demo::Scene& scene, hwinv_demo::Background& background, int status)
{
    std::cout << "\nAll of it keeps running. Look around with busctl, play with hwinv_sim:\n\n"
              << "  export DBUS_SYSTEM_BUS_ADDRESS=" << scene.address() << "\n"
              << "  busctl tree com.vexa.bmc.kovd\n"
              << "  " << hwinv_sim::ownFile("build/tools/hwinv_sim/hwinv_sim", "hwinv_sim")
              << " list\n\n"
              << "End it with: kill " << getpid() << "\n"
              << std::flush;
    background.release(status);
    hwinv_sim::serveControl(scene.address(), scene.simulator());
    return status;
}

int run(const Options& options)
{
    const auto folder = hwinv_sim::findInventory(options.inventory);
    const auto expected = hwinv_demo::readExpectation(folder / "expected.json");
    if (options.live && folder.filename() != "two-socket-2u")
    {
        throw sim::Error("--live tells the story of the inventory two-socket-2u");
    }
    sim::InventoryCapture inventory = sim::readInventory(folder);

    hwinv_demo::Background background;
    if (options.keep)
    {
        if (const auto status = background.enter())
        {
            return *status;
        }
    }
    hwinv_demo::Scene scene(std::move(inventory), options.daemon, options.log);
    const int status = show(scene, options, expected) ? 0 : 1;
    return options.keep ? keepRunning(scene, background, status) : status;
}

} // namespace

int main(int argc, char** argv)
try
{
    Options options;
    CLI::App app{"Shows the daemon at work on a private bus, with both services simulated."};
    app.add_option("--inventory", options.inventory, "Name or folder of an inventory")
        ->capture_default_str();
    app.add_option("--late", options.late, "Start this service after the daemon")
        ->check(CLI::IsMember({"smbios", "kovd"}));
    app.add_flag("--live", options.live, "Then play a story: cards and records come and go");
    app.add_flag("--keep", options.keep, "Leave everything running");
    app.add_option("--log", options.log, "Write the daemon's log, all of it, to this file");
    app.add_option("--daemon", options.daemon, "The daemon's program");
    CLI11_PARSE(app, argc, argv);
    return run(options);
}
catch (const std::exception& e)
{
    std::cerr << "hwinv_demo: " << e.what() << "\n";
    return 1;
}
