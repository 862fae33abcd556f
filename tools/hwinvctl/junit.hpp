#pragma once

// The findings in the form that continuous integration reads: a suite for each inventory, a failed
// case for each finding, a passed one for an inventory without any.
// Any thread; no shared state.

#include "inspect/fleet.hpp"

#include <string>
#include <vector>

namespace hwinvctl
{

std::string formatJunit(const std::vector<inspect::Report>& reports);

} // namespace hwinvctl
