#pragma once

// What the kernel tells about a running process.
//
// Any thread; no shared state. Throws sim::Error when the process has gone.

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kit
{

/** Processor time that all its threads have used, the ended ones included. */
std::chrono::nanoseconds processorTime(pid_t pid);

/** What its first thread has done so far; the rest of the time it slept. */
struct FirstThread
{
    std::chrono::nanoseconds ran{};
    std::chrono::nanoseconds waited{}; // while others had the processors
};

FirstThread firstThreadOf(pid_t pid);

/** What its open descriptors lead to, sorted, without the numbers that are new each time. */
std::vector<std::string> descriptorsOf(pid_t pid);

/** Of /proc/PID/status, in KiB: "VmRSS", "VmHWM" and the like. */
long statusNumber(pid_t pid, const std::string& name);

/** The number of the system call in which its first thread waits; -1 when it runs. */
long waitsIn(pid_t pid);

/** True when its first thread waits for events of its loop. */
bool waitsForEvents(pid_t pid);

/** Waits until it has ended, its parent may know of it or not; false when the time ran out. */
bool waitUntilGone(pid_t pid, std::chrono::milliseconds limit);

} // namespace kit
