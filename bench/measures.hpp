/*
 * The figures, in groups that can be measured one by one.
 *
 * Within a figure the programs take turns, round by round, and the median of the rounds counts. A
 * group appends its figures; it throws sim::Error when a program does not do its work.
 * REQUIRES: the thread that made the worlds.
 */
#pragma once

#include "report.hpp"
#include "stage.hpp"

#include <map>
#include <string>

namespace bench
{

/** Latency and processor time of events that come one at a time, and of bursts. */
void measureEvents(Figures& figures);
void measureBursts(Figures& figures);

/** The same at the default log level against no log. */
void measureLogging(Figures& figures);

/** From exec to the name, and start-ups of machines of four sizes. */
void measureStartUps(Figures& figures);

/** What the full pass costs, and what the heap holds: without a bus. */
void measureEngine(Figures& figures);

/** What stays in memory: idle, while events go by, and after floods. */
void measureResidence(Figures& figures);
void measureGrowth(Figures& figures);
void measureFloods(Figures& figures);

/** Wake-ups of idle programs. */
void measureIdleness(Figures& figures);

/** The daemon's file without symbols. */
void measureSize(Figures& figures);

/** Instructions by callgrind. */
void measureInstructions(Figures& figures);

/** Those of them that are the daemon's, by name: the same in each run within 2 %. */
std::map<std::string, double> countInstructions();

/** Runs a program of this build that prints one number, which is returned. */
double numberFrom(const std::vector<std::string>& command);

} // namespace bench
