/*
 * Figures, and how they are shown: as a table for people, as JSON for programs.
 * Values only; any thread. Nothing here throws but for memory.
 */
#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace bench
{

/** Which programs a figure can have a value of, in the order of the table. */
inline constexpr std::array columns{"daemon", "floor", "hop", "gdbus", "python"};

struct Figure
{
    /** Short and stable, for programs: "latency-searched". */
    std::string name;

    /** For people, with its unit at the end. */
    std::string title;

    /** Program to value; a program that does not have the figure is left out. */
    std::map<std::string, double> values;
};

using Figures = std::vector<Figure>;

/** The middle one, or the mean of the two in the middle; 0 of none. */
double median(std::vector<double> values);

/** The daemon's value divided by hop's; nothing when one is missing or hop's is 0. */
std::optional<double> ratioToHop(const Figure& figure);

/** A line for the head and one for each figure. */
std::string asTable(const Figures& figures);

nlohmann::json asJson(const Figures& figures);

/** What the counts of instructions are compared with: a file of the tree. */
struct Comparison
{
    /** A line for each count that is above its allowance, or that the file does not have. */
    std::vector<std::string> tooMany;

    /** A line for each count so far below that the file should be written anew. */
    std::vector<std::string> fewer;
};

/** `committed` is {"tolerance_percent": P, "instructions": {NAME: COUNT}}. */
Comparison compareInstructions(const nlohmann::json& committed,
                               const std::map<std::string, double>& measured);

} // namespace bench
