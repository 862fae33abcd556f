/*
 * Standard error as the place where lines go, when it is not the journal.
 *
 * A reader that takes nothing for a second is stalled: the line is dropped and counted, and so is
 * every further one, without waiting, until the reader takes data again. It then gets first
 * `1 300 dlog.LINE.writeLine: N lines lost`.
 *
 * Any thread, and any signal handler: atomics only, no lock, no heap. Changes errno.
 */
#pragma once

#include <string_view>

namespace dlog
{

/** Looks at what standard error is. Called once, before the first C++ static is built. */
void openSink();

/**
 * Writes one line, its newline included; in pieces where it might be interrupted otherwise. False
 * when it was lost, be it in part; the loss is counted.
 */
bool writeLine(std::string_view line);

/** For a line that was lost before it could be written. */
void countLostLine();

} // namespace dlog
