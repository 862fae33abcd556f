#include "dlog/journal.hpp"

// The places of interest are the callers', not this file's.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "dlog/dlog.hpp"

#include <systemd/sd-journal.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
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

    void set(std::string_view name, int value);
    void set(std::string_view name, std::string_view value);
    void append(std::string_view bytes);
};

void Field::append(std::string_view bytes)
{
    size += bytes.copy(text + size, sizeof text - size);
}

void Field::set(std::string_view name, std::string_view value)
{
    append(name);
    append(value);
}

void Field::set(std::string_view name, int value)
{
    char digits[sizeof "-2147483648"];
    set(name, {digits, std::to_chars(digits, std::end(digits), value).ptr});
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
    const auto [colon, firstError] = std::from_chars(text.data(), text.data() + text.size(), first);
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
    fields[count++].set("PRIORITY=", priorityOf(level));
    fields[count++].set("DLOG_LEVEL=", level);
    fields[count++].set("DLOG_MODULE=", module);
    if (site.file != nullptr && site.function != nullptr)
    {
        fields[count++].set("CODE_FILE=", site.file);
        fields[count++].set("CODE_LINE=", site.line);
        fields[count++].set("CODE_FUNC=", site.function);
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
