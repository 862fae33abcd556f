#pragma once

// What must stand on the bus once the daemon has settled: an inventory's expected.json.
// Any thread; no shared state.

#include "sim/value.hpp"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace hwinv_demo
{

using Lists = std::map<std::string, sim::Associations>;
using Reasons = std::map<std::string, std::string>;

struct Expectation
{
    /** Platform object to its whole list. */
    Lists pcie;
    Lists processors;

    /** What stays unpaired, and why. */
    Reasons unpairedPlatform;
    Reasons unpairedSmbios;
};

/** Throws sim::Error naming the file and what is wrong with it. */
Expectation readExpectation(const std::filesystem::path& file);

/** One line for each platform object whose list on the bus is not the expected one; none when the
 *  facts are as expected. */
std::vector<std::string> differences(const Expectation& expected, const Lists& onTheBus);

/** One line for each object that is unpaired without a reason for it, or paired in spite of one. */
std::vector<std::string> differences(const Reasons& reasons,
                                     const std::vector<std::string>& unpaired);

} // namespace hwinv_demo
