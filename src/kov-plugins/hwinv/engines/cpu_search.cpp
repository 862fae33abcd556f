#include "engines/cpu_search.hpp"

#include "base/failure.hpp"
#include "engines/candidates.hpp"
#include "engines/cpu_tuples.hpp"
#include "engines/match.hpp"
#include "store/store.hpp"

#include <optional>

namespace
{

constexpr FailureLines searchFailed{
    .standard = "Exception: %s",
    .other = "Unknown exception",
    .busError = "Exception occurred %s",
};

/** Records the pair of a match and appends its tuple; logged in the name of the search. */
void recordMatch(const Site& site, const std::string& smbiosPath, const std::string& kovdPath,
                 AssociationList& additions)
{
    if (addAssociationPair(smbiosPath, kovdPath))
    {
        LOG_AT(site, level::info, "Association added successfully");
        LOG_AT(site, level::info, "smbios %s", smbiosPath.c_str());
        LOG_AT(site, level::info, "kovd %s", kovdPath.c_str());
    }
    else
    {
        // The counterpart is paired already; the caller gets the tuple all the same.
        LOG_AT(site, level::info, "Association %s not added successfully in the map",
               kovdPath.c_str());
    }
    additions.push_back(cpuTuple(smbiosPath));
}

/** The path of the first processor whose properties fit; nothing when none does. */
template <class Fits>
std::optional<std::string> firstFit(const Site& site, const ObjectMap& cpus,
                                    const UnusableLines& lines, Fits fits)
{
    std::optional<std::string> found;
    const auto visit = [&](const StoredObject& cpu)
    {
        if (!fits(cpu.properties))
        {
            return Walk::goOn;
        }
        found = cpu.path;
        return Walk::end;
    };
    walkCandidates(site, cpus, lines, OnVanished::skip, visit);
    return found;
}

} // namespace

void IterateKOVDCPUObjs(const PropertyMap& smbiosProperties, const std::string& smbiosPath,
                        AssociationList& additions)
try
{
    const auto fits = [&](const PropertyMap& kovdProperties)
    { return CompareAssociationProperties(smbiosProperties, kovdProperties, compare::cpu); };
    const auto kovdPath = firstFit(CPU_SITE, kovdCPUObjs, unusableKovd, fits);
    if (!kovdPath)
    {
        CPU_LOG(level::error, "%s No association found for objPath", smbiosPath.c_str());
        return;
    }
    recordMatch(CPU_SITE, smbiosPath, *kovdPath, additions);
}
catch (...)
{
    logFailure(CPU_SITE, searchFailed);
}

void IterateSMBIOSCPUObjs(const PropertyMap& kovdProperties, const std::string& kovdPath,
                          std::string& matchedPath, AssociationList& additions)
try
{
    const auto fits = [&](const PropertyMap& smbiosProperties)
    { return CompareAssociationProperties(smbiosProperties, kovdProperties, compare::cpu); };
    const auto smbiosPath = firstFit(CPU_SITE, smbiosCPUObjs, unusableSmbios, fits);
    if (!smbiosPath)
    {
        CPU_LOG(level::error, "%s No association found for objPath", kovdPath.c_str());
        return;
    }
    matchedPath = *smbiosPath;
    recordMatch(CPU_SITE, *smbiosPath, kovdPath, additions);
}
catch (...)
{
    logFailure(CPU_SITE, searchFailed);
}
