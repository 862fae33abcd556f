/* Random events for the small machine: most are healthy, all of them collide. */
#pragma once

#include "machine.hpp"

#include <rapidcheck.h>

namespace random_events
{

/** A machine's life: its objects arrive, change and vanish in any order. */
rc::Gen<std::vector<machine::Event>> sequence();

} // namespace random_events
