#pragma once

// Worlds for the inspector's tests: the shipped inventories, and machines made in code.
// Any thread; no shared state, but written() runs the engine: one thread at a time.

#include "inspect/machine.hpp"
#include "inspect/world.hpp"
#include "sim/capture.hpp"
#include "sim/samples.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace worlds
{

inline const std::filesystem::path inventories = INVENTORY_FOLDER;
inline const std::string systemPath = "/xyz/openbmc_project/inventory/system/";

/** A shipped inventory, examined once. */
const inspect::Machine& healthy(); // two-socket-2u
const inspect::Machine& awkward();

/** What explain() says of the object that a person means, in a sentence and in a few words. */
std::string sentenceOf(const inspect::Machine& machine, const std::string& named);
std::string reasonOf(const inspect::Machine& machine, const std::string& named);

inspect::World worldOf(const sim::InventoryCapture& made);

/** The world with what the daemon writes standing on its objects. */
inspect::World written(inspect::World world);

/** Puts a list on an object of the board. */
void setList(inspect::World& world, const std::string& path, const sim::Associations& list);

sim::Value& property(sim::Objects& objects, const std::string& path, std::string_view interface,
                     const char* name);

/** A property as a service publishes it; throws std::logic_error for what no test makes. */
sim::Value toValue(const PropertyValue& value);

/** The properties as a service publishes them. */
sim::Properties toProperties(const PropertyMap& properties);

} // namespace worlds
