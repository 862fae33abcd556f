#include "kit/guarded_bus.hpp"

#include "sim/error.hpp"
#include "sim/sdbus.hpp"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace kit
{
namespace
{

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds startLimit{10};
constexpr std::chrono::milliseconds betweenLooks{5};

std::string makeFolder()
{
    std::string folder = (fs::temp_directory_path() / "guarded-bus-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr)
    {
        throw sim::Error("guarded bus: cannot make a folder like " + folder);
    }
    fs::permissions(folder, fs::perms(0755));
    return folder;
}

std::string configuration(const std::string& folder, const std::string& policyFile)
{
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>custom</type>
  <listen>unix:path=)" +
           folder + R"(/socket</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  </policy>
  <policy user="root">
    <allow own="xyz.openbmc_project.Smbios.MDRV2"/>
    <allow own="com.vexa.bmc.kovd"/>
    <allow own="org.example.Bystander"/>
    <allow send_destination="xyz.openbmc_project.Smbios.MDRV2"/>
    <allow send_destination="com.vexa.bmc.kovd"/>
  </policy>
  <include>)" +
           policyFile + R"(</include>
</busconfig>
)";
}

std::vector<std::string> commandFor(BusKind kind, const std::string& folder,
                                    const std::string& activator)
{
    const std::string config = "--config-file=" + folder + "/bus.conf";
    if (kind == BusKind::dbusDaemon)
    {
        return {"dbus-daemon", config, "--nofork", "--nopidfile", "--nosyslog"};
    }
    return {"systemd-socket-activate",
            "--listen=" + folder + "/socket",
            "--setenv=DBUS_SESSION_BUS_ADDRESS=" + activator,
            "dbus-broker-launch",
            "--scope=user",
            config};
}

} // namespace

GuardedBus::GuardedBus(BusKind kind, const std::string& policyFile)
    : folder_(makeFolder()), address_("unix:path=" + folder_ + "/socket")
{
    std::ofstream(folder_ + "/bus.conf") << configuration(folder_, policyFile);
    try
    {
        start(kind);
        waitForAnswer();
    }
    catch (...)
    {
        end();
        throw;
    }
}

GuardedBus::~GuardedBus()
{
    end();
}

void GuardedBus::start(BusKind kind)
{
    const std::string logFile = folder_ + "/bus.log";
    const child::Descriptor log{open(logFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)};
    // Asked to end, the launcher takes its broker along.
    bus_.emplace(child::Options{.command = commandFor(kind, folder_, activator_.address()),
                                .streams = {.output = log.get(), .error = log.get()},
                                .endSignal = SIGTERM});
}

void GuardedBus::waitForAnswer()
{
    const auto deadline = Clock::now() + startLimit;
    while (true)
    {
        try
        {
            sim::connectTo(address_);
            // systemd-socket-activate leaves it to root alone.
            fs::permissions(folder_ + "/socket", fs::perms(0666));
            return;
        }
        catch (const sim::Error& error)
        {
            if (Clock::now() > deadline)
            {
                throw;
            }
        }
        // Nobody tells when a socket of another process is there.
        std::this_thread::sleep_for(betweenLooks);
    }
}

void GuardedBus::end()
{
    bus_.reset();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

} // namespace kit
