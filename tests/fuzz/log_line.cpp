/*
 * The log, fed with texts, on a standard error that this program watches. The first byte chooses
 * what the kernel does with the writes, the second the level, the third how often the text comes,
 * which is the rest: also a long line needs few bytes.
 *
 * Whatever the text: nothing but newlines and printable bytes leaves, each physical line that was
 * not interrupted fits a pipe's atomic write, and its pieces together are the line, escaped as the
 * header says.
 */
#include "dlog/dlog.hpp"
#include "input.hpp"
#include "target.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

namespace
{

std::string written;
unsigned script = 0; // two bits for each write: whole, in part, again, or not without waiting
bool interrupted = false;

ssize_t take(const iovec* parts, int count, std::size_t most)
{
    std::size_t taken = 0;
    for (int i = 0; i < count && taken < most; ++i)
    {
        const std::size_t size = std::min(parts[i].iov_len, most - taken);
        written.append(static_cast<const char*>(parts[i].iov_base), size);
        taken += size;
    }
    return static_cast<ssize_t>(taken);
}

ssize_t answer(const iovec* parts, int count, bool mayWait)
{
    const unsigned what = script & 3U;
    script >>= 2U;
    switch (what)
    {
        case 1:
            interrupted = true;
            return take(parts, count, 3);
        case 2:
            errno = EAGAIN;
            return -1;
        case 3:
            errno = mayWait ? EINTR : EOPNOTSUPP;
            return -1;
        default:
            return take(parts, count, SIZE_MAX);
    }
}

} // namespace

// In the C library's place, for the lines of the log. Everybody else writes with write().
extern "C"
{
    ssize_t writev(int /*descriptor*/, const iovec* parts, int count)
    {
        return answer(parts, count, true);
    }

    ssize_t pwritev2(int /*descriptor*/, const iovec* parts, int count, off_t /*offset*/,
                     int /*flags*/)
    {
        return answer(parts, count, false);
    }
}

namespace
{

std::string hex(unsigned char byte)
{
    constexpr const char* digits = "0123456789abcdef";
    return std::string("\\x") + digits[byte >> 4U] + digits[byte & 15U];
}

/** Mostly once, and no longer than what standard error takes whole and a little more (below). */
std::string repeated(const std::string& text, unsigned choice)
{
    constexpr std::size_t mostBytes = 9000;
    std::string all = text;
    unsigned more = choice < 240 ? 0 : 10 * (choice - 239);
    for (; more > 0 && all.size() <= mostBytes; --more)
    {
        all += text;
    }
    return all;
}

/** The escaping as the header tells it, byte by byte. */
std::string escaped(const std::string& text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        if (byte == '\n' || byte == '\r' || byte == '\t')
        {
            out += byte == '\n' ? "\\n" : byte == '\r' ? "\\r" : "\\t";
        }
        else if (byte < 0x20 || byte == 0x7f)
        {
            out += hex(byte);
        }
        else if (byte == 0xc2 && next >= 0x80 && next <= 0x9f)
        {
            out += hex(byte) + hex(next);
            ++i;
        }
        else
        {
            out += text[i];
        }
    }
    return out;
}

/** Takes the marks away that divide a long line: "...#N", newline, "...#N ". */
std::string joined(std::string lines)
{
    for (std::size_t newline = lines.find('\n'); newline + 1 < lines.size();
         newline = lines.find('\n', newline))
    {
        const std::size_t blank = lines.find(' ', newline);
        require(lines.compare(newline + 1, 4, "...#") == 0 && blank != std::string::npos,
                "a piece begins with its mark");
        const std::string mark = lines.substr(newline + 1, blank - newline - 1);
        require(newline >= mark.size() &&
                    lines.compare(newline - mark.size(), mark.size(), mark) == 0,
                "a piece ends with the mark of the next");
        lines.erase(newline - mark.size(), 2 * mark.size() + 2);
        newline -= mark.size();
    }
    return lines;
}

void checkBytes()
{
    std::size_t length = 0;
    for (const char byte : written)
    {
        const auto value = static_cast<unsigned char>(byte);
        require(value == '\n' || (value >= 0x20 && value != 0x7f), "no control character leaves");
        length = byte == '\n' ? 0 : length + 1;
    }
    require(written.empty() || written.back() == '\n' || interrupted, "a line ends");
}

/** Makes standard error a pipe of four pages where it is a pipe: it then takes a line of up to two
 * of them whole and a longer one in pieces, so that lines can be short here. */
void shortenStandardError()
{
    constexpr int pages = 4;
    [[maybe_unused]] static const int size =
        fcntl(STDERR_FILENO, F_SETPIPE_SZ, pages * static_cast<int>(sysconf(_SC_PAGESIZE)));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    shortenStandardError();
    Input input(data, size);
    script = input.byte();
    const bool undisturbed = script == 0;
    const int level = input.byte() % 10;
    dlog_threshold = 5;
    written.clear();
    interrupted = false;
    const unsigned times = input.byte();
    const std::string text = repeated(input.rest().c_str(), times); // up to a zero byte, like %s
    errno = 77;
    const int result =
        dlog_printf(level, 357, "%s.%d.%s: text=%s\n", "file", 12, "function", text.c_str());
    require(errno == 77, "errno is kept");
    const std::string line =
        std::to_string(level) + " 357 file.12.function: text=" + escaped(text) + "\n";
    checkBytes();
    require(level <= 5 || (result == 0 && written.empty()), "a filtered line leaves nothing");
    if (level <= 5 && undisturbed)
    {
        require(joined(written) == line, "the line");
        require(result == static_cast<int>(line.size()), "the result");
    }
    // What an interrupted line has left open is ended by the next one.
    script = 0;
    written.clear();
    dlog_printf(1, 357, "%s", "end");
    require(written == "1 357 end\n" || written == "\n1 357 end\n", "the next line");
    return 0;
}
