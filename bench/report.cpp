#include "report.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace bench
{
namespace
{

constexpr int titleWidth = 58;
constexpr int columnWidth = 10;

std::string aligned(const std::string& text, int width)
{
    char cell[128];
    std::snprintf(cell, sizeof cell, "%*s", width, text.c_str());
    return cell;
}

/** Three digits that mean something. */
std::string formatted(double value)
{
    const double size = std::fabs(value);
    const int decimals = size == 0 || size >= 100 ? 0 : size >= 10 ? 1 : 2;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string cellOf(const Figure& figure, const std::string& column)
{
    const auto value = figure.values.find(column);
    return aligned(value == figure.values.end() ? "" : formatted(value->second), columnWidth);
}

std::string rowOf(const Figure& figure)
{
    std::string row = aligned(figure.title, -titleWidth);
    for (const char* column : {"daemon", "floor", "hop"})
    {
        row += cellOf(figure, column);
    }
    const auto ratio = ratioToHop(figure);
    row += aligned(ratio ? formatted(*ratio) : "", columnWidth);
    for (const char* column : {"gdbus", "python"})
    {
        row += cellOf(figure, column);
    }
    return row.substr(0, row.find_last_not_of(' ') + 1) + "\n";
}

std::string percent(double now, double before)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.0f instead of %.0f (%+.1f %%)", now, before,
                  (now / before - 1) * 100);
    return text;
}

} // namespace

double median(std::vector<double> values)
{
    if (values.empty())
    {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::optional<double> ratioToHop(const Figure& figure)
{
    const auto daemon = figure.values.find("daemon");
    const auto hop = figure.values.find("hop");
    if (daemon == figure.values.end() || hop == figure.values.end() || hop->second == 0)
    {
        return std::nullopt;
    }
    return daemon->second / hop->second;
}

std::string asTable(const Figures& figures)
{
    std::string table = aligned("figure", -titleWidth);
    for (const char* head : {"daemon", "floor", "hop", "ratio", "GDBus", "Python"})
    {
        table += aligned(head, columnWidth);
    }
    table += "\n";
    for (const Figure& figure : figures)
    {
        table += rowOf(figure);
    }
    return table;
}

nlohmann::json asJson(const Figures& figures)
{
    auto list = nlohmann::json::array();
    for (const Figure& figure : figures)
    {
        nlohmann::json entry{{"name", figure.name}, {"title", figure.title}};
        for (const auto& [program, value] : figure.values)
        {
            entry[program] = value;
        }
        if (const auto ratio = ratioToHop(figure))
        {
            entry["ratio"] = *ratio;
        }
        list.push_back(std::move(entry));
    }
    return {{"figures", std::move(list)}};
}

Comparison compareInstructions(const nlohmann::json& committed,
                               const std::map<std::string, double>& measured)
{
    Comparison comparison;
    const double tolerance = committed.at("tolerance_percent").get<double>() / 100;
    const auto& counts = committed.at("instructions");
    for (const auto& [name, now] : measured)
    {
        const auto before = counts.find(name);
        if (before == counts.end())
        {
            comparison.tooMany.push_back(name + ": the file has no count of it");
            continue;
        }
        const double allowed = before->get<double>();
        if (now > allowed * (1 + tolerance))
        {
            comparison.tooMany.push_back(name + ": " + percent(now, allowed));
        }
        else if (now < allowed * (1 - tolerance))
        {
            comparison.fewer.push_back(name + ": " + percent(now, allowed));
        }
    }
    return comparison;
}

} // namespace bench
