/*
 * The one way to write a log line: level, "file.line.function: text".
 *
 * A line names the operation that it belongs to, under one of the two labels that people and their
 * tools search the log for, whatever file the code lives in today; its number is the line of the
 * statement that wrote it. UTIL_LOG and CPU_LOG name the function that they are written in. A
 * helper that logs for its caller takes the caller's Site (UTIL_SITE, CPU_SITE) and logs with
 * LOG_AT.
 *
 * The level is checked before any argument is evaluated: a filtered line costs one comparison.
 * Any thread; takes no lock. Never throws.
 */
#pragma once

#include "dlog/dlog.hpp"

#include <string_view>

namespace level = dlog::level;

/** The operation that a line belongs to; both texts outlive the call. */
struct Site
{
    const char* file;
    const char* function;
};

namespace log_label
{
inline constexpr int module = 357;
inline constexpr const char* util = "kov_hwinv_util";
inline constexpr const char* cpu = "hwinv_CPUAssoc";
} // namespace log_label

// Macros, because they check the level before they evaluate and take the statement's line.
#define UTIL_SITE (Site{log_label::util, __func__})
#define CPU_SITE (Site{log_label::cpu, __func__})

#define LOG_AT(site, level, format, ...)                                                           \
    LOG_LINE(site, __LINE__, level, format __VA_OPT__(, ) __VA_ARGS__)

/** For a helper that its caller's statement stands for: it brings that statement's line. */
#define LOG_LINE(site, line, level, format, ...)                                                   \
    do                                                                                             \
    {                                                                                              \
        if (dlog_enabled(level))                                                                   \
        {                                                                                          \
            const Site& logSite_ = (site);                                                         \
            dlog_printf((level), log_label::module, "%s.%d.%s: " format, logSite_.file, (line),    \
                        logSite_.function __VA_OPT__(, ) __VA_ARGS__);                             \
        }                                                                                          \
    } while (false)

#define UTIL_LOG(level, format, ...) LOG_AT(UTIL_SITE, level, format __VA_OPT__(, ) __VA_ARGS__)
#define CPU_LOG(level, format, ...) LOG_AT(CPU_SITE, level, format __VA_OPT__(, ) __VA_ARGS__)

/**
 * A line that several callers word differently, around one text: a literal with one "%s" and no
 * other conversion. A caller's words stay whole, so that they can be searched for.
 */
class LineWithText
{
  public:
    // Implicit, so that a table of lines reads as the lines themselves.
    consteval LineWithText(const char* format) : before_(format)
    {
        const std::string_view whole = before_;
        const std::size_t at = whole.find('%');
        if (at == std::string_view::npos || whole.substr(at, 2) != "%s" ||
            whole.find('%', at + 1) != std::string_view::npos)
        {
            throw "the line needs exactly one %s"; // a compile error
        }
        before_ = whole.substr(0, at);
        behind_ = whole.substr(at + 2);
    }

    /** Writes the line at the site; `line` is the number of the statement. */
    void log(const Site& site, int line, int level, const char* text) const
    {
        LOG_LINE(site, line, level, "%.*s%s%.*s", static_cast<int>(before_.size()), before_.data(),
                 text, static_cast<int>(behind_.size()), behind_.data());
    }

  private:
    std::string_view before_;
    std::string_view behind_;
};
