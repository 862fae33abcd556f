#pragma once

// The verbs of hwinvctl. Each prints what was asked for and gives the program's status.
//
// Throws sim::UsageError when there is nothing to work on, any other exception when the work fails.
// Main thread only.

#include "options.hpp"

#include <string>
#include <vector>

namespace hwinvctl
{

struct ListOptions
{
    bool unpaired = false;
    bool stale = false;
    bool drifted = false;
};
int list(const Common& common, const ListOptions& options);

/** `other` may be empty. */
int explain(const Common& common, const std::string& object, const std::string& other);

struct CheckOptions
{
    std::vector<std::string> folders; // none: the inventory of Common
    std::string junit;                // a file to write
};
int check(const Common& common, const CheckOptions& options);

int doctor(const Common& common);

/** Returns when SIGINT or SIGTERM has come, when nobody reads any more, or when the bus goes. */
int watch(const Common& common);

struct CaptureOptions
{
    std::string folder;
    bool redact = false;
};
int capture(const Common& common, const CaptureOptions& options);

/** Two folders with a capture each. */
int diff(const Common& common, const std::string& before, const std::string& after);

/** The format is dot, svg, html or json. */
int exportPicture(const Common& common, const std::string& format);

} // namespace hwinvctl
