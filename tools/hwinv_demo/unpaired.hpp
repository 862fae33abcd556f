#pragma once

// Which objects could have a partner and have none.
// Any thread; no shared state.

#include "expectation.hpp"
#include "sim/objects.hpp"

#include <string>
#include <vector>

namespace hwinv_demo
{

/** The platform's slots, devices, twins and processors whose list is empty. */
std::vector<std::string> unpairedPlatform(const sim::Objects& kovd, const Lists& associations);

/** The SMBIOS slots, processors and caches that stand in no list. An object in such a place that
 *  lacks the interface of its kind counts as well: nobody pairs it. */
std::vector<std::string> unpairedSmbios(const sim::Objects& smbios, const Lists& associations);

} // namespace hwinv_demo
