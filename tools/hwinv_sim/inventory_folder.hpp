#pragma once

// Where the inventories are that a person calls by name.
// Any thread; no shared state.

#include <filesystem>
#include <string>
#include <vector>

namespace hwinv_sim
{

/** The folder of an inventory: `text` itself when it is a folder, else the one of that name in
 *  $HWINV_INVENTORIES or among the ones that came with the program. Throws sim::UsageError listing
 *  what there is.
 */
std::filesystem::path findInventory(const std::string& text);

/** The names that findInventory() knows, in order. */
std::vector<std::string> knownInventories();

} // namespace hwinv_sim
