#pragma once

// Faults as a person writes them: [SERVICE:]MEMBER[@PATH][*TIMES][=VALUE].
//
// SERVICE is "smbios" or "kovd" (both when missing), MEMBER a method, PATH one object (any when
// missing), TIMES how many calls are spoiled, at least 1 (all when missing). VALUE is the error
// name of a failure and the milliseconds of a delay. Any thread; no shared state.

#include "sim/fault.hpp"

#include <string>

namespace hwinv_sim
{

struct ServiceFault
{
    /** "smbios", "kovd", or empty for both. */
    std::string service;
    sim::Fault fault;
};

/** `kind` is "fail", "hang" or "delay"; throws sim::UsageError saying what is wrong with the text.
 */
ServiceFault parseFault(const std::string& kind, const std::string& text);

} // namespace hwinv_sim
