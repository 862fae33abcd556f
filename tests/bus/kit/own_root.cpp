#include "kit/own_root.hpp"

#include "sim/error.hpp"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace kit
{
namespace
{

namespace fs = std::filesystem;

void require(bool good, const std::string& attempted)
{
    if (!good)
    {
        throw sim::Error("cannot " + attempted + ": " + std::strerror(errno));
    }
}

/** The two files of users, with those of the declaration added, in a folder of their own. */
fs::path makeUsers(const std::string& usersFile)
{
    std::string folder = (fs::temp_directory_path() / "own-root-XXXXXX").string();
    require(mkdtemp(folder.data()) != nullptr, "make a folder like " + folder);
    fs::create_directories(folder + "/etc");
    for (const char* file : {"/etc/passwd", "/etc/group"})
    {
        fs::copy_file(file, folder + file);
    }
    const std::string command =
        "systemd-sysusers --root='" + folder + "' - <'" + usersFile + "' 2>&1";
    if (std::system(command.c_str()) != 0)
    {
        throw sim::Error("systemd-sysusers refused " + usersFile);
    }
    return folder;
}

/** dbus-broker's launcher insists on a journal; what it says there is read and forgotten. */
void pretendJournal()
{
    fs::create_directories("/run/systemd/journal");
    const int listener = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = "/run/systemd/journal/socket"};
    require(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "listen as the journal");
    std::thread(
        [listener]
        {
            std::array<char, 65536> entry{};
            while (recv(listener, entry.data(), entry.size(), 0) >= 0)
            {
            }
        })
        .detach();
}

void changeRoot(const std::string& usersFile)
{
    require(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "keep mounts private");
    const fs::path users = makeUsers(usersFile);
    for (const char* file : {"/etc/passwd", "/etc/group"})
    {
        require(mount((users.string() + file).c_str(), file, nullptr, MS_BIND, nullptr) == 0,
                std::string("replace ") + file);
    }
    fs::remove_all(users); // the mounts keep the two files
    require(mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0, "empty /run");
    pretendJournal();
}

std::string tryToEnter(const std::string& usersFile)
{
    if (geteuid() != 0)
    {
        return "only root can run the daemon as its own user";
    }
    if (unshare(CLONE_NEWNS) != 0)
    {
        return std::string("no mounts of one's own are allowed here: ") + std::strerror(errno);
    }
    changeRoot(usersFile);
    // A test here says which bus it means, and the sockets that a dbus-broker around it would need
    // are out of sight now.
    unsetenv("HWINV_BUS");
    return "";
}

} // namespace

std::string enterOwnRoot(const std::string& usersFile)
{
    static const std::string whyNot = tryToEnter(usersFile);
    return whyNot;
}

User userNamed(const std::string& name)
{
    const passwd* entry = getpwnam(name.c_str());
    if (entry == nullptr)
    {
        throw sim::Error("there is no user " + name);
    }
    return {entry->pw_uid, entry->pw_gid};
}

bool brokerIsThere(const std::string& unpacked)
{
    const char* const program = "/usr/bin/dbus-broker-launch";
    if (!fs::exists(program) && fs::exists(unpacked + program))
    {
        // The launcher looks for its other half in /usr/bin and nowhere else.
        const std::string layers = "lowerdir=" + unpacked + "/usr/bin:/usr/bin";
        require(mount("overlay", "/usr/bin", "overlay", MS_RDONLY, layers.c_str()) == 0,
                "lay the unpacked broker over /usr/bin");
    }
    return fs::exists(program);
}

} // namespace kit
