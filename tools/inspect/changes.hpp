/*
 * What differs between two inventories, and which pairings that changes.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "inspect/machine.hpp"

#include <string>
#include <vector>

namespace inspect
{

enum class ChangeKind
{
    appeared,
    changed,
    went,
};

const char* nameOf(ChangeKind kind);

struct Change
{
    ChangeKind kind = ChangeKind::changed;
    std::string path;
    std::vector<std::string> properties; // "SlotID: 3 -> 4", for a changed object
};

/** Where a platform object leads to by the rules; empty: nowhere. */
struct Repairing
{
    std::string path;
    std::string before;
    std::string after;
};

struct Difference
{
    std::vector<Change> changes; // ascending by path
    std::vector<Repairing> pairings;
};

/** What the daemon has written is no difference. */
Difference differenceOf(const Machine& before, const Machine& after);

} // namespace inspect
