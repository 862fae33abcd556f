// Two objects compared, condition by condition.

#include "inspect/explain.hpp"
#include "sim/error.hpp"

#include <algorithm>
#include <utility>

namespace inspect
{
namespace
{

struct RulePair
{
    Rule rule;
    Kind first;
    Kind second;
};

constexpr RulePair rulePairs[] = {
    {Rule::slot, Kind::smbiosSlot, Kind::kovdSlot},
    {Rule::device, Kind::smbiosSlot, Kind::kovdDevice},
    {Rule::processor, Kind::smbiosCpu, Kind::kovdCpu},
    {Rule::cache, Kind::smbiosCache, Kind::smbiosCpu},
};

/** The rule under which the first object can stand first and the other second. */
const RulePair* findRule(const Outcome& outcome, const std::string& first,
                         const std::string& second)
{
    const auto fits = [&](const RulePair& pair)
    { return outcome.of(pair.first).contains(first) && outcome.of(pair.second).contains(second); };
    const auto at = std::ranges::find_if(rulePairs, fits);
    return at == std::end(rulePairs) ? nullptr : at;
}

} // namespace

Comparison compareTwo(const Machine& machine, const std::string& one, const std::string& other)
{
    Comparison made{one, other, "", {}};
    const RulePair* pair = findRule(machine.outcome, made.first, made.second);
    if (pair == nullptr)
    {
        std::swap(made.first, made.second);
        pair = findRule(machine.outcome, made.first, made.second);
    }
    if (pair == nullptr)
    {
        throw sim::UsageError("no rule compares " + one + " with " + other);
    }
    made.tests = testsOf(pair->rule, machine.outcome.of(pair->first).find(made.first)->second,
                         machine.outcome.of(pair->second).find(made.second)->second);
    const Test& last = made.tests.back();
    made.sentence =
        leafOf(made.first) + " and " + leafOf(made.second) +
        (last.holds ? " fit: every condition holds." : " do not fit: " + last.text + ".");
    return made;
}

} // namespace inspect
