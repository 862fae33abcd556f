// What events cost when a program has nothing else to do: one at a time, and many at once.

#include "measures.hpp"
#include "sim/samples.hpp"

#include <filesystem>
#include <functional>

namespace bench
{
namespace
{

using namespace std::chrono_literals;

constexpr Shape usual{.slots = 64, .cpus = 8};
constexpr unsigned rounds = 5;
constexpr unsigned warmUps = 20;
constexpr unsigned eventsOfARound = 200;
constexpr double micro = 1e6;

/** Long enough for a program to come to rest between two events. */
constexpr auto pause = 300us;

using MakeEvent = std::function<sim::Object(unsigned number)>;

sim::Object searched(unsigned number)
{
    return slotEvent(usual, number);
}

sim::Object notSearched(unsigned number)
{
    return deviceEvent(number);
}

struct EventCost
{
    double latency;
    double processorTime;
};

/** The median latency, and the processor time for each event. */
EventCost costOf(Stage& stage, Run& run, const MakeEvent& make, unsigned events)
{
    std::vector<double> latencies;
    const double before = run.processorTime();
    for (unsigned number = 0; number < events; ++number)
    {
        const sim::Object object = make(number);
        latencies.push_back(run.event(stage.world.boardSignal(object), object.first));
        stage.world.runFor(pause);
    }
    return {median(latencies), (run.processorTime() - before) / events};
}

/** Each program with its own name in the two figures. */
void measureOne(Figures& figures, const std::string& name, const std::string& title,
                const MakeEvent& make, const std::vector<Program>& programs)
{
    Stage stage(usual);
    std::map<std::string, std::vector<double>> latencies;
    std::map<std::string, std::vector<double>> times;
    for (unsigned round = 0; round < rounds; ++round)
    {
        for (const Program& program : programs)
        {
            Run run(stage, program);
            costOf(stage, run, make, warmUps);
            const EventCost cost = costOf(stage, run, make, eventsOfARound);
            latencies[program.name].push_back(cost.latency * micro);
            times[program.name].push_back(cost.processorTime * micro);
        }
    }
    Figure latency{"latency-" + name, "event latency, " + title + ", us", {}};
    Figure time{"event-cpu-" + name, "processor time of an event, " + title + ", us", {}};
    for (const Program& program : programs)
    {
        latency.values[program.name] = median(latencies[program.name]);
        time.values[program.name] = median(times[program.name]);
    }
    figures.push_back(std::move(latency));
    figures.push_back(std::move(time));
}

std::vector<sim::Message> burstOf(World& world, unsigned events)
{
    std::vector<sim::Message> signals;
    for (unsigned number = 0; number < events; ++number)
    {
        signals.push_back(world.boardSignal(searched(number)));
    }
    return signals;
}

struct BurstCost
{
    std::vector<double> times;
    std::vector<double> processorTimes;
};

/** One burst, the first one for the warmth alone. */
void addBurst(Stage& stage, const Program& program, const Manner& manner, unsigned events,
              BurstCost& cost)
{
    Run run(stage, program, manner);
    run.burst(burstOf(stage.world, warmUps));
    const auto signals = burstOf(stage.world, events);
    const double before = run.processorTime();
    cost.times.push_back(run.burst(signals) * 1e3);
    cost.processorTimes.push_back((run.processorTime() - before) / events * micro);
}

void measureBurst(Figures& figures, unsigned events, const std::vector<Program>& programs)
{
    Stage stage(usual);
    std::map<std::string, BurstCost> costs;
    for (unsigned round = 0; round < rounds; ++round)
    {
        for (const Program& program : programs)
        {
            addBurst(stage, program, {}, events, costs[program.name]);
        }
    }
    const std::string number = std::to_string(events);
    Figure time{"burst-" + number, "burst of " + number + " slot events, ms", {}};
    Figure cpu{"burst-cpu-" + number, "processor time of an event in it, us", {}};
    for (const Program& program : programs)
    {
        time.values[program.name] = median(costs[program.name].times);
        cpu.values[program.name] = median(costs[program.name].processorTimes);
    }
    figures.push_back(std::move(time));
    figures.push_back(std::move(cpu));
}

/** A file of one's own in the folder for temporary files. */
class LogFile
{
  public:
    LogFile() : folder_(sim::makeTemporaryFolder()) {}
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    ~LogFile()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string path() const
    {
        return folder_ + "/log";
    }

  private:
    std::string folder_;
};

} // namespace

void measureEvents(Figures& figures)
{
    measureOne(figures, "unsearched", "no search", notSearched, comparedPrograms());
    measureOne(figures, "searched", "64 slots searched", searched, allPrograms());
}

void measureBursts(Figures& figures)
{
    measureBurst(figures, 1000, allPrograms());
    measureBurst(figures, 5000, comparedPrograms());
}

void measureLogging(Figures& figures)
{
    constexpr unsigned burst = 1000;
    constexpr int usualLevel = 5;
    const LogFile file;
    Stage stage(usual);
    std::map<int, std::vector<double>> latencies;
    std::map<int, BurstCost> bursts;
    for (unsigned round = 0; round < rounds; ++round)
    {
        for (const int level : {0, usualLevel})
        {
            const Manner manner{.logLevel = level, .log = file.path()};
            {
                Run run(stage, daemonProgram(), manner);
                costOf(stage, run, searched, warmUps);
                latencies[level].push_back(costOf(stage, run, searched, eventsOfARound).latency);
            }
            addBurst(stage, daemonProgram(), manner, burst, bursts[level]);
        }
    }
    figures.push_back({"logging-latency",
                       "slot event's latency, default log level to silent, times",
                       {{"daemon", median(latencies[usualLevel]) / median(latencies[0])}}});
    figures.push_back({"logging-burst",
                       "burst of 1000, default log level to silent, times",
                       {{"daemon", median(bursts[usualLevel].times) / median(bursts[0].times)}}});
}

} // namespace bench
