#include "rig/backlog.hpp"

#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

namespace rig
{
namespace
{

namespace fs = std::filesystem;

/** The pipes of which the process has both ends: name to one of its descriptors in /proc. */
std::map<std::string, fs::path> ownPipes(pid_t process)
{
    std::map<std::string, fs::path> seen;
    std::map<std::string, fs::path> both;
    std::error_code error;
    for (const auto& entry :
         fs::directory_iterator("/proc/" + std::to_string(process) + "/fd", error))
    {
        const std::string target = fs::read_symlink(entry.path(), error).string();
        if (!error && target.starts_with("pipe:") && !seen.emplace(target, entry.path()).second)
        {
            both.emplace(target, entry.path());
        }
    }
    return both;
}

bool holdsBytes(const fs::path& pipe)
{
    const int end = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (end < 0)
    {
        return false;
    }
    int bytes = 0;
    const bool read = ioctl(end, FIONREAD, &bytes) == 0;
    close(end);
    return read && bytes > 0;
}

} // namespace

bool hasBacklog(pid_t daemon)
{
    for (const auto& [name, end] : ownPipes(daemon))
    {
        if (holdsBytes(end))
        {
            return true;
        }
    }
    return false;
}

} // namespace rig
