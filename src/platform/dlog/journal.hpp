/*
 * The journal as the place where lines go.
 *
 * Any thread, and any signal handler as long as the entry fits a datagram (200 kB at least): the
 * library takes no lock and no heap until then. Changes errno.
 * A journal that does not read holds up its writers, as it does every other service of the system;
 * its watchdog restarts it.
 */
#pragma once

#include <cstddef>
#include <string_view>
#include <sys/types.h>

namespace dlog
{

/** Where in the program a line was written; file and function may be null: unknown. */
struct Site
{
    const char* file;
    int line;
    const char* function;
};

/** Whether the value of JOURNAL_STREAM ("DEVICE:INODE", null when absent) names that file. */
bool namesStream(const char* journalStream, dev_t device, ino_t inode);

/** Whether standard error leads to the journal by the present environment. */
bool standardErrorIsJournal();

/** The syslog priority of a level: 3, 4, 6 and 7 for error, warning, info and trace. */
int priorityOf(int level);

/** Sends one entry. The message begins "MESSAGE=". False when the journal did not take it. */
bool sendToJournal(int level, int module, const Site& site, std::string_view message);

} // namespace dlog
