#pragma once

// What every verb has in common: where the inventory comes from, and how it is shown.
// Main thread only.

#include "inspect/machine.hpp"
#include "sim/sdbus.hpp"
#include "sim/value.hpp"

#include <string>

namespace hwinvctl
{

struct Common
{
    std::string address;      // of a bus; else the system bus
    std::string from;         // a folder with a capture; else a bus is read
    std::string json = "off"; // short, pretty, off; auto is pretty on a terminal
};

bool wantsJson(const Common& common);

/** Prints in the chosen form. */
void printJson(const Common& common, const sim::Json& json);

/** The bus of the options; throws sim::UsageError when it cannot be reached. */
sim::Connection openBus(const Common& common);

/** The inventory of the options; throws sim::UsageError when it cannot be read. */
inspect::World readWorld(const Common& common);

/** Prints lines that fit the terminal. */
void printText(const std::string& text);

} // namespace hwinvctl
