/*
 * The platform's debug log, as a host without the platform has it.
 *
 * One call is one line on standard error, `LEVEL MODULE TEXT`, written with a single write. Control
 * characters in the text are written escaped, so that no value can forge a line. Where standard
 * error is the journal, the line becomes a structured entry instead.
 *
 * The journal and a regular file get every line whole. On a pipe, a socket or a terminal, a line of
 * more than PIPE_BUF (4,096) bytes that might not be taken at once arrives in pieces, each a line
 * of its own: all but the last end with `...#N`, all but the first begin with `...#N `, and N is
 * the same for all pieces of a line. No physical line begins like a record that nobody wrote.
 *
 * DLOG_LEVEL in the environment names the highest level that is written: 5 when it is absent or is
 * no plain number, 0 silences everything. It is read once, before the first C++ static is built.
 *
 * A reader that takes nothing for a second costs its writers that second once; from then on lines
 * are dropped and counted until it reads again, and the first thing it then reads is how many it
 * missed. Errors are told by the result alone.
 *
 * Any thread; takes no lock. Any signal handler: no heap either, and errno is kept.
 */
#pragma once

namespace dlog::level
{
constexpr int error = 1;
constexpr int warning = 4;
constexpr int info = 5;
constexpr int trace = 9;
} // namespace dlog::level

/** The highest level that is written. Constant after start-up. */
extern int dlog_threshold;

/** Asked before the arguments of a line are built, it makes a filtered line cost one comparison. */
inline bool dlog_enabled(int level)
{
    return level <= dlog_threshold;
}

/**
 * Writes one line. A newline at the end of the format is the line's own, not a second one. A format
 * that begins "%s.%d.%s: " names the file, line and function of the call.
 * In a signal handler only %s, %c, %p and the integer conversions, without ' and without widths or
 * precisions in the hundreds.
 * Returns the number of bytes of the line as if it were written whole, 0 when the level is
 * filtered, -1 when the line was lost, be it in part.
 */
[[gnu::format(printf, 3, 4), gnu::nonnull(3)]] int dlog_printf(int level, int module,
                                                               const char* format, ...);
