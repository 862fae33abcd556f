/*
 * Which lines of the log the tests have seen: HWINV_SEEN_LINES in the environment names a folder,
 * and each process adds a file with what it saw, each text once. Without it nothing happens.
 * scripts/coverage compares all of them with the texts in the sources.
 *
 * Any thread; takes a lock of its own.
 */
#pragma once

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <set>
#include <string>
#include <unistd.h>

/** The format of a line, or its text where the format has no words of its own. */
inline void sawLine(const std::string& formatOrText)
{
    static const char* const folder = std::getenv("HWINV_SEEN_LINES");
    if (folder == nullptr)
    {
        return;
    }
    static std::mutex mutex;
    static std::set<std::string> seen;
    const std::lock_guard lock(mutex);
    if (seen.insert(formatOrText).second)
    {
        std::ofstream file(std::string(folder) + "/" + std::to_string(getpid()), std::ios::app);
        file << formatOrText << '\n';
    }
}
