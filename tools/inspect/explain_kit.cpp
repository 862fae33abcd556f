#include "inspect/explain_kit.hpp"

#include "base/names.hpp"

#include <algorithm>
#include <functional>

namespace inspect
{
namespace
{

Verdict ask(Rule rule, End end, const PropertyMap& own, const PropertyMap& other)
{
    return end == End::first ? verdictOf(rule, own, other) : verdictOf(rule, other, own);
}

std::string told(Rule rule, End end, Condition failed, const PropertyMap& own,
                 const PropertyMap& other)
{
    const PropertyMap& first = end == End::first ? own : other;
    const PropertyMap& second = end == End::first ? other : own;
    return failed == Condition::none ? sayMatch(rule, first, second)
                                     : say(rule, failed, false, first, second);
}

/** The candidate that got furthest; null when there is none. */
const Candidate* nearest(const Search& made, const Question& question)
{
    const Candidate* best = nullptr;
    std::size_t most = 0;
    for (const Candidate& candidate : made.candidates)
    {
        const PropertyMap& other = question.others.find(candidate.path)->second;
        const PropertyMap& first = question.end == End::first ? question.own : other;
        const PropertyMap& second = question.end == End::first ? other : question.own;
        const std::size_t progress = progressOf(question.rule, candidate.failed, first, second);
        if (best == nullptr || progress > most)
        {
            best = &candidate;
            most = progress;
        }
    }
    return best;
}

std::string sayOccasion(const Write& write)
{
    const std::string partner = leafOf(partnerOf(write.list));
    switch (write.occasion)
    {
        case Occasion::smbiosObject:
            return "when " + leafOf(write.subject) + " came: " + partner;
        case Occasion::platformObject:
            return "when " + leafOf(write.subject) + " came: " + partner;
        case Occasion::slotPass:
        case Occasion::cpuPass:
            return "in the full pass, at the turn of " + leafOf(write.subject) + ": " + partner;
    }
    return "";
}

} // namespace

Search search(const std::string& title, const Question& question)
{
    Search made{title, {}};
    for (const auto& [path, properties] : question.others)
    {
        const Condition failed =
            ask(question.rule, question.end, question.own, properties).failed();
        made.candidates.push_back(
            {path, failed, told(question.rule, question.end, failed, question.own, properties),
             failed == Condition::none ? "fits" : "no"});
    }
    return made;
}

void markFirstMatch(Search& made)
{
    bool found = false;
    for (Candidate& candidate : made.candidates)
    {
        if (found)
        {
            candidate.verdict =
                candidate.failed == Condition::none ? "fits, too late" : "not tried";
        }
        else if (candidate.failed == Condition::none)
        {
            candidate.verdict = "first match";
            found = true;
        }
    }
}

std::string sayFit(const Question& question, const std::string& otherPath)
{
    const PropertyMap& other = question.others.find(otherPath)->second;
    const PropertyMap& first = question.end == End::first ? question.own : other;
    const PropertyMap& second = question.end == End::first ? other : question.own;
    return verdictOf(question.rule, first, second) ? sayMatchBriefly(question.rule, first, second)
                                                   : "";
}

bool anyFits(const Search& made)
{
    return std::ranges::any_of(made.candidates, [](const Candidate& candidate)
                               { return candidate.failed == Condition::none; });
}

std::string sayNoneFits(const Search& made, const Question& question, const std::string& noun)
{
    if (made.candidates.empty())
    {
        return "there is no " + noun;
    }
    const Candidate* near = nearest(made, question);
    if (made.candidates.size() == 1)
    {
        return "the only " + noun + ", " + leafOf(near->path) + ", does not fit: " + near->text;
    }
    return "none of " + counted(made.candidates.size(), noun) + " fits; nearest is " +
           leafOf(near->path) + ": " + near->text;
}

std::string matchedInPass(const Outcome& outcome, const std::string& smbiosPath)
{
    for (const Write& write : outcome.writes)
    {
        if (write.occasion == Occasion::slotPass && write.subject == smbiosPath)
        {
            return outcome.of(Kind::kovdSlot).contains(write.path) ? write.path : "";
        }
    }
    return "";
}

void noteWrites(Context& context)
{
    std::vector<const Write*> writes;
    std::vector<std::string> partners;
    for (const Write& write : context.outcome.writes)
    {
        if (write.path == context.path)
        {
            writes.push_back(&write);
            partners.push_back(partnerOf(write.list));
        }
    }
    if (std::ranges::adjacent_find(partners, std::not_equal_to<>()) == partners.end())
    {
        return;
    }
    std::string text = "It is written " + std::to_string(writes.size()) + " times";
    for (const Write* write : writes)
    {
        text += "; " + sayOccasion(*write);
    }
    context.note(text + ". The last one stands.");
}

void notePair(Context& context, const std::string& smbiosPath)
{
    const auto pair = context.outcome.pairs.find(smbiosPath);
    if (pair == context.outcome.pairs.end() || pair->second == context.path)
    {
        return;
    }
    const std::string* own = context.outcome.smbiosPartner(context.path);
    context.note("The pair itself was refused: " + leafOf(smbiosPath) + " is paired with " +
                 leafOf(pair->second) +
                 (own == nullptr ? "" : ", and " + context.leaf() + " with " + leafOf(*own)) +
                 ". The association is written all the same.");
}

std::vector<std::string> takersOf(const Outcome& outcome, const std::string& smbiosPath)
{
    std::vector<std::string> takers;
    for (const auto& [path, list] : outcome.lists)
    {
        if (std::ranges::any_of(list, [&](const AssociationTuple& tuple)
                                { return std::get<2>(tuple) == smbiosPath; }))
        {
            takers.push_back(path);
        }
    }
    return takers;
}

std::string joinLeaves(const std::vector<std::string>& paths)
{
    std::string text;
    for (const std::string& path : paths)
    {
        const bool chassis = path.find(names::kovdChassisPciePath) != std::string::npos;
        text += (text.empty() ? "" : ", ") + leafOf(path) + (chassis ? " (chassis)" : "");
    }
    return text;
}

} // namespace inspect
