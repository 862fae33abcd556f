#pragma once

// What all programs for people have in common: how they end, what they say when they fail, and
// which version they are.
// Main thread only.

#include <functional>
#include <optional>
#include <string>

namespace CLI
{
class App;
}

namespace program
{

/** What was asked for is done. */
inline constexpr int done = 0;

/** It could not be done, or it was done and came out wrong. */
inline constexpr int failed = 1;

/** It could not even be begun: the command line, or what it names, is wrong. */
inline constexpr int misused = 2;

/** Reads the command line, and answers --help and --version. The status to end with when that is
 *  all there is to do, or when the command line is wrong, which is then said; else nothing. */
std::optional<int> readCommandLine(CLI::App& app, int argc, char** argv);

/** Runs the program's work and gives its status. What it throws is said as "NAME: what": after a
 *  sim::UsageError the status is `misused`, after any other exception `failed`. An output that
 *  could not be written is a failure, too. */
int run(const std::string& name, const std::function<int()>& work);

/** Throws sim::Error unless all that was printed on standard output has been written. */
void finishOutput();

} // namespace program
