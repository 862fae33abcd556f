#pragma once

// Why the daemon may have paired two objects: guessed from what both show on the bus, and from the
// rules as a person knows them. The daemon itself is not asked.
// Any thread; no shared state.

#include "facts.hpp"

#include <string>

namespace hwinv_demo
{

/** Why a platform object stands for its slot. REQUIRES: the facts hold the object at `path`. */
std::string guessReason(const Facts& facts, const std::string& path, const std::string& smbiosSlot);

} // namespace hwinv_demo
