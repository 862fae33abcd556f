#include "unpaired.hpp"

#include "sim/names.hpp"

#include <set>

namespace hwinv_demo
{
namespace
{

const std::string board = std::string(sim::names::boardRoot) + "/";
const std::string chassis = std::string(sim::names::chassisRoot) + "/";

bool isPlatformCandidate(const std::string& path, const sim::Interfaces& interfaces)
{
    if (path.starts_with(board + "pcie"))
    {
        return interfaces.contains(sim::names::kovdSlot) ||
               interfaces.contains(sim::names::kovdDevice);
    }
    if (path.starts_with(chassis + "motherboard/pcie"))
    {
        return interfaces.contains(sim::names::kovdChassisDevice);
    }
    return path.starts_with(board + "cpu") && interfaces.contains(sim::names::item);
}

bool isSmbiosCandidate(const std::string& path)
{
    return path.starts_with(chassis + "motherboard/pcieslot") ||
           path.starts_with(chassis + "motherboard/cpu") || path.starts_with(chassis + "cacheinfo");
}

} // namespace

std::vector<std::string> unpairedPlatform(const sim::Objects& kovd, const Lists& associations)
{
    std::vector<std::string> paths;
    for (const auto& [path, interfaces] : kovd)
    {
        if (isPlatformCandidate(path, interfaces) && !associations.contains(path))
        {
            paths.push_back(path);
        }
    }
    return paths;
}

std::vector<std::string> unpairedSmbios(const sim::Objects& smbios, const Lists& associations)
{
    std::set<std::string> named;
    for (const auto& [path, list] : associations)
    {
        for (const auto& tuple : list)
        {
            named.insert(tuple[2]);
        }
    }
    std::vector<std::string> paths;
    for (const auto& [path, interfaces] : smbios)
    {
        if (isSmbiosCandidate(path) && !named.contains(path))
        {
            paths.push_back(path);
        }
    }
    return paths;
}

} // namespace hwinv_demo
