// What callgrind and other programs that print a number say: no figure here depends on the
// machine's mood.

#include "child/pipe.hpp"
#include "measures.hpp"
#include "sim/error.hpp"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>

namespace bench
{
namespace
{

using namespace std::chrono_literals;

constexpr Shape usual{.slots = 64, .cpus = 8};

/** A folder for what callgrind writes. */
class Scratch
{
  public:
    Scratch() : folder_(sim::makeTemporaryFolder()) {}
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string file(const std::string& name) const
    {
        return folder_ + "/" + name;
    }

  private:
    std::string folder_;
};

std::string outputOf(const std::vector<std::string>& command, const std::string& errorFile)
{
    constexpr auto patience = 60s;
    child::Pipe pipe = child::makePipe();
    std::string text;
    const child::Descriptor none{open(errorFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
    child::Child child({.command = command,
                        .environment = {"DLOG_LEVEL=4"},
                        .streams = {.output = pipe.write.get(), .error = none.get()}});
    pipe.write.reset();
    if (!child::readAll(pipe.read.get(), text, patience) || child.finish(patience) != 0)
    {
        throw sim::Error(command.front() + " has failed: " + text);
    }
    return text;
}

std::vector<std::string> callgrind(const std::string& output)
{
    return {"valgrind", "--tool=callgrind", "--callgrind-out-file=" + output};
}

double totalOf(const std::string& file)
{
    std::ifstream output(file);
    const std::string wanted = "totals: ";
    for (std::string line; std::getline(output, line);)
    {
        if (line.starts_with(wanted))
        {
            return std::stod(line.substr(wanted.size()));
        }
    }
    throw sim::Error("callgrind has written no total to " + file);
}

/** What one more unit of work costs; beginning and end of the program cancel out. */
double difference(const std::function<double(unsigned)>& count, unsigned few, unsigned many)
{
    return (count(many) - count(few)) / (many - few);
}

double ofTool(const std::vector<std::string>& command, const std::vector<std::string>& environment)
{
    const Scratch scratch;
    std::vector<std::string> whole = callgrind(scratch.file("out"));
    whole.insert(whole.end(), command.begin(), command.end());
    const child::Descriptor log{
        open(scratch.file("log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
    child::Child child({.command = whole,
                        .environment = environment,
                        .streams = {.output = log.get(), .error = log.get()}});
    if (child.finish(120s) != 0)
    {
        throw sim::Error(command.front() + " has failed under callgrind");
    }
    return totalOf(scratch.file("out"));
}

/** Instructions of a line at the default level. */
double ofALine()
{
    return difference(
        [](unsigned lines)
        {
            return ofTool({toolPath("hwinv_bench_lines"), std::to_string(lines)},
                          {"DLOG_LEVEL=5", "JOURNAL_STREAM"});
        },
        200, 1200);
}

/** Instructions of a comparison in the full pass, `which` rule decides. */
double ofAComparison(const std::string& which)
{
    constexpr unsigned slots = 128;
    const double pass = difference(
        [&](unsigned passes)
        {
            return ofTool({toolPath("hwinv_bench_engine"), which, std::to_string(slots),
                           std::to_string(passes)},
                          {"DLOG_LEVEL=4"});
        },
        1, 5);
    return pass / (double{slots} * slots);
}

using MakeEvent = std::function<sim::Object(unsigned)>;

/** Instructions of all threads of a program, with so many events. */
double ofRun(Stage& stage, const Program& program, const MakeEvent& make, unsigned events)
{
    const Scratch scratch;
    Run run(stage, program, {.before = callgrind(scratch.file("out")), .patience = 60s});
    for (unsigned number = 0; number < events; ++number)
    {
        const sim::Object object = make(number);
        run.event(stage.world.boardSignal(object), object.first);
        stage.world.runFor(1ms);
    }
    run.end();
    return totalOf(scratch.file("out"));
}

double ofAnEvent(const Program& program, const MakeEvent& make)
{
    Stage stage(usual);
    return difference([&](unsigned events) { return ofRun(stage, program, make, events); }, 70,
                      270);
}

double ofSlotEvent(const Program& program)
{
    return ofAnEvent(program, [](unsigned number) { return slotEvent(usual, number); });
}

} // namespace

double numberFrom(const std::vector<std::string>& command)
{
    return std::stod(outputOf(command, "/dev/null"));
}

void measureEngine(Figures& figures)
{
    const auto engine = [](const std::string& which) {
        return numberFrom({toolPath("hwinv_bench_engine"), which, "512", "8"});
    };
    figures.push_back({"comparison-identifiers",
                       "full pass, a comparison, identifiers differ, ns",
                       {{"daemon", engine("differ")}}});
    figures.push_back({"comparison-fqdd",
                       "full pass, a comparison, the FQDD rule decides, ns",
                       {{"daemon", engine("fqdd")}}});
    figures.push_back(
        {"heap",
         "live heap of a slot with its five objects and pairs, KiB",
         {{"daemon", numberFrom({toolPath("hwinv_bench_engine"), "heap", "1024"}) / 1024}}});
}

void measureSize(Figures& figures)
{
    const Scratch scratch;
    const std::string stripped = scratch.file("stripped");
    outputOf({"strip", "-o", stripped, daemonProgram().command.front()}, "/dev/null");
    figures.push_back(
        {"size",
         "stripped binary, KiB",
         {{"daemon", static_cast<double>(std::filesystem::file_size(stripped)) / 1024}}});
}

std::map<std::string, double> countInstructions()
{
    return {
        {"event-searched", ofSlotEvent(daemonProgram())},
        {"comparison-identifiers", ofAComparison("differ")},
        {"comparison-fqdd", ofAComparison("fqdd")},
        {"line", ofALine()},
    };
}

void measureInstructions(Figures& figures)
{
    const auto daemon = countInstructions();
    figures.push_back({"instructions-event",
                       "user instructions of a slot event, 64 slots searched",
                       {{"daemon", daemon.at("event-searched")},
                        {"floor", ofSlotEvent(floorProgram())},
                        {"hop", ofSlotEvent(hopProgram())}}});
    figures.push_back({"instructions-comparison-identifiers",
                       "instructions of a comparison, identifiers differ",
                       {{"daemon", daemon.at("comparison-identifiers")}}});
    figures.push_back({"instructions-comparison-fqdd",
                       "instructions of a comparison, the FQDD rule decides",
                       {{"daemon", daemon.at("comparison-fqdd")}}});
    figures.push_back({"instructions-line",
                       "instructions of a line at the default log level",
                       {{"daemon", daemon.at("line")}}});
}

} // namespace bench
