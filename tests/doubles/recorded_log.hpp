/*
 * The log as a test sees it: stands in for the platform logging library and keeps every line.
 *
 * All levels are recorded. A hook sees each line in the thread that writes it, before the writer
 * goes on: a test changes the world there, between two steps of an operation.
 *
 * Any thread; takes its own lock.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

struct LogLine
{
    int level = 0;
    int module = 0;
    std::string file;
    int line = 0;
    std::string function;
    std::string text; // behind "file.line.function: "
};

namespace recorded_log
{

using Hook = std::function<void(const LogLine&)>;

void clear(); // forgets the lines and the hook
std::vector<LogLine> lines();

/** "LEVEL FUNCTION: TEXT" of each line up to a level, in order: what most tests compare. */
std::vector<std::string> summary(int upToLevel = 9);

/** How many lines have exactly this text. */
std::size_t count(const std::string& text);
bool contains(const std::string& text);

/** Null takes it away. */
void setHook(Hook hook);

/** The highest level that is written; 9 after clear(). */
void setLevel(int level);

} // namespace recorded_log
