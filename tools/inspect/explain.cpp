#include "inspect/explain.hpp"

#include "inspect/explain_kit.hpp"

namespace inspect
{
namespace
{

std::string sayState(const Entry* entry)
{
    if (entry == nullptr || (entry->state != State::stale && entry->state != State::drifted))
    {
        return "";
    }
    const std::string partner = partnerOf(entry->actual);
    const std::string stands = partner.empty() ? "nothing" : leafOf(partner);
    return entry->state == State::stale
               ? "It leads to " + stands + " now, which does not exist any more."
               : "What stands on the object now is " + stands +
                     ": it differs from what the rules give.";
}

void explainNotStored(Context& context)
{
    for (const Refusal& refusal : context.outcome.refusals)
    {
        if (refusal.path == context.path)
        {
            context.say("is not stored", refusal.property + " has type " + refusal.type +
                                             ", and the daemon reads " + refusal.wanted);
            context.note("Each attempt to read it asks for a resync, every 65 s for ever.");
            return;
        }
    }
    context.say("takes no part",
                "no rule reads an object at this path with these interfaces and properties");
}

void (*const explainers[kindCount])(Context&) = {
    explainSmbiosSlot, explainSmbiosCpu, explainCache,      explainPlatformSlot,
    explainDevice,     explainChassis,   explainPlatformCpu};

} // namespace

Explanation explain(const Machine& machine, const std::string& path)
{
    Context context{machine, machine.outcome, path, {}};
    context.made.path = path;
    const auto kind = machine.outcome.kindOf(path);
    kind ? explainers[static_cast<std::size_t>(*kind)](context) : explainNotStored(context);
    context.note(sayState(machine.find(path)));
    return context.made;
}

} // namespace inspect
