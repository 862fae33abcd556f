#pragma once

// What a daemon has written to its standard error so far, line by line, and bounded waits for
// lines that are still to come.
//
// One thread appends; any thread reads and waits. Lines are numbered from 0 and never change, so
// that a reader can look at what came after a point of its own: take size() there.
// Any thread; takes its own lock.

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace rig
{

/** One line, as in "1 357 kov_hwinv_util.123.main: starting new process". */
struct LogLine
{
    /** 0 when the line is none of the log's: a sanitizer's, an assertion's. All else is in text. */
    int level = 0;
    int module = 0;
    std::string file;
    int line = 0;
    std::string function;
    std::string text;
};

LogLine parseLogLine(std::string_view raw);

/** For test failures: the line as it was written, or nearly so. */
std::ostream& operator<<(std::ostream& stream, const LogLine& line);

using LinePredicate = std::function<bool(const LogLine&)>;

/** Exactly this text from this function. */
LinePredicate says(std::string function, std::string text);

class Log
{
  public:
    std::size_t size() const;

    /** All lines from number `from` on. */
    std::vector<LogLine> lines(std::size_t from = 0) const;

    /** How many lines fit, from number `from` on. */
    std::size_t count(const LinePredicate& wanted, std::size_t from = 0) const;

    /** Waits until count(wanted, from) >= number; false when the time ran out or the writer ended
     *  before. */
    bool waitFor(const LinePredicate& wanted, std::chrono::milliseconds limit, std::size_t from = 0,
                 std::size_t number = 1) const;

    /** Waits until the writer has ended; false when the time ran out before. */
    bool waitForEnd(std::chrono::milliseconds limit) const;

    /** Takes the next bytes that the writer wrote, wherever its lines begin and end. */
    void append(std::string_view bytes);

    /** The writer will write no more. */
    void end();

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable grown_;
    std::vector<LogLine> lines_;
    std::string begun_;
    bool ended_ = false;
};

} // namespace rig
