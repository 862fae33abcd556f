#include "stage.hpp"

#include "rig/daemon.hpp"
#include "sim/error.hpp"

#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>

namespace bench
{
namespace
{

using namespace std::chrono_literals;
using Seconds = std::chrono::duration<double>;

/** How long nothing may come before a program counts as at rest. */
constexpr auto rest = 60ms;

std::string of(const Program& program, std::size_t made, std::size_t wanted)
{
    return program.name + " has made " + std::to_string(made) + " Sets and not " +
           std::to_string(wanted);
}

std::vector<std::string> commandOf(const Program& program, const Manner& manner, unsigned sets)
{
    std::vector<std::string> command = manner.before;
    command.insert(command.end(), program.command.begin(), program.command.end());
    if (program.isToldTheSets)
    {
        command.push_back(std::to_string(sets));
    }
    return command;
}

unsigned setsOf(const Program& program, const Shape& shape)
{
    return program.job == Job::everything ? shape.allSets() : shape.slotSets();
}

} // namespace

std::string toolPath(const std::string& name)
{
    return BUILD_FOLDER "/bench/" + name;
}

Program daemonProgram()
{
    return {"daemon", {BUILD_FOLDER "/src/kov-plugins/hwinv/kov_hwinv"}};
}

Program floorProgram()
{
    return {"floor", {toolPath("hwinv_bench_floor")}, Job::everything, true};
}

Program hopProgram()
{
    return {"hop", {toolPath("hwinv_bench_hop")}, Job::everything, true};
}

std::vector<Program> comparedPrograms()
{
    return {daemonProgram(), floorProgram(), hopProgram()};
}

std::vector<Program> peerPrograms()
{
    return {{"gdbus", {toolPath("peers/gdbus_peer")}, Job::slotsOnly},
            {"python",
             {"/usr/bin/python3", SOURCE_FOLDER "/bench/peers/python_peer.py"},
             Job::slotsOnly}};
}

std::vector<Program> allPrograms()
{
    std::vector<Program> programs = comparedPrograms();
    for (const Program& peer : peerPrograms())
    {
        programs.push_back(peer);
    }
    return programs;
}

Run::Run(Stage& stage, const Program& program, const Manner& manner)
    : stage_(stage), patience_(manner.patience), child_(start(program, manner))
{
    World& world = stage_.world;
    const unsigned wanted = setsOf(program, world.shape());
    world.run([&] { return world.sets().size() >= wanted && world.named(); }, patience_);
    lastSet_ = world.sets().empty() ? Clock::now() : world.sets().back().time;
    world.runFor(rest);
    startUpProcessorTime_ = processorTime();
    if (world.sets().size() != wanted || !world.named())
    {
        throw sim::Error(of(program, world.sets().size(), wanted) + " at its start");
    }
}

child::Child Run::start(const Program& program, const Manner& manner)
{
    const child::Descriptor log{
        open(manner.log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)};
    stage_.world.prepareFor(program.name + (manner.before.empty() ? "" : " instrumented"));
    const child::Options options{
        .command = commandOf(program, manner, setsOf(program, stage_.world.shape())),
        .environment = {"DBUS_SYSTEM_BUS_ADDRESS=" + stage_.bus.address(),
                        "DLOG_LEVEL=" + std::to_string(manner.logLevel), "JOURNAL_STREAM"},
        .streams = {.output = log.get(), .error = log.get()},
    };
    begin_ = Clock::now();
    return child::Child(options);
}

double Run::untilName() const
{
    return Seconds(*stage_.world.named() - begin_).count();
}

double Run::untilLastSet() const
{
    return Seconds(lastSet_ - begin_).count();
}

double Run::burst(const std::vector<sim::Message>& signals)
{
    World& world = stage_.world;
    const std::size_t wanted = world.sets().size() + signals.size();
    const auto begin = Clock::now();
    for (const sim::Message& signal : signals)
    {
        world.send(signal);
    }
    if (!world.run([&] { return world.sets().size() >= wanted; }, patience_))
    {
        throw sim::Error("a burst is still without " +
                         std::to_string(wanted - world.sets().size()) + " of its Sets");
    }
    const double taken = Seconds(world.sets().back().time - begin).count();
    world.runFor(1ms);
    if (world.sets().size() != wanted)
    {
        throw sim::Error("a burst has had more Sets than signals");
    }
    return taken;
}

double Run::event(const sim::Message& signal, const std::string& path)
{
    World& world = stage_.world;
    const std::size_t before = world.sets().size();
    const auto begin = world.sendNow(signal);
    if (!world.run([&] { return world.sets().size() > before; }, patience_))
    {
        throw sim::Error("no Set came for an event");
    }
    const SetCall& set = world.sets()[before];
    if (set.path != path)
    {
        throw sim::Error("a Set went to " + set.path + " and not to " + path);
    }
    return Seconds(set.time - begin).count();
}

double Run::processorTime() const
{
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(child_.pid(), &clock) != 0 || clock_gettime(clock, &time) != 0)
    {
        throw sim::Error("the program has ended");
    }
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

long Run::waits() const
{
    long waits = 0;
    const std::string wanted = "voluntary_ctxt_switches:";
    for (const auto& task :
         std::filesystem::directory_iterator("/proc/" + std::to_string(child_.pid()) + "/task"))
    {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);)
        {
            if (line.starts_with(wanted))
            {
                waits += std::stol(line.substr(wanted.size()));
            }
        }
    }
    return waits;
}

double Run::memory(const std::string& kind) const
{
    std::ifstream rollup("/proc/" + std::to_string(child_.pid()) + "/smaps_rollup");
    for (std::string line; std::getline(rollup, line);)
    {
        if (line.starts_with(kind + ":"))
        {
            return std::stod(line.substr(kind.size() + 1));
        }
    }
    throw sim::Error("the kernel does not tell the memory of the program");
}

void Run::end()
{
    child_.signal(SIGTERM);
    child_.finish(patience_);
}

} // namespace bench
