#pragma once

// The pairings as a table that a person likes to read: all of it read from the bus, only the
// reasons for what stays unpaired come from the inventory.
//
// Any thread; no shared state.

#include "expectation.hpp"
#include "facts.hpp"
#include "table.hpp"

#include <ostream>
#include <string>

namespace hwinv_demo
{

/** Slots with the objects that belong to them, processors with their lists, and what is left. An
 *  inventory that expects nothing gives no reasons. */
void printReport(std::ostream& out, const Facts& facts, const Expectation& expected,
                 std::size_t columns = unlimited);

/** A path without what all paths share: "board/pcie_slot_01". */
std::string shortPath(const std::string& path);

/** A list in one line: "processor/L1CacheHandle -> cache0, …"; "nothing" when it is empty. */
std::string shortList(const sim::Associations& list);

} // namespace hwinv_demo
