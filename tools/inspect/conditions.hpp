/*
 * The conditions of the matching rules, in words, with the values that they compare.
 *
 * Which condition fails, the daemon's own rules say (engines/match, engines/cache_assoc). Here is
 * only how a person is told: the values are read from the two property maps and, where a rule reads
 * a number out of a text, by the engine's own reading functions.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "engines/verdict.hpp"
#include "store/property_map.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace inspect
{

/** The rules, by what they compare. The SMBIOS object always comes first. */
enum class Rule
{
    slot,      // SMBIOS slot and platform slot
    device,    // SMBIOS slot and platform device
    processor, // SMBIOS processor and platform processor
    cache,     // SMBIOS cache and SMBIOS processor
};

/** Asks the daemon's rule. A number that does not fit or a type that does not is a refusal. */
Verdict verdictOf(Rule rule, const PropertyMap& first, const PropertyMap& second);

/** The conditions that the rule tests for these two, in its order. */
std::vector<Condition> conditionsOf(Rule rule, const PropertyMap& first, const PropertyMap& second);

/** A name that programs may rely on, such as "slot-id-equal". */
std::string codeOf(Condition condition);

/** The compared values and how they stand to each other: "SlotID 3, ...InstanceNum 4: differ". */
std::string say(Rule rule, Condition condition, bool holds, const PropertyMap& first,
                const PropertyMap& second);

/** The values that make two objects a match. */
std::string sayMatch(Rule rule, const PropertyMap& first, const PropertyMap& second);

/** The same in a few words, for a table. REQUIRES: the two match. */
std::string sayMatchBriefly(Rule rule, const PropertyMap& first, const PropertyMap& second);

/** One condition of a comparison. */
struct Test
{
    Condition condition = Condition::none;
    bool holds = true;
    std::string text;
};

/** All conditions up to and with the first that fails; that one alone when it is a value that
 *  cannot be read. */
std::vector<Test> testsOf(Rule rule, const PropertyMap& first, const PropertyMap& second);

/** How far a refusal got: the number of conditions that held. */
std::size_t progressOf(Rule rule, Condition failed, const PropertyMap& first,
                       const PropertyMap& second);

} // namespace inspect
