// hwinvctl: what is paired with what on a machine, and why.

#include "program/program.hpp"
#include "verbs.hpp"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>

namespace
{

using hwinvctl::Common;

constexpr const char* name = "hwinvctl";

/** Everything that the command line can say. */
struct Options
{
    Common common;
    hwinvctl::ListOptions list;
    hwinvctl::CheckOptions check;
    hwinvctl::CaptureOptions capture;
    std::string format;
    std::string object;
    std::string other;
};

using Chosen = std::function<int()>;

CLI::App* verb(CLI::App& app, Chosen& chosen, const std::string& word, const std::string& help,
               Chosen work)
{
    CLI::App* sub = app.add_subcommand(word, help);
    sub->callback([&chosen, work = std::move(work)] { chosen = work; });
    return sub;
}

void addCommon(CLI::App& app, Common& common)
{
    app.add_option("--address", common.address, "Address of a bus; else the system bus");
    app.add_option("--from", common.from, "Read a folder with a capture instead of a bus");
    app.add_flag("--json{auto}", common.json, "For programs: --json=short, pretty or off")
        ->check(CLI::IsMember({"short", "pretty", "off", "auto"}));
}

void addList(CLI::App& app, Chosen& chosen, Options& o)
{
    CLI::App* list =
        verb(app, chosen, "list", "Each platform object with its partner and state (the default)",
             [&o] { return hwinvctl::list(o.common, o.list); });
    list->add_flag("--unpaired", o.list.unpaired, "Only those without a partner");
    list->add_flag("--stale", o.list.stale, "Only those whose partner does not exist any more");
    list->add_flag("--drifted", o.list.drifted,
                   "Only those that carry something else than the rules give");
}

void addExplain(CLI::App& app, Chosen& chosen, Options& o)
{
    CLI::App* explain =
        verb(app, chosen, "explain", "Why an object has the partner that it has, or none",
             [&o] { return hwinvctl::explain(o.common, o.object, o.other); });
    explain->add_option("OBJECT", o.object, "A path, the end of one, or a slot number")->required();
    explain->add_option("OTHER", o.other, "Compare with this one, condition by condition");
}

void addCheck(CLI::App& app, Chosen& chosen, Options& o)
{
    CLI::App* check =
        verb(app, chosen, "check", "What is wrong with an inventory, or with many captures",
             [&o] { return hwinvctl::check(o.common, o.check); });
    check->add_option("FOLDER", o.check.folders, "A capture, or a folder with captures in it");
    check->add_option("--junit", o.check.junit, "Write the findings to this file, for CI");
}

void addLive(CLI::App& app, Chosen& chosen, Options& o)
{
    verb(app, chosen, "doctor", "Whether all that the daemon needs is well on a bus",
         [&o] { return hwinvctl::doctor(o.common); });
    verb(app, chosen, "watch", "A line for each association that changes, until Ctrl-C",
         [&o] { return hwinvctl::watch(o.common); });
}

void addFiles(CLI::App& app, Chosen& chosen, Options& o)
{
    CLI::App* capture = verb(app, chosen, "capture", "Save the inventory as a folder",
                             [&o] { return hwinvctl::capture(o.common, o.capture); });
    capture->add_option("FOLDER", o.capture.folder)->required();
    capture->add_flag("--redact", o.capture.redact,
                      "Replace serial numbers, asset and service tags and UUIDs");
    CLI::App* diff = verb(app, chosen, "diff", "What differs between two captures",
                          [&o] { return hwinvctl::diff(o.common, o.object, o.other); });
    diff->add_option("BEFORE", o.object, "A folder with a capture")->required();
    diff->add_option("AFTER", o.other, "Another")->required();
    CLI::App* picture = verb(app, chosen, "export", "A picture of the machine, on standard output",
                             [&o] { return hwinvctl::exportPicture(o.common, o.format); });
    picture->add_option("--format", o.format, "dot, svg, html or json")
        ->required()
        ->check(CLI::IsMember({"dot", "svg", "html", "json"}));
}

int run(int argc, char** argv)
{
    Options options;
    CLI::App app("Shows what is paired with what on a machine, and why. Writes nothing on the bus.",
                 name);
    Chosen chosen = [&options] { return hwinvctl::list(options.common, options.list); };
    addCommon(app, options.common);
    app.require_subcommand(0, 1);
    app.fallthrough();
    addList(app, chosen, options);
    addExplain(app, chosen, options);
    addCheck(app, chosen, options);
    addLive(app, chosen, options);
    addFiles(app, chosen, options);
    const auto answered = program::readCommandLine(app, argc, argv);
    return answered ? *answered : chosen();
}

} // namespace

int main(int argc, char** argv)
{
    return program::run(name, [&] { return run(argc, argv); });
}
