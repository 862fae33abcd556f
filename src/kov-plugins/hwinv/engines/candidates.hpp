/*
 * The walk that all searches share: over the paths that a map has at one moment, in path order,
 * each with the object as it is when the walk gets there.
 *
 * What the searches say of an entry that cannot be compared, and whether a vanished one ends the
 * walk, differs from search to search; each names it at the call.
 *
 * Any thread; takes the map's own lock at the beginning and, once the map has changed, for each
 * look-up; holds none while it visits.
 */
#pragma once

#include "base/log.hpp"
#include "store/object_map.hpp"

#include <string>

/** What is said of an entry that cannot be compared; the text is its path. */
struct UnusableLines
{
    LineWithText vanished; // gone since the walk began
    LineWithText empty;    // stored without properties
};

inline constexpr UnusableLines unusableSmbios{
    "SMBIOS object not found for objPath: %s",
    "SMBIOS object properties could not be obtained for objPath: %s",
};
inline constexpr UnusableLines unusableKovd{
    "KOVD object not found for objPath: %s",
    "KOVD object properties could not be obtained for objPath: %s",
};

enum class CandidateState
{
    usable,
    vanished,
    empty,
};

/** Logs, in the search's name, why there is nothing to compare: no object, or an empty one. */
CandidateState reportUnusable(const Site& site, const UnusableLines& lines, const std::string& path,
                              const StoredObject* object, int line);

/** Anything but usable is logged. */
inline CandidateState examine(const Site& site, const UnusableLines& lines, const std::string& path,
                              const StoredObject* object, int line = __builtin_LINE())
{
    return object != nullptr && !object->properties.empty()
               ? CandidateState::usable
               : reportUnusable(site, lines, path, object, line);
}

enum class OnVanished
{
    skip,
    endWalk,
};

/** A visitor's answer. */
enum class Walk
{
    goOn,
    end,
};

enum class WalkEnd
{
    behindLast, // every entry has had its turn
    byVisitor,
    atVanished,
};

/**
 * Calls `visit(object)` for each usable entry, until it answers Walk::end. Throws what `visit`
 * throws.
 */
template <class Visit>
WalkEnd walkCandidates(const Site& site, const ObjectMap& map, const UnusableLines& lines,
                       OnVanished onVanished, Visit visit, int line = __builtin_LINE())
{
    const ObjectMap::Snapshot snapshot = map.snapshot();
    for (const SharedObject& then : *snapshot)
    {
        const StoredObject* object = then.get();
        SharedObject now; // keeps what another thread may replace meanwhile
        if (!map.isLatest(snapshot))
        {
            now = map.findObject(then->path);
            object = now.get();
        }
        const CandidateState state = examine(site, lines, then->path, object, line);
        if (state == CandidateState::vanished && onVanished == OnVanished::endWalk)
        {
            return WalkEnd::atVanished;
        }
        if (state == CandidateState::usable && visit(*object) == Walk::end)
        {
            return WalkEnd::byVisitor;
        }
    }
    return WalkEnd::behindLast;
}
