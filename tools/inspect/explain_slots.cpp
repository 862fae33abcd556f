// Why slots, devices and chassis items are paired, or not.

#include "engines/match.hpp"
#include "inspect/explain_kit.hpp"

#include <algorithm>

namespace inspect
{
namespace
{

std::string parentOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

/** A device that inherits is compared with nothing: its slot object was. */
void explainInherited(Context& context, const Write& write)
{
    const std::string parent = parentOf(context.path);
    context.say("belongs to " + leafOf(partnerOf(write.list)),
                "it inherits from the slot object above it, " + leafOf(parent));
    Context above{context.machine, context.outcome, parent, {}};
    explainPlatformSlot(above);
    context.note("Its slot object: " + above.made.sentence);
    context.made.searches = std::move(above.made.searches);
}

void sayDeviceInPass(Context& context, const Write& write, const Question& question)
{
    const std::string partner = partnerOf(write.list);
    const std::string slot = leafOf(partner);
    const std::string matched = matchedInPass(context.outcome, write.subject);
    if (!matched.empty() && context.path.find(matched) != std::string::npos)
    {
        context.say("belongs to " + slot,
                    "its path contains that of " + leafOf(matched) + ", which fits " + slot);
        return;
    }
    context.say("belongs to " + slot, "its own FQDD fits");
    context.reason(sayFit(question, partner));
}

/** Why no SMBIOS slot took the device: none fits, or the one that does was not asked. */
std::string sayNobodyAsked(const Search& made, const Question& question)
{
    const auto fitting = std::ranges::find(made.candidates, Condition::none, &Candidate::failed);
    return fitting == made.candidates.end()
               ? sayNoneFits(made, question, "SMBIOS slot")
               : leafOf(fitting->path) + ", which its own FQDD fits, has another partner already";
}

void sayUnpairedDevice(Context& context, const Search& made, const Question& question)
{
    const std::string parent = parentOf(context.path);
    const bool hasParent = context.outcome.of(Kind::kovdSlot).contains(parent);
    context.say("is unpaired",
                (hasParent ? "its slot object, " + leafOf(parent) + ", is nobody's partner, and "
                           : "there is no slot object above it, and ") +
                    sayNobodyAsked(made, question));
}

/** An SMBIOS slot that found its partner before the full pass does not look for devices. */
void markNotAsking(Context& context, Search& made)
{
    bool any = false;
    for (Candidate& candidate : made.candidates)
    {
        const bool paired = context.outcome.pairs.contains(candidate.path) &&
                            matchedInPass(context.outcome, candidate.path).empty();
        if (candidate.failed == Condition::none && paired)
        {
            candidate.verdict = "fits, not asked";
            any = true;
        }
    }
    context.note(any ? "An SMBIOS slot that has its partner already does not look for devices."
                     : "");
}

/** What was written on a slot, for its own sake or, where the object is a device too, for that. */
void sayWrittenSlot(Context& context, const Write& write, const Question& question)
{
    const std::string partner = partnerOf(write.list);
    const std::string slot = leafOf(partner);
    const std::string fit = sayFit(question, partner);
    if (fit.empty() && context.outcome.of(Kind::kovdDevice).contains(context.path))
    {
        sayDeviceInPass(
            context, write,
            {Rule::device, End::second, context.own(Kind::kovdDevice), question.others});
    }
    else
    {
        context.say("belongs to " + slot, write.occasion == Occasion::slotPass
                                              ? "it is the first platform slot that fits " + slot +
                                                    ", which had no partner yet"
                                              : "that is the first SMBIOS slot that fits");
        context.reason(fit);
    }
    noteWrites(context);
    notePair(context, partner);
}

/** The partner of an SMBIOS slot, which may lead to another one that was written later. */
void sayPartner(Context& context, const std::string& partner)
{
    const std::string leads = partnerOf(context.outcome.lists.find(partner)->second);
    if (leads != context.path)
    {
        context.say("is paired with " + leafOf(partner) + ", which does not lead to it",
                    leafOf(leads) + " fits " + leafOf(partner) + " too, and was written later");
        return;
    }
    context.made.sentence = context.leaf() + " is paired with " + leafOf(partner) + ".";
    context.made.reason = "paired with " + leafOf(partner);
}

/** What an object below the chassis path gets: that of its twin below the board path, or nothing.
 */
void sayTwin(Context& context, const std::string& twin, bool exists)
{
    const Write* write = context.outcome.lastWrite(context.path);
    const std::string where = "below the chassis path ";
    if (write != nullptr)
    {
        context.say(where + "belongs to " + leafOf(partnerOf(write->list)),
                    "it takes the association of its twin below the board path");
    }
    else if (exists)
    {
        const bool written = context.outcome.lists.contains(twin);
        context.say(where + "is unpaired",
                    written ? "its twin below the board path has the association, and is not "
                              "recorded as the partner"
                            : "it waits for its twin below the board path, which has no partner");
    }
    else
    {
        context.say(where + "is unpaired", "there is no slot object " + twin);
    }
}

} // namespace

void explainPlatformSlot(Context& context)
{
    const auto& slots = context.outcome.of(Kind::smbiosSlot);
    const Question question{Rule::slot, End::second, context.own(Kind::kovdSlot), slots};
    Search made = search("SMBIOS slots, in the order in which they are tried", question);
    markFirstMatch(made);
    if (const Write* write = context.outcome.lastWrite(context.path))
    {
        sayWrittenSlot(context, *write, question);
    }
    else
    {
        context.say("is unpaired", sayNoneFits(made, question, "SMBIOS slot"));
    }
    context.made.searches.push_back(std::move(made));
}

void explainDevice(Context& context)
{
    const Write* write = context.outcome.lastWrite(context.path);
    if (write != nullptr && write->occasion == Occasion::platformObject &&
        context.outcome.of(Kind::kovdSlot).contains(parentOf(context.path)))
    {
        explainInherited(context, *write);
        return;
    }
    const auto& slots = context.outcome.of(Kind::smbiosSlot);
    const Question question{Rule::device, End::second, context.own(Kind::kovdDevice), slots};
    Search made = search("SMBIOS slots, each of which looks for its devices in turn", question);
    write == nullptr ? sayUnpairedDevice(context, made, question)
                     : sayDeviceInPass(context, *write, question);
    noteWrites(context);
    markNotAsking(context, made);
    context.made.searches.push_back(std::move(made));
}

void explainChassis(Context& context)
{
    std::string twin;
    convertPath(context.path, twin);
    const bool exists = context.outcome.of(Kind::kovdSlot).contains(twin);
    sayTwin(context, twin, exists);
    if (exists)
    {
        Context board{context.machine, context.outcome, twin, {}};
        explainPlatformSlot(board);
        context.note("Its twin: " + board.made.sentence);
        context.made.searches = std::move(board.made.searches);
    }
}

void explainSmbiosSlot(Context& context)
{
    const Question question{Rule::slot, End::first, context.own(Kind::smbiosSlot),
                            context.outcome.of(Kind::kovdSlot)};
    Search made = search("Platform slots, in the order in which they are tried", question);
    markFirstMatch(made);
    const auto pair = context.outcome.pairs.find(context.path);
    const auto takers = takersOf(context.outcome, context.path);
    if (pair != context.outcome.pairs.end())
    {
        sayPartner(context, pair->second);
    }
    else
    {
        context.say(takers.empty() ? "is taken by nobody" : "is not paired",
                    anyFits(made) ? "its first match is paired with another SMBIOS slot"
                                  : sayNoneFits(made, question, "platform slot"));
    }
    if (!takers.empty())
    {
        context.note(counted(takers.size(), "platform object") + " " +
                     (takers.size() == 1 ? "leads" : "lead") + " to it: " + joinLeaves(takers) +
                     ".");
    }
    context.made.searches.push_back(std::move(made));
}

} // namespace inspect
