/*
 * What is wrong with an inventory, or will be: for the people who make firmware and platforms.
 *
 * The rules are never said a second time here. Whether one changed property would make a pair,
 * which type the daemon reads and which locator types it knows is asked of the engine itself.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "inspect/machine.hpp"

#include <string>
#include <vector>

namespace inspect
{

enum class Severity
{
    error,   // something is not paired, or costs the daemon work for ever
    warning, // it may be paired wrongly
};

const char* nameOf(Severity severity);

struct Finding
{
    /** A name that programs may rely on; see docs/INSPECTING.md. */
    std::string code;
    Severity severity = Severity::warning;
    std::string path;
    std::string sentence;
    std::string change; // what to do about it
};

/** In the order of the checks, and by path within each. */
std::vector<Finding> check(const Machine& machine);

} // namespace inspect
