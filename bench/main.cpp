// hwinv_bench: the daemon measured against the least that any program could do, side by side on one
// bus. scripts/bench builds and runs it.

#include "measures.hpp"
#include "program/program.hpp"
#include "sim/document.hpp"
#include "sim/error.hpp"

#include <CLI/CLI.hpp>

#include <array>
#include <cmath>
#include <fstream>
#include <iostream>
#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace
{

using bench::Figures;

struct Group
{
    const char* name;
    void (*measure)(Figures&);
};

constexpr std::array groups{
    Group{"events", bench::measureEvents},
    Group{"bursts", bench::measureBursts},
    Group{"instructions", bench::measureInstructions},
    Group{"start", bench::measureStartUps},
    Group{"engine", bench::measureEngine},
    Group{"idle", bench::measureIdleness},
    Group{"residence", bench::measureResidence},
    Group{"growth", bench::measureGrowth},
    Group{"floods", bench::measureFloods},
    Group{"size", bench::measureSize},
    Group{"logging", bench::measureLogging},
};

constexpr const char* countsFile = SOURCE_FOLDER "/bench/instructions.json";
// Percent. An event's count has differed by 2 between two runs, the others not at all.
constexpr int usualTolerance = 5;

struct Options
{
    std::vector<std::string> only;
    bool json = false;
    bool check = false;
    bool update = false;
};

std::vector<std::string> groupNames()
{
    std::vector<std::string> names;
    for (const Group& group : groups)
    {
        names.emplace_back(group.name);
    }
    return names;
}

/** The last processor that this process may run on becomes the only one, also of its children. */
void pinToOneProcessor()
{
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
    {
        throw sim::Error("the kernel does not say which processors may be used");
    }
    int last = 0;
    for (int number = 0; number < CPU_SETSIZE; ++number)
    {
        last = CPU_ISSET(number, &allowed) ? number : last;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(last, &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0)
    {
        throw sim::Error("no processor can be had for this process alone");
    }
}

nlohmann::json machine()
{
    utsname names{};
    uname(&names);
    return {{"processor", names.machine},
            {"processors", sysconf(_SC_NPROCESSORS_CONF)},
            {"compiler", std::string("g++ ") + __VERSION__}};
}

Figures measure(const std::vector<std::string>& only)
{
    Figures figures;
    for (const Group& group : groups)
    {
        if (only.empty() || std::find(only.begin(), only.end(), group.name) != only.end())
        {
            std::cerr << "measuring: " << group.name << "\n";
            group.measure(figures);
        }
    }
    return figures;
}

int showFigures(const Options& options)
{
    const Figures figures = measure(options.only);
    const nlohmann::json here = machine();
    if (options.json)
    {
        nlohmann::json document = bench::asJson(figures);
        document["machine"] = here;
        std::cout << document.dump(2) << "\n";
        return program::done;
    }
    std::cout << here["processors"] << " processors " << here["processor"].get<std::string>()
              << ", " << here["compiler"].get<std::string>()
              << "; program, bus and world on one of them\n\n"
              << bench::asTable(figures);
    return program::done;
}

int writeCounts()
{
    nlohmann::json counts = nlohmann::json::object();
    for (const auto& [name, count] : bench::countInstructions())
    {
        counts[name] = std::llround(count);
    }
    std::ofstream file(countsFile);
    file << nlohmann::json{{"tolerance_percent", usualTolerance}, {"instructions", counts}}.dump(4)
         << "\n";
    file.close();
    if (!file)
    {
        throw sim::Error(std::string("cannot write ") + countsFile);
    }
    return program::done;
}

int checkCounts()
{
    const auto measured = bench::countInstructions();
    for (const auto& [name, count] : measured)
    {
        std::cout << name << ": " << std::llround(count) << " instructions\n";
    }
    const auto committed = sim::parseDocument(sim::readFile(countsFile), countsFile);
    const bench::Comparison comparison = bench::compareInstructions(committed, measured);
    for (const std::string& line : comparison.fewer)
    {
        std::cout << "fewer than committed, keep it with scripts/bench --update: " << line << "\n";
    }
    for (const std::string& line : comparison.tooMany)
    {
        std::cout << "TOO MANY: " << line << "\n";
    }
    return comparison.tooMany.empty() ? program::done : program::failed;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    CLI::App app("Measures the daemon beside the least that any program could do.", "hwinv_bench");
    auto* only = app.add_option("--only", options.only, "just this group of figures; repeatable")
                     ->check(CLI::IsMember(groupNames()))
                     ->type_name("GROUP");
    auto* json = app.add_flag("--json", options.json, "the figures as JSON");
    auto* check = app.add_flag("--check", options.check,
                               "compare the counts of instructions with bench/instructions.json");
    auto* update = app.add_flag("--update", options.update, "write that file anew");
    for (auto* counting : {check, update})
    {
        counting->excludes(only)->excludes(json);
    }
    check->excludes(update);
    if (const auto status = program::readCommandLine(app, argc, argv))
    {
        return *status;
    }
    return program::run("hwinv_bench",
                        [&]
                        {
                            pinToOneProcessor();
                            return options.update  ? writeCounts()
                                   : options.check ? checkCounts()
                                                   : showFigures(options);
                        });
}
