/*
 * Memory that runs out on request: linked into a test program, it stands in for the global
 * operator new. Each thread has a countdown of its own.
 */
#pragma once

#include <cstddef>

namespace failing_allocation
{

/** The allocation of this thread behind the next `spared` ones throws std::bad_alloc, once. */
void arm(std::size_t spared);

/** True when the failure has happened; there will be none after this call. */
bool disarm();

} // namespace failing_allocation
