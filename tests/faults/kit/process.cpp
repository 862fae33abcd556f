#include "faults/kit/process.hpp"

#include "child/pipe.hpp"
#include "sim/error.hpp"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sys/syscall.h>
#include <unistd.h>

namespace kit
{
namespace
{

std::string folderOf(pid_t pid)
{
    return "/proc/" + std::to_string(pid);
}

} // namespace

std::chrono::nanoseconds processorTime(pid_t pid)
{
    clockid_t clock{};
    timespec used{};
    if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &used) != 0)
    {
        throw sim::Error("there is no processor time of process " + std::to_string(pid));
    }
    return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

FirstThread firstThreadOf(pid_t pid)
{
    std::ifstream statistics(folderOf(pid) + "/schedstat");
    std::chrono::nanoseconds::rep ran = 0;
    std::chrono::nanoseconds::rep waited = 0;
    if (!(statistics >> ran >> waited))
    {
        throw sim::Error("the kernel does not tell how process " + std::to_string(pid) + " waited");
    }
    return {std::chrono::nanoseconds(ran), std::chrono::nanoseconds(waited)};
}

std::vector<std::string> descriptorsOf(pid_t pid)
{
    std::vector<std::string> found;
    std::error_code gone;
    for (const auto& file : std::filesystem::directory_iterator(folderOf(pid) + "/fd"))
    {
        const std::string target = std::filesystem::read_symlink(file.path(), gone).string();
        const bool numbered = target.starts_with("socket:") || target.starts_with("pipe:");
        found.push_back(numbered ? target.substr(0, target.find(':')) : target);
    }
    std::sort(found.begin(), found.end());
    return found;
}

long statusNumber(pid_t pid, const std::string& name)
{
    std::ifstream status(folderOf(pid) + "/status");
    for (std::string line; std::getline(status, line);)
    {
        if (line.starts_with(name + ":"))
        {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    throw sim::Error("the kernel does not tell " + name + " of process " + std::to_string(pid));
}

long waitsIn(pid_t pid)
{
    std::ifstream call(folderOf(pid) + "/syscall");
    std::string number;
    call >> number;
    return number.empty() || number == "running" ? -1 : std::stol(number);
}

bool waitsForEvents(pid_t pid)
{
    const long call = waitsIn(pid);
    bool waits = call == SYS_epoll_pwait || call == SYS_epoll_pwait2;
#ifdef SYS_epoll_wait
    waits = waits || call == SYS_epoll_wait;
#endif
    return waits;
}

bool waitUntilGone(pid_t pid, std::chrono::milliseconds limit)
{
    const child::Descriptor process{static_cast<int>(syscall(SYS_pidfd_open, pid, 0))};
    return process.get() < 0 || child::waitReadable(process.get(), child::Clock::now() + limit);
}

} // namespace kit
