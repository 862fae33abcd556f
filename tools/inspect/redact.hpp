/*
 * Taking out of an inventory what identifies one single machine.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "inspect/world.hpp"

#include <cstddef>

namespace inspect
{

/** Replaces the values of serial numbers, asset and service tags and UUIDs, whatever interface they
 *  are in; how many there were. Matching reads none of them. */
std::size_t redact(World& world);

} // namespace inspect
