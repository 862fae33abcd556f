/*
 * A private bus with a world on it, and one measured program at a time.
 *
 * Everything inherits the one processor that main() has pinned this process to: program, bus and
 * world take turns on it, so what a figure says is the work of all three and not who was moved
 * where. Everything throws sim::Error, also when a program does not make exactly the Sets that it
 * has to make.
 * REQUIRES: the thread that made it.
 */
#pragma once

#include "child/child.hpp"
#include "sim/bus.hpp"
#include "world.hpp"

#include <chrono>
#include <string>
#include <vector>

namespace bench
{

/** Which part of the job a program does. */
enum class Job
{
    everything,
    slotsOnly
};

struct Program
{
    std::string name;
    std::vector<std::string> command;
    Job job = Job::everything;

    /** It is told how many Sets its start-up has, because it does not find out. */
    bool isToldTheSets = false;
};

/** The programs of this build, in the order of the table's columns. */
Program daemonProgram();
Program floorProgram();
Program hopProgram();
std::vector<Program> comparedPrograms();
std::vector<Program> peerPrograms();
std::vector<Program> allPrograms();

/** A program of this build that is no daemon. */
std::string toolPath(const std::string& name);

struct Stage
{
    explicit Stage(const Shape& shape) : world(bus.address(), shape) {}

    sim::PrivateBus bus;
    World world;
};

/** How a program is started beside what it is. */
struct Manner
{
    /** Its DLOG_LEVEL. */
    int logLevel = 0;

    /** Where its standard error goes. */
    std::string log = "/dev/null";

    /** What runs it: a program and its arguments. */
    std::vector<std::string> before = {};

    std::chrono::seconds patience{20};
};

/** One start of a program, ended with the object. */
class Run
{
  public:
    /** Starts it and waits until it has made all Sets of its start-up and rests. */
    Run(Stage& stage, const Program& program, const Manner& manner = {});

    /** Sends the signals at once and waits for one Set each; seconds until the last one. */
    double burst(const std::vector<sim::Message>& signals);

    /** Sends one signal and waits for its Set, which has to go to `path`; seconds. */
    double event(const sim::Message& signal, const std::string& path);

    /** Seconds from exec to its name, and to the last Set of its start-up. */
    double untilName() const;
    double untilLastSet() const;

    /** Seconds of processor time of the start-up. */
    double startUpProcessorTime() const
    {
        return startUpProcessorTime_;
    }

    /** Seconds of processor time so far. */
    double processorTime() const;

    /** How often its threads have waited so far. */
    long waits() const;

    /** A line of its smaps_rollup, such as "Rss", in KiB. */
    double memory(const std::string& kind) const;

    /** Ends it with SIGTERM and waits for its end. */
    void end();

  private:
    child::Child start(const Program& program, const Manner& manner);

    Stage& stage_;
    Clock::time_point begin_;
    std::chrono::seconds patience_;
    child::Child child_;
    double startUpProcessorTime_ = 0;
    Clock::time_point lastSet_;
};

} // namespace bench
