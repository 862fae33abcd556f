/*
 * What every search asks first of a candidate: is it still stored, and is there anything to
 * compare? What the answer means to the walk, the search decides. No lock; any thread.
 */
#pragma once

#include "base/log.hpp"
#include "store/object_map.hpp"

#include <string>

enum class CandidateState
{
    usable,
    vanished, // the entry has gone since the walk began
    empty,    // the entry has no properties
};

/** Anything but usable is logged, in the search's name, as an object of that service. */
CandidateState examine(const Site& site, const char* service, const std::string& path,
                       const SharedObject& object);
