#include "expectation.hpp"

#include "sim/document.hpp"

#include <vector>

namespace hwinv_demo
{
namespace
{

std::string describe(const sim::Associations& list)
{
    if (list.empty())
    {
        return "nothing";
    }
    return sim::Json(list).dump();
}

} // namespace

Expectation readExpectation(const std::filesystem::path& file)
try
{
    const sim::Json json = sim::parseDocument(sim::readFile(file), file.string());
    return {json.at("pcie").get<Lists>(), json.at("processors").get<Lists>(),
            json.at("unpairedPlatform").get<Reasons>(), json.at("unpairedSmbios").get<Reasons>()};
}
catch (const sim::Json::exception& e)
{
    throw sim::Error(file.string() + ": " + sim::reasonOf(e));
}

std::vector<std::string> differences(const Expectation& expected, const Lists& onTheBus)
{
    Lists wanted = expected.pcie;
    wanted.insert(expected.processors.begin(), expected.processors.end());

    std::vector<std::string> lines;
    for (const auto& [path, list] : wanted)
    {
        const auto found = onTheBus.find(path);
        const sim::Associations actual =
            found == onTheBus.end() ? sim::Associations{} : found->second;
        if (actual != list)
        {
            lines.push_back(path + ": " + describe(actual) + " instead of " + describe(list));
        }
    }
    for (const auto& [path, list] : onTheBus)
    {
        if (!list.empty() && !wanted.contains(path))
        {
            lines.push_back(path + ": " + describe(list) + " instead of nothing");
        }
    }
    return lines;
}

std::vector<std::string> differences(const Reasons& reasons,
                                     const std::vector<std::string>& unpaired)
{
    Reasons missing = reasons;
    std::vector<std::string> lines;
    for (const std::string& path : unpaired)
    {
        if (missing.erase(path) == 0)
        {
            lines.push_back(path + ": no partner, and no reason why");
        }
    }
    for (const auto& [path, reason] : missing)
    {
        lines.push_back(path + ": a partner in spite of: " + reason);
    }
    return lines;
}

} // namespace hwinv_demo
