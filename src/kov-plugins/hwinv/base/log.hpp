/*
 * The one way to write a log line: level, "file.line.function: text".
 *
 * A line names the operation that it belongs to, under one of the two base names that people and
 * their tools search the log for, whatever file the code lives in today. UTIL_LOG and CPU_LOG take
 * the place where they stand. A helper that speaks for its caller takes the caller's Site
 * (UTIL_SITE, CPU_SITE) and logs with LOG_AT.
 *
 * The level is checked before any argument is evaluated: a filtered line costs one comparison.
 * Any thread; takes no lock. Never throws.
 */
#pragma once

#include "dlog/dlog.hpp"

/** Where a line claims to come from; all three outlive the call. */
struct Site
{
    const char* file;
    int line;
    const char* function;
};

namespace trace
{
inline constexpr int module = 357;
inline constexpr const char* utilFile = "kov_hwinv_util";
inline constexpr const char* cpuFile = "hwinv_CPUAssoc";

// What each level is for.
inline constexpr int error = dlog::level::error;     // failures, and lines that must always show
inline constexpr int warning = dlog::level::warning; // warnings and notable non-failures
inline constexpr int info = dlog::level::info;       // success
inline constexpr int detail = dlog::level::trace;    // detailed trace
} // namespace trace

// Macros, because they check the level before they evaluate and take the caller's line.
#define UTIL_SITE (Site{trace::utilFile, __LINE__, __func__})
#define CPU_SITE (Site{trace::cpuFile, __LINE__, __func__})

#define LOG_AT(site, level, format, ...)                                                           \
    do                                                                                             \
    {                                                                                              \
        if (dlog_enabled(level))                                                                   \
        {                                                                                          \
            const Site& logSite_ = (site);                                                         \
            dlog_printf((level), trace::module, "%s.%d.%s: " format, logSite_.file, logSite_.line, \
                        logSite_.function __VA_OPT__(, ) __VA_ARGS__);                             \
        }                                                                                          \
    } while (false)

#define UTIL_LOG(level, format, ...) LOG_AT(UTIL_SITE, level, format __VA_OPT__(, ) __VA_ARGS__)
#define CPU_LOG(level, format, ...) LOG_AT(CPU_SITE, level, format __VA_OPT__(, ) __VA_ARGS__)
