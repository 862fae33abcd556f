// From exec to the name and to the last Set, on machines of different sizes.

#include "measures.hpp"
#include "sim/error.hpp"

#include <array>
#include <cmath>

namespace bench
{
namespace
{

constexpr std::array<unsigned, 4> sizes{16, 64, 256, 1024};
constexpr unsigned usualSize = 64;
constexpr unsigned cpus = 8;
constexpr unsigned rounds = 7;
constexpr unsigned roundsOfTheLargest = 5;
constexpr double milli = 1e3;

struct Samples
{
    std::vector<double> name;
    std::vector<double> lastSet;
    std::vector<double> processorTime;
};

using SamplesOf = std::map<std::string, Samples>;

/** The first start of each program is for the warmth, and tells the world what will be asked. */
SamplesOf startEach(unsigned slots, const std::vector<Program>& programs)
{
    Stage stage({.slots = slots, .cpus = cpus});
    SamplesOf samples;
    const unsigned count = slots == sizes.back() ? roundsOfTheLargest : rounds;
    for (unsigned round = 0; round <= count; ++round)
    {
        for (const Program& program : programs)
        {
            const Run run(stage, program);
            if (round == 0)
            {
                continue;
            }
            if (!stage.world.answeredAtOnce())
            {
                throw sim::Error(program.name + " has asked otherwise than at its first start");
            }
            samples[program.name].name.push_back(run.untilName() * milli);
            samples[program.name].lastSet.push_back(run.untilLastSet() * milli);
            samples[program.name].processorTime.push_back(run.startUpProcessorTime() * milli);
        }
    }
    return samples;
}

Figure figureOf(const std::string& name, const std::string& title, const SamplesOf& samples,
                std::vector<double> Samples::*which)
{
    Figure figure{name, title, {}};
    for (const auto& [program, values] : samples)
    {
        figure.values[program] = median(values.*which);
    }
    return figure;
}

/** The power of the number of slots that the time grows with, between the ends. */
Figure growth(const Figure& smallest, const Figure& largest)
{
    Figure figure{"start-up-exponent", "growth of the start-up, 16 to 1024 slots, exponent", {}};
    for (const auto& [program, value] : smallest.values)
    {
        figure.values[program] = std::log(largest.values.at(program) / value) /
                                 std::log(double{sizes.back()} / sizes.front());
    }
    return figure;
}

} // namespace

void measureStartUps(Figures& figures)
{
    Figures startUps;
    for (const unsigned slots : sizes)
    {
        const auto samples =
            startEach(slots, slots == usualSize ? allPrograms() : comparedPrograms());
        if (slots == usualSize)
        {
            figures.push_back(figureOf("name", "exec to bus name, ms", samples, &Samples::name));
        }
        const std::string number = std::to_string(slots);
        startUps.push_back(figureOf("start-up-" + number,
                                    "start-up, exec to last Set, " + number + " slots, ms", samples,
                                    &Samples::lastSet));
        startUps.push_back(figureOf("start-up-cpu-" + number,
                                    "processor time of it, " + number + " slots, ms", samples,
                                    &Samples::processorTime));
    }
    startUps.push_back(growth(startUps.front(), startUps[startUps.size() - 2]));
    figures.insert(figures.end(), startUps.begin(), startUps.end());
}

} // namespace bench
