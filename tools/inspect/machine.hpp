/*
 * One machine: what its services publish, what the daemon makes of it, and how the two agree.
 *
 * Any thread; no shared state, but examine() runs the engine: one thread at a time.
 */
#pragma once

#include "inspect/engine_run.hpp"
#include "inspect/world.hpp"

#include <string>
#include <vector>

namespace inspect
{

enum class State
{
    paired,
    unpaired,
    stale,   // an endpoint does not exist any more
    drifted, // what stands on the object is not what the rules give for this inventory
};

const char* nameOf(State state);

/** A platform object that the daemon cares for, or that carries associations. */
struct Entry
{
    std::string path;
    std::optional<Kind> kind; // nothing when the daemon does not store it
    AssociationList actual;   // what stands on it; what the rules give where nothing can stand
    AssociationList expected; // what the rules give
    State state = State::unpaired;
};

/** An SMBIOS object to which no association leads. */
struct Untaken
{
    std::string path;
    Kind kind = Kind::smbiosSlot;
};

struct Machine
{
    World world;
    Outcome outcome;

    /**
     * Whether the inventory tells what has been written: it is live, or some object carries an
     * association. A capture without any was taken where the daemon did not run, and shows what it
     * would write.
     */
    bool written = false;

    std::vector<Entry> entries; // ascending by path
    std::vector<Untaken> untaken;

    /** Null when there is no such entry. */
    const Entry* find(const std::string& path) const;
};

Machine examine(World world);

/** Where the object leads to: the SMBIOS slot or processor, not its caches; empty when nowhere. */
std::string partnerOf(const AssociationList& list);

/** How many caches are in the list. */
std::size_t cachesIn(const AssociationList& list);

} // namespace inspect
