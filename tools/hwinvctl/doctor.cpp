// The verb "doctor": whether all that the daemon needs is well on a live bus.

#include "inspect/health.hpp"
#include "program/program.hpp"
#include "sim/error.hpp"
#include "table.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <iostream>

namespace hwinvctl
{
namespace
{

using inspect::Symptom;

std::vector<Symptom> examine(const Common& common)
{
    if (!common.from.empty())
    {
        throw sim::UsageError("a capture has no health: doctor looks at a bus");
    }
    const sim::Connection bus = openBus(common);
    try
    {
        return inspect::examineHealth(bus.get());
    }
    catch (const sim::Error& error)
    {
        throw sim::UsageError(error.what()); // nothing was looked at
    }
}

void print(const std::vector<Symptom>& symptoms, std::size_t bad)
{
    printText(bad == 0
                  ? "All is well."
                  : std::to_string(bad) + (bad == 1 ? " thing is" : " things are") + " not well.");
    std::vector<Cells> rows;
    for (const Symptom& symptom : symptoms)
    {
        rows.push_back({symptom.check, symptom.well ? "yes" : "NO", symptom.sentence});
    }
    std::cout << '\n' << formatTable({"CHECK", "WELL", "WHAT"}, rows, outputColumns());
}

} // namespace

int doctor(const Common& common)
{
    const std::vector<Symptom> symptoms = examine(common);
    const auto bad = static_cast<std::size_t>(std::ranges::count(symptoms, false, &Symptom::well));
    if (wantsJson(common))
    {
        sim::Json json = sim::Json::array();
        for (const Symptom& symptom : symptoms)
        {
            json.push_back(
                {{"check", symptom.check}, {"well", symptom.well}, {"sentence", symptom.sentence}});
        }
        printJson(common, json);
    }
    else
    {
        print(symptoms, bad);
    }
    return bad == 0 ? program::done : program::failed;
}

} // namespace hwinvctl
