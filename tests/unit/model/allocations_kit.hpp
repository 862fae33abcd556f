/*
 * For tests of memory that runs out: each allocation of an operation fails in turn, alone and with
 * the one behind it. Says at the end of the program how many failures there were.
 *
 * One thread.
 */
#pragma once

#include "machine.hpp"

#include <cstddef>
#include <functional>
#include <string>

namespace allocations
{

/** The failures that the program has come through. */
extern std::size_t survived;

struct Operation
{
    std::function<void()> before;
    std::function<void()> act;
};

/**
 * How many allocations the operation makes. After each failure it has ended without throwing, has
 * said so in a line that people know, has left the store whole, and both full passes work. Begins
 * and ends with an empty store.
 */
std::size_t failEach(const Operation& operation);

/** The same of an operation that needs memory. */
void expectEachFails(const Operation& operation);

inline const std::string& pathOf(machine::Kind kind, int number = 1)
{
    return machine::pathsOf(kind)[static_cast<std::size_t>(number) - 1];
}

} // namespace allocations
