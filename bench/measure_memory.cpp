// What stays in memory, and who wakes up when nothing happens.

#include "measures.hpp"
#include "sim/samples.hpp"

#include <memory>
#include <thread>

namespace bench
{
namespace
{

using namespace std::chrono_literals;

constexpr Shape usual{.slots = 64, .cpus = 8};
constexpr const char* resident = "Rss";
constexpr const char* own = "Private_Dirty";

/** The daemon gives memory back 0.3 s after its last work. */
constexpr auto settling = 1s;

std::vector<sim::Message> burstOf(World& world, unsigned events)
{
    std::vector<sim::Message> signals;
    for (unsigned number = 0; number < events; ++number)
    {
        signals.push_back(world.boardSignal(slotEvent(usual, number)));
    }
    return signals;
}

/** Many events, in bursts that neither bus nor program has to keep for long. */
void playEvents(Stage& stage, Run& run, unsigned events)
{
    constexpr unsigned atOnce = 50;
    for (unsigned played = 0; played < events; played += atOnce)
    {
        run.burst(burstOf(stage.world, atOnce));
    }
}

/** A program with a bus of its own, so that several can be idle at the same time. */
struct Idle
{
    explicit Idle(const Program& which) : program(which) {}

    Program program;
    Stage stage{usual};
    Run run{stage, program};
    long before = 0;
};

double settledMemory(Stage& stage, const Run& run, const char* kind)
{
    stage.world.runFor(settling);
    return run.memory(kind);
}

} // namespace

void measureResidence(Figures& figures)
{
    Stage stage(usual);
    Figure all{"resident", "resident memory, 64 slots, idle, KiB", {}};
    Figure dirty{"private-dirty", "private dirty memory, 64 slots, idle, KiB", {}};
    for (const Program& program : allPrograms())
    {
        const Run run(stage, program);
        all.values[program.name] = settledMemory(stage, run, resident);
        dirty.values[program.name] = run.memory(own);
    }
    figures.push_back(std::move(all));
    figures.push_back(std::move(dirty));
}

void measureGrowth(Figures& figures)
{
    constexpr unsigned half = 50'000;
    Stage stage(usual);
    Run run(stage, daemonProgram());
    playEvents(stage, run, half);
    const double middle = settledMemory(stage, run, own);
    playEvents(stage, run, half);
    figures.push_back({"growth",
                       "memory growth, second half of 100000 events, KiB",
                       {{"daemon", settledMemory(stage, run, own) - middle}}});
}

void measureFloods(Figures& figures)
{
    constexpr unsigned burst = 5000;
    constexpr unsigned textsOf31Megabytes = 300'000;
    Stage stage(usual);
    Run run(stage, daemonProgram());
    const double before = settledMemory(stage, run, own);
    run.burst(burstOf(stage.world, burst));
    run.burst(burstOf(stage.world, burst));
    const double afterBursts = settledMemory(stage, run, own);
    figures.push_back({"kept-bursts",
                       "memory kept 1 s after two bursts of 5000, KiB",
                       {{"daemon", afterBursts - before}}});

    stage.world.send(stage.world.hugeSignal(textsOf31Megabytes));
    // The event behind it has its turn when the huge one has been worked off.
    const sim::Object next = slotEvent(usual, 1);
    run.event(stage.world.boardSignal(next), next.first);
    figures.push_back({"kept-huge",
                       "memory kept 1 s after a signal of 31 MB, KiB",
                       {{"daemon", settledMemory(stage, run, own) - afterBursts}}});
}

void measureIdleness(Figures& figures)
{
    constexpr auto watched = 20s;
    std::vector<std::unique_ptr<Idle>> programs;
    for (const Program& program : comparedPrograms())
    {
        programs.push_back(std::make_unique<Idle>(program));
    }
    programs.back()->stage.world.runFor(settling);
    for (const auto& idle : programs)
    {
        idle->before = idle->run.waits();
    }
    std::this_thread::sleep_for(watched); // what is counted is what happens meanwhile
    Figure figure{"idle", "wake-ups in 20 s without events", {}};
    for (const auto& idle : programs)
    {
        figure.values[idle->program.name] = static_cast<double>(idle->run.waits() - idle->before);
    }
    figures.push_back(std::move(figure));
}

} // namespace bench
