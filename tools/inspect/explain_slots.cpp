// Why slots, devices and chassis items are paired, or not.

#include "engines/match.hpp"
#include "inspect/explain_kit.hpp"

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
    context.made.sentence = context.leaf() + " belongs to " + leafOf(partnerOf(write.list)) +
                            ": it inherits from the slot object above it, " + leafOf(parent) + ".";
    Context above{context.machine, context.outcome, parent, {}};
    explainPlatformSlot(above);
    context.note("Its slot object: " + above.made.sentence);
    context.made.searches = std::move(above.made.searches);
}

std::string sayDeviceInPass(const Context& context, const Write& write)
{
    const std::string slot = leafOf(partnerOf(write.list));
    const std::string matched = matchedInPass(context.outcome, write.subject);
    if (!matched.empty() && context.path.find(matched) != std::string::npos)
    {
        return context.leaf() + " belongs to " + slot + ": its path contains that of " +
               leafOf(matched) + ", which fits " + slot + ".";
    }
    return context.leaf() + " belongs to " + slot + ": its own FQDD fits.";
}

std::string sayUnpairedDevice(const Context& context, const Search& made, const Question& question)
{
    const std::string parent = parentOf(context.path);
    const bool hasParent = context.outcome.of(Kind::kovdSlot).contains(parent);
    return context.leaf() + " is unpaired: " +
           (hasParent ? "its slot object, " + leafOf(parent) + ", has no partner, and "
                      : "there is no slot object above it, and ") +
           sayNoneFits(made, question, "SMBIOS slot") + ".";
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

} // namespace

void explainPlatformSlot(Context& context)
{
    const auto& slots = context.outcome.of(Kind::smbiosSlot);
    const Question question{Rule::slot, End::second, context.own(Kind::kovdSlot), slots};
    Search made = search("SMBIOS slots, in the order in which they are tried", question);
    markFirstMatch(made);
    const Write* write = context.outcome.lastWrite(context.path);
    if (write == nullptr)
    {
        context.made.sentence =
            context.leaf() + " is unpaired: " + sayNoneFits(made, question, "SMBIOS slot") + ".";
    }
    else
    {
        const std::string partner = partnerOf(write->list);
        const bool byPass = write->occasion == Occasion::slotPass;
        context.made.sentence = context.leaf() + " belongs to " + leafOf(partner) +
                                (byPass ? ": it is the first platform slot that fits " +
                                              leafOf(partner) + ", which had no partner yet."
                                        : ": that is the first SMBIOS slot that fits.");
        noteWrites(context);
        notePair(context, partner);
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
    context.made.sentence = write == nullptr ? sayUnpairedDevice(context, made, question)
                                             : sayDeviceInPass(context, *write);
    noteWrites(context);
    markNotAsking(context, made);
    context.made.searches.push_back(std::move(made));
}

void explainChassis(Context& context)
{
    std::string twin;
    convertPath(context.path, twin);
    const Write* write = context.outcome.lastWrite(context.path);
    const bool exists = context.outcome.of(Kind::kovdSlot).contains(twin);
    if (write != nullptr)
    {
        context.made.sentence = context.leaf() + " below the chassis path belongs to " +
                                leafOf(partnerOf(write->list)) +
                                ": it takes the association of its twin below the board path.";
    }
    else if (exists)
    {
        context.made.sentence = context.leaf() +
                                " below the chassis path is unpaired: it waits for its twin below "
                                "the board path, which has no partner.";
    }
    else
    {
        context.made.sentence = context.leaf() +
                                " below the chassis path is unpaired: there is no slot object " +
                                twin + ".";
    }
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
        context.made.sentence = context.leaf() + " is paired with " + leafOf(pair->second) + ".";
    }
    else
    {
        context.made.sentence =
            context.leaf() + " is " + (takers.empty() ? "taken by nobody: " : "not paired: ") +
            (!anyFits(made) ? sayNoneFits(made, question, "platform slot")
                            : "its first match is paired with another SMBIOS slot") +
            ".";
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
