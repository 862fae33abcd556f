/*
 * How a line leaves without ever holding up its writer.
 *
 * Standard error belongs to others as well, so it is not made non-blocking; instead each write is
 * preceded by a poll and asks not to wait. Kernels before 6.4 cannot do the latter on a pipe. There
 * the poll alone has to do: a pipe that is writable takes PIPE_BUF bytes at once, unless another
 * thread takes that room in between; this writer then waits until somebody reads.
 *
 * A line of at most PIPE_BUF bytes is one write and arrives whole, however many threads write. A
 * longer one is one write while it fits; what a pipe did not take follows when there is room, and
 * lines of other threads may come in between: a lock would keep them apart, but a signal handler
 * that meets its own thread's lock never returns.
 *
 * The count of lost lines is taken before its line is written and given back when that fails, so
 * two threads never report the same loss twice.
 *
 * A reader that is gone (POLLERR, POLLHUP) is not written to at all: SIGPIPE would end the program
 * for the sake of its log.
 */
#include "dlog/sink.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace dlog
{
namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{1};

// A regular file always takes data; not every file system knows writes that must not wait.
bool sinkIsFile = false; // Constant after start-up.

std::atomic<unsigned long> lostLines{0};
std::atomic<bool> stalled{false};
std::atomic<bool> lineCut{false}; // The last line got out in part: its end is missing.

static_assert(std::atomic<unsigned long>::is_always_lock_free);
static_assert(std::atomic<bool>::is_always_lock_free);

int millisecondsUntil(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

// False when the sink takes nothing until the deadline, or never will.
bool waitWritable(Clock::time_point deadline)
{
    if (sinkIsFile)
    {
        return true;
    }
    for (;;)
    {
        pollfd sink{STDERR_FILENO, POLLOUT, 0};
        const int ready = poll(&sink, 1, stalled ? 0 : millisecondsUntil(deadline));
        if (ready > 0)
        {
            stalled = false;
            return sink.revents == POLLOUT;
        }
        if (ready == 0)
        {
            stalled = true;
            return false;
        }
        if (errno != EINTR)
        {
            return false;
        }
    }
}

ssize_t writeSome(std::string_view text)
{
    if (sinkIsFile)
    {
        return write(STDERR_FILENO, text.data(), text.size());
    }
    const iovec piece{const_cast<char*>(text.data()), text.size()};
    const ssize_t written = pwritev2(STDERR_FILENO, &piece, 1, -1, RWF_NOWAIT);
    if (written >= 0 || (errno != EOPNOTSUPP && errno != ENOSYS))
    {
        return written;
    }
    return write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
}

bool writeAll(std::string_view text)
{
    std::string_view left = text;
    auto deadline = Clock::now() + patience;
    while (!left.empty() && waitWritable(deadline))
    {
        const ssize_t written = writeSome(left);
        if (written > 0)
        {
            left.remove_prefix(static_cast<std::size_t>(written));
            deadline = Clock::now() + patience; // a slow reader is not a stalled one
            continue;
        }
        const bool again = written < 0 && (errno == EINTR || errno == EAGAIN);
        if (!again || Clock::now() >= deadline)
        {
            break;
        }
    }
    if (!left.empty() && left.size() < text.size())
    {
        lineCut = true;
    }
    return left.empty();
}

bool reportLostLines()
{
    const unsigned long count = lostLines.exchange(0);
    if (count == 0)
    {
        return true;
    }
    const bool afterCut = lineCut.exchange(false);
    char note[96];
    const int size = std::snprintf(note, sizeof note, "%s1 300 dlog.%d.%s: %lu lines lost\n",
                                   afterCut ? "\n" : "", __LINE__, "writeLine", count);
    if (writeAll({note, static_cast<std::size_t>(size)}))
    {
        return true;
    }
    lineCut = lineCut || afterCut;
    lostLines += count;
    return false;
}

} // namespace

void openSink()
{
    struct stat status;
    sinkIsFile = fstat(STDERR_FILENO, &status) == 0 && S_ISREG(status.st_mode);
}

bool writeLine(std::string_view line)
{
    if (reportLostLines() && writeAll(line))
    {
        return true;
    }
    countLostLine();
    return false;
}

void countLostLine()
{
    lostLines++;
}

} // namespace dlog
