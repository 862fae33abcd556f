/*
 * Many captures, checked at once.
 *
 * The engine's state is process-wide, so each core gets a worker process of its own, which checks
 * its share one after the other and sends what it finds through a pipe. A capture that cannot be
 * read, or that ends its worker, is reported; the others are not touched by it.
 *
 * Main thread only, of a process without other threads: it forks.
 */
#pragma once

#include "inspect/findings.hpp"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace inspect
{

/** What came of one capture. */
struct Report
{
    std::string folder;
    std::string error; // why it could not be read; empty when it could
    std::size_t objects = 0;
    std::vector<Finding> findings;
};

/**
 * The captures in the folders: a folder with the three files is one, any other is searched. Throws
 * sim::Error when a folder is none, or holds no capture.
 */
std::vector<std::string> findCaptures(const std::vector<std::filesystem::path>& folders);

/** Told each time when another capture is done. */
using Progress = std::function<void(std::size_t done, std::size_t all)>;

/** One report for each folder, in their order. Throws sim::Error when no worker can be started. */
std::vector<Report> checkCaptures(const std::vector<std::string>& folders,
                                  const Progress& progress);

} // namespace inspect
