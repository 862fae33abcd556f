// Why processors and caches are paired, or not.

#include "inspect/explain_kit.hpp"

namespace inspect
{
namespace
{

/** The caches that an SMBIOS processor names. */
void addCaches(Context& context, const std::string& cpuPath)
{
    const auto cpu = context.outcome.of(Kind::smbiosCpu).find(cpuPath);
    if (cpu == context.outcome.of(Kind::smbiosCpu).end())
    {
        return;
    }
    Search made =
        search("Caches, by the handles of " + leafOf(cpuPath),
               {Rule::cache, End::second, cpu->second, context.outcome.of(Kind::smbiosCache)});
    if (!made.candidates.empty())
    {
        context.made.searches.push_back(std::move(made));
    }
}

std::string withCaches(const AssociationList& list)
{
    return ", with " + counted(cachesIn(list), "cache");
}

} // namespace

void explainPlatformCpu(Context& context)
{
    const Question question{Rule::processor, End::second, context.own(Kind::kovdCpu),
                            context.outcome.of(Kind::smbiosCpu)};
    Search made = search("SMBIOS processors, in the order in which they are tried", question);
    markFirstMatch(made);
    const Write* write = context.outcome.lastWrite(context.path);
    if (write == nullptr)
    {
        context.say("is unpaired", sayNoneFits(made, question, "SMBIOS processor"));
    }
    else
    {
        const std::string partner = partnerOf(write->list);
        context.say("belongs to " + leafOf(partner) + withCaches(write->list),
                    "socket, number and key name one socket");
        context.reason(sayFit(question, partner));
    }
    context.made.searches.push_back(std::move(made));
    if (write != nullptr)
    {
        notePair(context, partnerOf(write->list));
        addCaches(context, partnerOf(write->list));
    }
}

void explainSmbiosCpu(Context& context)
{
    const Question question{Rule::processor, End::first, context.own(Kind::smbiosCpu),
                            context.outcome.of(Kind::kovdCpu)};
    Search made = search("Platform processors, in the order in which they are tried", question);
    markFirstMatch(made);
    const auto pair = context.outcome.pairs.find(context.path);
    if (pair == context.outcome.pairs.end())
    {
        context.say("is taken by nobody", sayNoneFits(made, question, "platform processor"));
    }
    else
    {
        context.made.sentence = context.leaf() + " is paired with " + leafOf(pair->second) + ".";
        context.made.reason = "paired with " + leafOf(pair->second);
    }
    context.made.searches.push_back(std::move(made));
    addCaches(context, context.path);
}

void explainCache(Context& context)
{
    const Question question{Rule::cache, End::first, context.own(Kind::smbiosCache),
                            context.outcome.of(Kind::smbiosCpu)};
    Search made = search("SMBIOS processors, every one that names it counts", question);
    const auto takers = takersOf(context.outcome, context.path);
    std::vector<std::string> namers;
    for (const Candidate& candidate : made.candidates)
    {
        if (candidate.failed == Condition::none)
        {
            namers.push_back(candidate.path);
        }
    }
    if (namers.empty())
    {
        context.say("is taken by nobody", sayNoneFits(made, question, "SMBIOS processor"));
    }
    else
    {
        context.made.sentence = context.leaf() + " belongs to " + joinLeaves(namers) + ", which " +
                                (namers.size() == 1 ? "names" : "name") + " its handle.";
        context.reason(sayFit(question, namers.front()));
    }
    if (!takers.empty())
    {
        context.note("On the platform side " + joinLeaves(takers) + " leads to it.");
    }
    else if (!namers.empty())
    {
        context.reason(joinLeaves(namers) + " has no partner that could lead to it");
        context.note("No platform processor leads to it: its SMBIOS processor has no partner.");
    }
    context.made.searches.push_back(std::move(made));
}

} // namespace inspect
