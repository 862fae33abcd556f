/*
 * What happens to a line: format, escape, send.
 *
 * vsnprintf formats. No standard says that it may be called in a signal handler, but glibc's takes
 * neither lock nor heap for %s, %c, %p and the integer conversions: it works on a private string
 * stream and calls malloc only for wide characters, floating point, numbered arguments and widths
 * or precisions beyond its own stack room. The header allows no other lines in a handler.
 *
 * A line that outgrows its stack buffer is formatted again into a mapping of the size that the
 * first attempt told. Without memory the whole line is lost, and the loss is counted where the line
 * would have been.
 *
 * The environment is read by a constructor function that runs before the C++ statics of the program
 * are built, for they may log.
 */
#include "dlog/dlog.hpp"

#include "dlog/buffer.hpp"
#include "dlog/escape.hpp"
#include "dlog/journal.hpp"
#include "dlog/sink.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string_view>

constinit int dlog_threshold = dlog::level::info;

namespace
{

using namespace dlog;

bool sinkIsJournal = false; // Constant after start-up.

int thresholdFrom(const char* text)
{
    const std::string_view digits{text != nullptr ? text : ""};
    int threshold = 0;
    const auto [rest, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), threshold);
    const bool plainNumber =
        error == std::errc{} && rest == digits.data() + digits.size() && threshold >= 0;
    return plainNumber ? threshold : level::info;
}

[[gnu::constructor(101)]] void readEnvironment()
{
    dlog_threshold = thresholdFrom(std::getenv("DLOG_LEVEL"));
    sinkIsJournal = standardErrorIsJournal();
    openSink();
}

class KeptErrno
{
  public:
    KeptErrno() = default;
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;

    ~KeptErrno()
    {
        errno = kept_;
    }

  private:
    int kept_ = errno;
};

// The text of the line, without the newline that ends its format. Empty data when it cannot be had.
[[gnu::format(printf, 2, 0), gnu::nonnull(2)]] std::string_view
formatText(Buffer& buffer, const char* format, va_list values)
{
    va_list again;
    va_copy(again, values);
    int length = std::vsnprintf(buffer.data(), buffer.size(), format, values);
    if (length >= 0 && static_cast<std::size_t>(length) >= buffer.size())
    {
        const bool room = buffer.makeRoom(static_cast<std::size_t>(length) + 1);
        length = room ? std::vsnprintf(buffer.data(), buffer.size(), format, again) : -1;
    }
    va_end(again);
    if (length < 0)
    {
        return {};
    }
    const bool endsLine = std::string_view{format}.ends_with('\n');
    return {buffer.data(), static_cast<std::size_t>(length) - (endsLine ? 1 : 0)};
}

Site siteOf(const char* format, va_list values)
{
    if (!std::string_view{format}.starts_with("%s.%d.%s: "))
    {
        return {nullptr, 0, nullptr};
    }
    const char* const file = va_arg(values, const char*);
    const int line = va_arg(values, int);
    const char* const function = va_arg(values, const char*);
    return {file, line, function};
}

// Prefix, escaped text and suffix in one piece. Empty data when there is no memory.
std::string_view assemble(Buffer& buffer, std::string_view prefix, std::string_view text,
                          std::string_view suffix)
{
    const std::size_t textSize = escapedSize(text);
    const std::size_t size = prefix.size() + textSize + suffix.size();
    if (!buffer.makeRoom(size))
    {
        return {};
    }
    char* out = buffer.data();
    out = std::copy(prefix.begin(), prefix.end(), out);
    out = escape(text, textSize, out);
    std::copy(suffix.begin(), suffix.end(), out);
    return {buffer.data(), size};
}

int bytesOf(std::string_view line)
{
    return static_cast<int>(std::min<std::size_t>(line.size(), INT_MAX));
}

int logToJournal(int level, int module, const Site& site, std::string_view text)
{
    Buffer buffer;
    const std::string_view message = assemble(buffer, "MESSAGE=", text, "");
    const bool sent = !message.empty() && sendToJournal(level, module, site, message);
    return sent ? bytesOf(message) : -1;
}

int logToSink(int level, int module, std::string_view text)
{
    char prefix[2 * sizeof "-2147483648"];
    char* end = prefix;
    for (const int number : {level, module})
    {
        end = std::to_chars(end, std::end(prefix), number).ptr;
        *end++ = ' ';
    }
    Buffer buffer;
    const std::string_view line = assemble(buffer, {prefix, end}, text, "\n");
    if (line.empty())
    {
        countLostLine();
        return -1;
    }
    return writeLine(line) ? bytesOf(line) : -1;
}

} // namespace

int dlog_printf(int level, int module, const char* format, ...)
{
    if (!dlog_enabled(level))
    {
        return 0;
    }
    const KeptErrno keptErrno;
    Buffer buffer;
    va_list values;
    va_start(values, format);
    const std::string_view text = formatText(buffer, format, values);
    va_end(values);
    if (text.data() == nullptr)
    {
        countLostLine();
        return -1;
    }
    if (sinkIsJournal)
    {
        va_start(values, format);
        const Site site = siteOf(format, values);
        va_end(values);
        const int sent = logToJournal(level, module, site, text);
        if (sent > 0)
        {
            return sent;
        }
    }
    // An entry that the journal refuses can still be a line on its stream.
    return logToSink(level, module, text);
}
