#include "doubles/recorded_log.hpp"

#include "dlog/dlog.hpp"
#include "doubles/failing_allocation.hpp"
#include "doubles/seen_lines.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>

int dlog_threshold = 9;

namespace
{

std::mutex mutex;
std::vector<LogLine> recorded;
recorded_log::Hook lineHook;

[[gnu::format(printf, 1, 0)]] std::string formatted(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

} // namespace

int dlog_printf(int level, int module, const char* format, ...)
{
    if (!dlog_enabled(level))
    {
        return 0;
    }
    const failing_allocation::Uncounted notMine;
    constexpr const char* location = "%s.%d.%s: ";
    LogLine line;
    line.level = level;
    line.module = module;
    va_list arguments;
    va_start(arguments, format);
    line.text = formatted(format, arguments);
    va_end(arguments);
    if (std::strncmp(format, location, std::strlen(location)) == 0)
    {
        va_start(arguments, format);
        line.file = va_arg(arguments, const char*);
        line.line = va_arg(arguments, int);
        line.function = va_arg(arguments, const char*);
        va_end(arguments);
        line.text.erase(0, line.text.find(": ") + 2);
        format += std::strlen(location);
    }
    const bool hasWords = std::strcmp(format, "%s") != 0 && std::strcmp(format, "%.*s%s%.*s") != 0;
    sawLine(hasWords ? format : line.text);

    recorded_log::Hook hook;
    {
        const std::lock_guard lock(mutex);
        recorded.push_back(line);
        hook = lineHook;
    }
    if (hook)
    {
        hook(line);
    }
    return static_cast<int>(line.text.size());
}

void recorded_log::clear()
{
    const std::lock_guard lock(mutex);
    recorded.clear();
    lineHook = nullptr;
    dlog_threshold = 9;
}

std::vector<LogLine> recorded_log::lines()
{
    const std::lock_guard lock(mutex);
    return recorded;
}

std::vector<std::string> recorded_log::summary(int upToLevel)
{
    std::vector<std::string> all;
    for (const LogLine& line : lines())
    {
        if (line.level <= upToLevel)
        {
            all.push_back(std::to_string(line.level) + " " + line.function + ": " + line.text);
        }
    }
    return all;
}

std::size_t recorded_log::count(const std::string& text)
{
    const auto all = lines();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const LogLine& line) { return line.text == text; }));
}

bool recorded_log::contains(const std::string& text)
{
    return count(text) != 0;
}

void recorded_log::setHook(Hook hook)
{
    const std::lock_guard lock(mutex);
    lineHook = std::move(hook);
}

void recorded_log::setLevel(int level)
{
    dlog_threshold = level;
}
