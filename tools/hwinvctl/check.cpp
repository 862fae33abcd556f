// The verb "check": what is wrong with one inventory, or with many captures.

#include "inspect/fleet.hpp"
#include "inspect/words.hpp"
#include "junit.hpp"
#include "program/program.hpp"
#include "sim/error.hpp"
#include "table.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <unistd.h>

namespace hwinvctl
{
namespace
{

using inspect::counted;
using inspect::Finding;
using inspect::Report;
using inspect::Severity;

std::size_t count(const std::vector<Report>& reports, Severity severity)
{
    std::size_t number = 0;
    for (const Report& report : reports)
    {
        number += static_cast<std::size_t>(
            std::ranges::count(report.findings, severity, &Finding::severity));
    }
    return number;
}

std::size_t unreadable(const std::vector<Report>& reports)
{
    return static_cast<std::size_t>(
        std::ranges::count_if(reports, [](const Report& report) { return !report.error.empty(); }));
}

std::string summary(const std::vector<Report>& reports)
{
    std::string text = counted(reports.size(), "inventory") + ": " +
                       counted(count(reports, Severity::error), "error") + ", " +
                       counted(count(reports, Severity::warning), "warning");
    if (unreadable(reports) != 0)
    {
        text += ", " + std::to_string(unreadable(reports)) + " could not be read";
    }
    return text + ".";
}

void printReport(const Report& report)
{
    if (!report.error.empty())
    {
        std::cout << '\n';
        printText(report.folder + " could not be read: " + report.error);
        return;
    }
    if (report.findings.empty())
    {
        return;
    }
    std::vector<Cells> rows;
    for (const Finding& finding : report.findings)
    {
        rows.push_back({nameOf(finding.severity), finding.code, inspect::leafOf(finding.path),
                        finding.sentence + " " + finding.change});
    }
    std::cout << '\n'
              << report.folder << ":\n"
              << formatTable({"SEVERITY", "CODE", "OBJECT", "WHAT"}, rows, outputColumns());
}

sim::Json toJson(const std::vector<Report>& reports)
{
    sim::Json json = sim::Json::array();
    for (const Report& report : reports)
    {
        sim::Json findings = sim::Json::array();
        for (const Finding& finding : report.findings)
        {
            findings.push_back({{"code", finding.code},
                                {"severity", nameOf(finding.severity)},
                                {"object", finding.path},
                                {"sentence", finding.sentence},
                                {"change", finding.change}});
        }
        json.push_back({{"inventory", report.folder},
                        {"objects", report.objects},
                        {"findings", findings},
                        {"error", report.error.empty() ? sim::Json() : sim::Json(report.error)}});
    }
    return json;
}

/** A line that is written over and over, on a terminal alone. */
void showProgress(std::size_t done, std::size_t all)
{
    constexpr std::size_t width = 40;
    if (isatty(STDERR_FILENO) == 0)
    {
        return;
    }
    const std::size_t filled = all == 0 ? width : done * width / all;
    std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] "
              << done << "/" << all << (done == all ? "\r\033[K" : "") << std::flush;
}

std::vector<Report> checkOne(const Common& common)
{
    const inspect::Machine machine = inspect::examine(readWorld(common));
    const inspect::World& world = machine.world;
    return {{world.source, "", world.smbios.size() + world.board.size() + world.chassis.size(),
             inspect::check(machine)}};
}

std::vector<Report> checkFolders(const CheckOptions& options)
{
    const std::vector<std::filesystem::path> folders(options.folders.begin(),
                                                     options.folders.end());
    std::vector<std::string> captures;
    try
    {
        captures = inspect::findCaptures(folders);
    }
    catch (const std::exception& error)
    {
        throw sim::UsageError(error.what());
    }
    return inspect::checkCaptures(captures, showProgress);
}

void writeJunit(const std::string& file, const std::vector<Report>& reports)
{
    std::ofstream stream(file, std::ios::binary);
    stream << formatJunit(reports);
    stream.close();
    if (!stream)
    {
        throw sim::Error(file + ": cannot be written");
    }
}

} // namespace

int check(const Common& common, const CheckOptions& options)
{
    if (!options.folders.empty() && (!common.from.empty() || !common.address.empty()))
    {
        throw sim::UsageError("folders are checked, or the inventory of --from or --address");
    }
    const std::vector<Report> reports =
        options.folders.empty() ? checkOne(common) : checkFolders(options);
    if (!options.junit.empty())
    {
        writeJunit(options.junit, reports);
    }
    if (wantsJson(common))
    {
        printJson(common, toJson(reports));
    }
    else
    {
        printText(summary(reports));
        std::ranges::for_each(reports, printReport);
    }
    if (unreadable(reports) != 0)
    {
        return program::misused;
    }
    const bool clean = count(reports, Severity::error) + count(reports, Severity::warning) == 0;
    return clean ? program::done : program::failed;
}

} // namespace hwinvctl
