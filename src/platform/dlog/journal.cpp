#include "dlog/journal.hpp"

// The places of interest are the callers', not this file's.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "dlog/dlog.hpp"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sys/stat.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace dlog
{
namespace
{

// One "NAME=value" of an entry. A value is a number or a name from the source code, so the room is
// ample; a longer name would be cut.
struct Field
{
    char text[128];
    std::size_t size = 0;

    [[gnu::format(printf, 2, 3)]] void print(const char* format, ...);
};

void Field::print(const char* format, ...)
{
    va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    size = std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof text - 1);
}

} // namespace

bool namesStream(const char* journalStream, dev_t device, ino_t inode)
{
    if (journalStream == nullptr)
    {
        return false;
    }
    const std::string_view text{journalStream};
    const char* const end = text.data() + text.size();
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    const auto [colon, firstError] = std::from_chars(text.data(), end, first);
    if (firstError != std::errc{} || colon == end || *colon != ':')
    {
        return false;
    }
    const auto [rest, secondError] = std::from_chars(colon + 1, end, second);
    return secondError == std::errc{} && rest == end && first == device && second == inode;
}

bool standardErrorIsJournal()
{
    struct stat status;
    return fstat(STDERR_FILENO, &status) == 0 &&
           namesStream(std::getenv("JOURNAL_STREAM"), status.st_dev, status.st_ino);
}

int priorityOf(int level)
{
    if (level < level::warning)
    {
        return 3;
    }
    if (level < level::info)
    {
        return 4;
    }
    return level < level::trace ? 6 : 7;
}

bool sendToJournal(int level, int module, const Site& site, std::string_view message)
{
    Field fields[6];
    int count = 0;
    fields[count++].print("PRIORITY=%d", priorityOf(level));
    fields[count++].print("DLOG_LEVEL=%d", level);
    fields[count++].print("DLOG_MODULE=%d", module);
    if (site.file != nullptr && site.function != nullptr)
    {
        fields[count++].print("CODE_FILE=%s", site.file);
        fields[count++].print("CODE_LINE=%d", site.line);
        fields[count++].print("CODE_FUNC=%s", site.function);
    }

    iovec entry[1 + std::size(fields)];
    entry[0] = {const_cast<char*>(message.data()), message.size()};
    std::transform(fields, fields + count, entry + 1,
                   [](Field& field) {
                       return iovec{field.text, field.size};
                   });
    return sd_journal_sendv(entry, 1 + count) >= 0;
}

} // namespace dlog
