#pragma once

// The pairings as a table that a person likes to read: all of it read from the bus, the reasons
// given by the daemon's engine.
//
// One thread at a time: the engine is asked.

#include "expectation.hpp"
#include "facts.hpp"
#include "table.hpp"

#include <ostream>
#include <string>

namespace hwinv_demo
{

/** Slots with the objects that belong to them, processors with their lists (also those that are
 *  expected to have one), and what is left. */
void printReport(std::ostream& out, const Facts& facts, const Expectation& expected,
                 std::size_t columns = unlimited);

/** A list in one line: "processor/L1CacheHandle -> cache0, …"; "nothing" when it is empty. */
std::string shortList(const sim::Associations& list);

} // namespace hwinv_demo
