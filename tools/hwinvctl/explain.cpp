// The verb "explain": why an object has the partner that it has, or none.

#include "inspect/explain.hpp"

#include "program/program.hpp"
#include "table.hpp"
#include "verbs.hpp"

#include <iostream>

namespace hwinvctl
{
namespace
{

void printSearch(const inspect::Search& search)
{
    if (search.candidates.empty())
    {
        return;
    }
    std::vector<Cells> rows;
    for (const inspect::Candidate& candidate : search.candidates)
    {
        rows.push_back({inspect::leafOf(candidate.path), candidate.verdict, candidate.text});
    }
    std::cout << '\n'
              << search.title << ":\n"
              << formatTable({"CANDIDATE", "VERDICT", "WHAT DECIDES"}, rows, outputColumns());
}

void print(const inspect::Explanation& explanation)
{
    printText(explanation.sentence);
    for (const inspect::Search& search : explanation.searches)
    {
        printSearch(search);
    }
    for (const std::string& note : explanation.notes)
    {
        std::cout << '\n';
        printText(note);
    }
}

sim::Json toJson(const inspect::Explanation& explanation)
{
    sim::Json json{{"path", explanation.path},
                   {"sentence", explanation.sentence},
                   {"searches", sim::Json::array()},
                   {"notes", explanation.notes}};
    for (const inspect::Search& search : explanation.searches)
    {
        sim::Json candidates = sim::Json::array();
        for (const inspect::Candidate& candidate : search.candidates)
        {
            candidates.push_back({{"path", candidate.path},
                                  {"verdict", candidate.verdict},
                                  {"condition", inspect::codeOf(candidate.failed)},
                                  {"text", candidate.text}});
        }
        json["searches"].push_back({{"title", search.title}, {"candidates", candidates}});
    }
    return json;
}

void print(const inspect::Comparison& comparison)
{
    printText(comparison.sentence);
    std::vector<Cells> rows;
    for (const inspect::Test& test : comparison.tests)
    {
        rows.push_back({inspect::codeOf(test.condition), test.holds ? "yes" : "NO", test.text});
    }
    std::cout << '\n' << formatTable({"CONDITION", "HOLDS", "VALUES"}, rows, outputColumns());
}

sim::Json toJson(const inspect::Comparison& comparison)
{
    sim::Json json{{"first", comparison.first},
                   {"second", comparison.second},
                   {"sentence", comparison.sentence},
                   {"conditions", sim::Json::array()}};
    for (const inspect::Test& test : comparison.tests)
    {
        json["conditions"].push_back({{"condition", inspect::codeOf(test.condition)},
                                      {"holds", test.holds},
                                      {"text", test.text}});
    }
    return json;
}

template <class Told>
int show(const Common& common, const Told& told)
{
    if (wantsJson(common))
    {
        printJson(common, toJson(told));
    }
    else
    {
        print(told);
    }
    return program::done;
}

} // namespace

int explain(const Common& common, const std::string& object, const std::string& other)
{
    const inspect::Machine machine = inspect::examine(readWorld(common));
    const std::string path = inspect::resolve(machine, object);
    if (other.empty())
    {
        return show(common, inspect::explain(machine, path));
    }
    return show(common, inspect::compareTwo(machine, path, inspect::resolve(machine, other)));
}

} // namespace hwinvctl
