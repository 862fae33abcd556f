/*
 * Why an object is paired with what it is paired with, or with nothing.
 *
 * An explanation is one sentence and the candidates in the order in which the daemon tries them,
 * each with the first condition that it fails and the values compared.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "inspect/conditions.hpp"
#include "inspect/machine.hpp"

#include <string>
#include <vector>

namespace inspect
{

/** One candidate, with the first condition that fails. */
struct Candidate
{
    std::string path;
    Condition failed = Condition::none; // none: all hold
    std::string text;                   // the values compared
    std::string verdict;                // "no", "first match", "too late", ...
};

/** The candidates of one search. */
struct Search
{
    std::string title;
    std::vector<Candidate> candidates;
};

struct Explanation
{
    std::string path;
    std::string sentence;
    std::string reason; // in a few words, for a table beside the object and its partner
    std::vector<Search> searches;
    std::vector<std::string> notes;
};

/**
 * The object that a person means: its whole path, the end of it (a leaf, or more), or a slot
 * number. Of several the platform's board object comes first, then the SMBIOS object. Throws
 * sim::UsageError, naming what is near, when there is none or a number names several slots.
 */
std::string resolve(const Machine& machine, const std::string& named);

/** REQUIRES: the path is an object of the machine's world. */
Explanation explain(const Machine& machine, const std::string& path);

/** Two objects compared, condition by condition. */
struct Comparison
{
    std::string first; // the one that comes first in the rule
    std::string second;
    std::string sentence;
    std::vector<Test> tests;
};

/** In whatever order they are named. Throws sim::UsageError when no rule compares the two. */
Comparison compareTwo(const Machine& machine, const std::string& one, const std::string& other);

} // namespace inspect
