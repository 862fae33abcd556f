/*
 * The one way to report that an operation has failed: whatever was thrown becomes one line at level
 * 1, in the operation's own words.
 *
 *     catch (...)
 *     {
 *         logFailure(UTIL_SITE, {"failed to read message[%s]", "failed to read message"});
 *     }
 *
 * Any thread; takes no lock. Never throws.
 */
#pragma once

#include "base/log.hpp"

/** What an operation says of a failure. */
struct FailureLines
{
    LineWithText standard; // a standard exception; the text is its what()
    const char* other;     // anything else

    LineWithText busError = standard; // a bus error, where the operation tells it apart
};

/** Only in a catch block: logs what was thrown. */
void logFailure(const Site& site, const FailureLines& lines, int line = __builtin_LINE());
