/*
 * Small texts that several sentences and tables are made of.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "sim/value.hpp"
#include "store/property_map.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace inspect
{

/** "1 slot", "2 slots", "2 classes", "2 inventories". */
std::string counted(std::size_t number, const std::string& noun);

/** A text property; empty when there is none. */
std::string textOf(const PropertyMap& properties, std::string_view name);

/** Where a list leads to, without the path: "pcieslot1", "cpu0 +3 caches"; `none` when nowhere. */
std::string partnerText(const AssociationList& list, const std::string& none);

/** The list as programs read it: [[forward, reverse, endpoint], ...]. */
sim::Json tuplesOf(const AssociationList& list);

/** A path without what all paths of the inventory begin with: "board/pcie_slot_01". */
std::string shortPath(const std::string& path);

/** The text as XML and HTML write it. */
std::string escapeMarkup(const std::string& text);

} // namespace inspect
