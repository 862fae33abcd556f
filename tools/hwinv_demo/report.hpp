#pragma once

// The pairings as a table that a person likes to read: all of it read from the bus, only the
// reasons for what stays unpaired come from the inventory.
//
// REQUIRES: the thread that made the observer.

#include "expectation.hpp"
#include "rig/observer.hpp"
#include "sim/objects.hpp"

#include <ostream>
#include <string>

namespace hwinv_demo
{

/** What both services and the daemon show on the bus at one moment. */
struct Facts
{
    sim::Objects smbios;
    sim::Objects kovd;
    Lists associations;
};

/** A service that does not run shows nothing. */
Facts readFacts(rig::Observer& observer);

/** Slots with the objects that belong to them, processors with their lists, and what is left. */
void printReport(std::ostream& out, const Facts& facts, const Expectation& expected);

/** A path without what all paths share: "board/pcie_slot_01". */
std::string shortPath(const std::string& path);

/** A list in one line: "processor/L1CacheHandle -> cache0, …"; "nothing" when it is empty. */
std::string shortList(const sim::Associations& list);

} // namespace hwinv_demo
