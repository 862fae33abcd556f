/*
 * What the makers of explanations share: searching among candidates as the daemon does, and telling
 * what came of it.
 *
 * For the files explain*.cpp alone. Any thread; no shared state.
 */
#pragma once

#include "inspect/explain.hpp"
#include "inspect/words.hpp"

#include <string>
#include <vector>

namespace inspect
{

/** Which end of a rule the object is. */
enum class End
{
    first,
    second,
};

/** One search: an object that is compared with all of a kind. */
struct Question
{
    Rule rule;
    End end;
    const PropertyMap& own;
    const ObjectsOfKind& others;
};

/** All candidates, each with the daemon's own verdict. */
Search search(const std::string& title, const Question& question);

/** In a search that ends at its first match, what comes after it has no say. */
void markFirstMatch(Search& made);

/** The values that make the own object and another one match, in a few words; empty when they do
 *  not. */
std::string sayFit(const Question& question, const std::string& otherPath);

/** Whether one of the candidates fits. */
bool anyFits(const Search& made);

/** "none of 3 SMBIOS slots fits; nearest is pcieslot3: ...". */
std::string sayNoneFits(const Search& made, const Question& question, const std::string& noun);

/** Everything that the makers of explanations need. */
struct Context
{
    const Machine& machine;
    const Outcome& outcome;
    std::string path;
    Explanation made;

    std::string leaf() const
    {
        return leafOf(path);
    }
    const PropertyMap& own(Kind kind) const
    {
        return outcome.of(kind).find(path)->second;
    }
    /** Sets the sentence, and its second half as the reason. */
    void say(const std::string& state, const std::string& why)
    {
        made.sentence = leaf() + " " + state + ": " + why + ".";
        made.reason = why;
    }
    /** Puts the values in the place of the reason, where there are any. */
    void reason(const std::string& values)
    {
        made.reason = values.empty() ? made.reason : values;
    }
    void note(const std::string& text)
    {
        if (!text.empty())
        {
            made.notes.push_back(text);
        }
    }
};

/** The platform slot that the pass over an SMBIOS slot matched first; empty when none. */
std::string matchedInPass(const Outcome& outcome, const std::string& smbiosPath);

/** Tells of an object that is written more than once: it carries what was written last. */
void noteWrites(Context& context);

/** Tells of a pair that was refused: it is recorded for one object alone. */
void notePair(Context& context, const std::string& smbiosPath);

/** The platform objects that lead to an SMBIOS object by what the rules give. */
std::vector<std::string> takersOf(const Outcome& outcome, const std::string& smbiosPath);

/** The last parts of the paths; those of chassis items say so. */
std::string joinLeaves(const std::vector<std::string>& paths);

// The makers, one for each kind of object. REQUIRES: the engine stores the path as that kind.
void explainPlatformSlot(Context& context);
void explainDevice(Context& context);
void explainChassis(Context& context);
void explainSmbiosSlot(Context& context);
void explainPlatformCpu(Context& context);
void explainSmbiosCpu(Context& context);
void explainCache(Context& context);

} // namespace inspect
