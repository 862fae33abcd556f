#include "faults/kit/small_broker.hpp"

#include "sim/bus.hpp"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>

namespace kit
{
namespace
{

constexpr const char* broker = "/usr/bin/dbus-broker";

std::string wrapper(const std::string& real, std::size_t bytes)
{
    return R"(#!/bin/sh
for argument do
    shift
    [ "$before" != --max-bytes ] || argument=)" +
           std::to_string(bytes) + R"(
    set -- "$@" "$argument"
    before=$argument
done
exec )" + real +
           R"( "$@"
)";
}

bool bind(const std::string& from, const std::string& to)
{
    return mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

} // namespace

std::string limitBroker(std::size_t bytes)
{
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    {
        return std::string("no mounts of one's own: ") + std::strerror(errno);
    }
    // The folder belongs to this namespace alone, and goes with it.
    const std::string folder = sim::makeTemporaryFolder();
    const bool own = mount("tmpfs", folder.c_str(), "tmpfs", 0, nullptr) == 0;
    const std::string real = folder + "/real";
    const std::string script = folder + "/script";
    std::ofstream(real).close();
    std::ofstream(script) << wrapper(real, bytes);
    std::filesystem::permissions(script, std::filesystem::perms(0755));
    if (!own || !bind(broker, real) || !bind(script, broker))
    {
        return std::string("the broker cannot be replaced: ") + std::strerror(errno);
    }
    return "";
}

} // namespace kit
