/*
 * How a line leaves without ever holding up its writer.
 *
 * Standard error belongs to others as well, so it is not made non-blocking; instead each write is
 * preceded by a poll and asks not to wait. Kernels before 6.4 cannot do the latter on a pipe. There
 * the poll alone has to do: a pipe that is writable takes PIPE_BUF bytes at once, unless another
 * thread takes that room in between; this writer then waits until somebody reads.
 *
 * A line of at most PIPE_BUF bytes (on a socket with a tiny buffer: of a part of that) is one write
 * and arrives whole, however many threads write. Only a regular file promises that for longer ones.
 * Elsewhere the kernel may take a part of such a line, and before the rest is written other threads
 * may write theirs; a lock would keep them apart, but a signal handler that meets its own thread's
 * lock never returns. The rest would then begin a physical line, with whatever bytes of a value
 * come next, also with such that look like a record. So a longer line leaves in pieces, each a
 * physical line of at most PIPE_BUF bytes and one write:
 *
 *   1 357 base.12.function: the first part...#7
 *   ...#7 the second part...#7
 *   ...#7 the end
 *
 * The number tells the pieces of different lines apart. A reader who takes away `...#7` and the
 * newline at the end of a piece, and `...#7 ` at the beginning of the next, has the line again. As
 * every record begins with its level, a physical line that begins with dots is never a record. A
 * pipe that has plenty of room gets the longer line whole, in one write.
 *
 * Should the kernel take less of a write than expected (a pipe that others have filled in the
 * meantime, a full disk), the last physical line has no end. Whoever writes next ends it first; the
 * line that was interrupted goes on with its mark in any case.
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
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
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

// How many bytes of one write no other writer can get in between. Constant after start-up.
std::size_t atomicSize = PIPE_BUF;

std::atomic<unsigned long> lostLines{0};
std::atomic<bool> stalled{false};
std::atomic<bool> endIsOpen{false}; // The last physical line has no newline yet.
std::atomic<unsigned> marks{0};

static_assert(std::atomic<unsigned>::is_always_lock_free);
static_assert(std::atomic<unsigned long>::is_always_lock_free);
static_assert(std::atomic<bool>::is_always_lock_free);

// How long somebody waits for a sink that is busy. The clock is not read before it is found so.
class Patience
{
  public:
    void start()
    {
        if (!started_)
        {
            started_ = true;
            end_ = Clock::now() + patience;
        }
    }

    void renew()
    {
        started_ = false;
    }

    bool isStarted() const
    {
        return started_;
    }

    int millisecondsLeft() const
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }

  private:
    bool started_ = false;
    Clock::time_point end_;
};

// False when the sink takes nothing for longer than that, or never will.
bool waitWritable(Patience& wait)
{
    if (sinkIsFile)
    {
        return true;
    }
    for (;;)
    {
        pollfd sink{STDERR_FILENO, POLLOUT, 0};
        const bool mayWait = wait.isStarted() && !stalled;
        const int ready = poll(&sink, 1, mayWait ? wait.millisecondsLeft() : 0);
        if (ready > 0)
        {
            stalled = false;
            return sink.revents == POLLOUT;
        }
        if (ready == 0 && (mayWait || stalled))
        {
            stalled = true;
            return false;
        }
        if (ready < 0 && errno != EINTR)
        {
            return false;
        }
        wait.start();
    }
}

// Whether a pipe takes that many bytes in one write, also when other threads write a few lines in
// between and when each of its pages is only half full.
bool pipeHasPlentyOfRoom(std::size_t size)
{
    const int capacity = fcntl(STDERR_FILENO, F_GETPIPE_SZ);
    int queued = 0;
    return capacity > 0 && ioctl(STDERR_FILENO, FIONREAD, &queued) == 0 &&
           size + static_cast<std::size_t>(queued) <= static_cast<std::size_t>(capacity) / 2;
}

// Fails with EOPNOTSUPP where a write of that size might have to wait.
ssize_t writeAtOnce(const iovec* parts, int count, std::size_t size)
{
    if (sinkIsFile)
    {
        return writev(STDERR_FILENO, parts, count);
    }
    const ssize_t written = pwritev2(STDERR_FILENO, parts, count, -1, RWF_NOWAIT);
    if (written >= 0 || (errno != EOPNOTSUPP && errno != ENOSYS))
    {
        return written;
    }
    errno = EOPNOTSUPP;
    return size <= atomicSize ? writev(STDERR_FILENO, parts, count) : -1;
}

iovec part(std::string_view bytes)
{
    return {const_cast<char*>(bytes.data()), bytes.size()};
}

// A line on its way, its newline included.
class Line
{
  public:
    explicit Line(std::string_view text) : left_(text) {}

    bool isOut() const
    {
        return left_.empty();
    }

    // One write; fails like one.
    ssize_t writePiece();

  private:
    std::string_view head(bool afterOpenEnd);
    std::size_t pieceSize(std::size_t headSize);
    std::size_t limit() const;
    void makeMark();
    void took(std::size_t size);

    std::string_view left_;
    bool begun_ = false;
    bool mayGoWhole_ = true;

    // "...#N\n...#N " once the line is known not to go whole: what ends a piece and begins the
    // next.
    char joint_[2 * sizeof "...#4294967295\n"];
    std::string_view mark_; // "...#N "
    std::string_view end_;  // "...#N\n"
};

void Line::makeMark()
{
    if (!mark_.empty())
    {
        return;
    }
    char digits[10];
    char* const last = std::to_chars(digits, std::end(digits), ++marks).ptr;
    char* out = joint_;
    for (const char separator : {'\n', ' '})
    {
        out = std::copy_n("...#", 4, out);
        out = std::copy(digits, last, out);
        *out++ = separator;
    }
    const std::size_t size = static_cast<std::size_t>(out - joint_) / 2;
    end_ = {joint_, size};
    mark_ = {joint_ + size, size};
}

// How many bytes one write takes in one piece.
std::size_t Line::limit() const
{
    if (sinkIsFile)
    {
        return SIZE_MAX;
    }
    const bool whole =
        mayGoWhole_ && left_.size() > atomicSize && pipeHasPlentyOfRoom(left_.size());
    return whole ? SIZE_MAX : atomicSize;
}

// What comes before the next part of the text.
std::string_view Line::head(bool afterOpenEnd)
{
    if (!begun_)
    {
        return afterOpenEnd ? "\n" : "";
    }
    makeMark();
    return afterOpenEnd ? std::string_view{joint_, end_.size() + mark_.size()} : mark_;
}

// How much of the text goes with the next piece.
std::size_t Line::pieceSize(std::size_t headSize)
{
    const std::size_t most = limit();
    if (headSize + left_.size() <= most)
    {
        return left_.size();
    }
    makeMark();
    std::size_t size = most - headSize - end_.size();
    const auto insideCharacter = [this](std::size_t at) { return (left_[at] & 0xc0) == 0x80; };
    for (int i = 0; i < 3 && insideCharacter(size); i++)
    {
        size--;
    }
    return size;
}

ssize_t Line::writePiece()
{
    const bool afterOpenEnd = endIsOpen;
    const std::string_view before = head(afterOpenEnd);
    const std::size_t size = pieceSize(before.size());
    const std::string_view after = size < left_.size() ? end_ : "";
    const iovec parts[] = {part(before), part(left_.substr(0, size)), part(after)};
    const int skipped = before.empty() ? 1 : 0;
    const int count = 3 - skipped - (after.empty() ? 1 : 0);
    const std::size_t all = before.size() + size + after.size();

    const ssize_t result = writeAtOnce(parts + skipped, count, all);
    if (result < 0 && errno == EOPNOTSUPP && mayGoWhole_)
    {
        mayGoWhole_ = false;
        errno = EAGAIN;
    }
    if (result > 0)
    {
        const auto written = static_cast<std::size_t>(result);
        took(std::min(size, written - std::min(written, before.size())));
        if ((written < all) != afterOpenEnd)
        {
            endIsOpen = written < all;
        }
    }
    return result;
}

void Line::took(std::size_t size)
{
    left_.remove_prefix(size);
    begun_ = begun_ || size > 0;
    mayGoWhole_ = false;
}

bool writeAll(std::string_view text)
{
    Line line{text};
    Patience wait;
    while (!line.isOut() && waitWritable(wait))
    {
        const ssize_t written = line.writePiece();
        if (written > 0)
        {
            wait.renew(); // a slow reader is not a stalled one
            continue;
        }
        const bool again = written < 0 && (errno == EINTR || errno == EAGAIN);
        wait.start();
        if (!again || wait.millisecondsLeft() == 0)
        {
            break;
        }
    }
    return line.isOut();
}

bool reportLostLines()
{
    const unsigned long count = lostLines.exchange(0);
    if (count == 0)
    {
        return true;
    }
    char note[96];
    const int size = std::snprintf(note, sizeof note, "1 300 dlog.%d.%s: %lu lines lost\n",
                                   __LINE__, "writeLine", count);
    if (writeAll({note, static_cast<std::size_t>(size)}))
    {
        return true;
    }
    lostLines += count;
    return false;
}

} // namespace

void openSink()
{
    struct stat status;
    if (fstat(STDERR_FILENO, &status) != 0)
    {
        return;
    }
    sinkIsFile = S_ISREG(status.st_mode);
    int buffer = 0;
    socklen_t size = sizeof buffer;
    if (S_ISSOCK(status.st_mode) &&
        getsockopt(STDERR_FILENO, SOL_SOCKET, SO_SNDBUF, &buffer, &size) == 0)
    {
        // A local socket divides what is longer than half of its buffer, less some overhead.
        atomicSize = std::clamp<std::size_t>(static_cast<std::size_t>(buffer) / 4, 512, PIPE_BUF);
    }
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
