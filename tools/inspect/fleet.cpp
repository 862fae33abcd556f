#include "inspect/fleet.hpp"

#include "sim/error.hpp"
#include "sim/names.hpp"
#include "sim/value.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace inspect
{
namespace
{

sim::Json toJson(std::size_t index, const Report& report)
{
    sim::Json findings = sim::Json::array();
    for (const Finding& finding : report.findings)
    {
        findings.push_back({finding.code, static_cast<int>(finding.severity), finding.path,
                            finding.sentence, finding.change});
    }
    return {index, report.error, report.objects, findings};
}

void fromJson(const sim::Json& json, std::vector<Report>& reports)
{
    Report& report = reports.at(json.at(0).get<std::size_t>());
    report.error = json.at(1).get<std::string>();
    report.objects = json.at(2).get<std::size_t>();
    for (const sim::Json& finding : json.at(3))
    {
        report.findings.push_back(
            {finding.at(0).get<std::string>(), static_cast<Severity>(finding.at(1).get<int>()),
             finding.at(2).get<std::string>(), finding.at(3).get<std::string>(),
             finding.at(4).get<std::string>()});
    }
}

Report checkOne(const std::string& folder)
{
    Report report;
    report.folder = folder;
    try
    {
        const Machine machine = examine(readFolder(folder));
        report.objects =
            machine.world.smbios.size() + machine.world.board.size() + machine.world.chassis.size();
        report.findings = check(machine);
    }
    catch (const std::exception& error)
    {
        report.error = error.what();
    }
    return report;
}

bool writeAll(int descriptor, const std::string& text)
{
    for (std::size_t sent = 0; sent < text.size();)
    {
        const ssize_t written = ::write(descriptor, text.data() + sent, text.size() - sent);
        if (written < 0 && errno != EINTR)
        {
            return false;
        }
        sent += written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    return true;
}

/** A worker's whole life: every `step`th capture from `first` on, a line of JSON for each. */
[[noreturn]] void work(const std::vector<std::string>& folders, std::size_t first, std::size_t step,
                       int pipe)
{
    for (std::size_t index = first; index < folders.size(); index += step)
    {
        const std::string line = toJson(index, checkOne(folders[index]))
                                     .dump(-1, ' ', false, sim::Json::error_handler_t::replace);
        if (!writeAll(pipe, line + '\n'))
        {
            break; // nobody reads any more
        }
    }
    ::_exit(0); // nothing of the parent's is flushed or destroyed a second time
}

/** A worker as its parent sees it. */
struct Worker
{
    pid_t pid = -1;
    int pipe = -1;
    std::string begun; // the beginning of a line
};

Worker startWorker(const std::vector<std::string>& folders, std::size_t first, std::size_t step)
{
    int ends[2];
    if (::pipe(ends) != 0)
    {
        throw sim::Error(std::string("make a pipe: ") + std::strerror(errno));
    }
    const pid_t pid = ::fork();
    if (pid < 0)
    {
        throw sim::Error(std::string("start a worker: ") + std::strerror(errno));
    }
    if (pid == 0)
    {
        ::close(ends[0]);
        work(folders, first, step, ends[1]);
    }
    ::close(ends[1]);
    return {pid, ends[0], ""};
}

/** Takes what the worker has sent; false at its end. */
bool readSome(Worker& worker, std::vector<std::string>& lines)
{
    char buffer[65536];
    const ssize_t count = ::read(worker.pipe, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR)
    {
        return true;
    }
    if (count <= 0)
    {
        return false;
    }
    worker.begun.append(buffer, static_cast<std::size_t>(count));
    for (std::size_t end = worker.begun.find('\n'); end != std::string::npos;
         end = worker.begun.find('\n'))
    {
        lines.push_back(worker.begun.substr(0, end));
        worker.begun.erase(0, end + 1);
    }
    return true;
}

void endWorker(Worker& worker)
{
    ::close(worker.pipe);
    worker.pipe = -1;
    while (::waitpid(worker.pid, nullptr, 0) < 0 && errno == EINTR)
    {
    }
}

/** Reads from all workers until each has ended. */
void collect(std::vector<Worker>& workers, const std::function<void(const std::string&)>& take)
{
    while (true)
    {
        std::vector<pollfd> waited;
        std::vector<Worker*> open;
        for (Worker& worker : workers)
        {
            if (worker.pipe >= 0)
            {
                waited.push_back({worker.pipe, POLLIN, 0});
                open.push_back(&worker);
            }
        }
        if (open.empty())
        {
            return;
        }
        ::poll(waited.data(), waited.size(), -1);
        for (std::size_t index = 0; index < open.size(); ++index)
        {
            std::vector<std::string> lines;
            if (waited[index].revents != 0 && !readSome(*open[index], lines))
            {
                endWorker(*open[index]);
            }
            std::ranges::for_each(lines, take);
        }
    }
}

bool isCapture(const std::filesystem::path& folder)
{
    return std::filesystem::exists(folder / sim::names::smbiosFile);
}

} // namespace

std::vector<std::string> findCaptures(const std::vector<std::filesystem::path>& folders)
{
    std::vector<std::string> captures;
    for (const auto& folder : folders)
    {
        if (!std::filesystem::is_directory(folder))
        {
            throw sim::Error(folder.string() + " is no folder");
        }
        const std::size_t before = captures.size();
        if (isCapture(folder))
        {
            captures.push_back(folder.string());
            continue;
        }
        for (const auto& inside : std::filesystem::recursive_directory_iterator(folder))
        {
            if (inside.is_directory() && isCapture(inside.path()))
            {
                captures.push_back(inside.path().string());
            }
        }
        if (captures.size() == before)
        {
            throw sim::Error(folder.string() + " holds no capture: no folder in it has a " +
                             sim::names::smbiosFile);
        }
        std::sort(captures.begin() + static_cast<std::ptrdiff_t>(before), captures.end());
    }
    return captures;
}

std::vector<Report> checkCaptures(const std::vector<std::string>& folders, const Progress& progress)
{
    std::vector<Report> reports;
    for (const std::string& folder : folders)
    {
        reports.push_back({folder, "its worker ended before it was done", 0, {}});
    }
    const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
    std::vector<Worker> workers;
    for (std::size_t first = 0; first < std::min(cores, folders.size()); ++first)
    {
        workers.push_back(startWorker(folders, first, std::min(cores, folders.size())));
    }
    std::size_t done = 0;
    collect(workers,
            [&](const std::string& line)
            {
                fromJson(sim::Json::parse(line), reports);
                progress(++done, folders.size());
            });
    return reports;
}

} // namespace inspect
