/*
 * Objects that one property keeps from being a pair.
 *
 * Found by trying: for a platform object without a partner and an SMBIOS object that nobody took,
 * one property is changed so that it agrees with its counterpart, and the daemon's rule is asked
 * again.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "inspect/conditions.hpp"
#include "inspect/engine_run.hpp"

#include <string>
#include <vector>

namespace inspect
{

struct NearMiss
{
    std::string platformPath;
    std::string smbiosPath;
    Condition failed = Condition::none;
    std::string reason; // the values that differ

    // The change that makes them a pair.
    std::string changedPath;
    std::string property;
    std::string value;
};

/** At most one for each platform slot or processor: the one that got furthest in the rule. */
std::vector<NearMiss> nearMisses(const Outcome& outcome);

} // namespace inspect
