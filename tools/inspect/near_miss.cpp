#include "inspect/near_miss.hpp"

#include "base/names.hpp"
#include "engines/fqdd.hpp"
#include "inspect/words.hpp"
#include "inspect/world.hpp"

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace inspect
{
namespace
{

/** One property to change, on the SMBIOS or on the platform object. */
struct Change
{
    bool onSmbios;
    PropertyName property;
    PropertyValue value;
};
using Changes = std::vector<Change>;

/** Descriptors that name what the designation names. */
void addDescriptors(const std::string& designation, const std::string& fqdd, Changes& changes)
{
    SlotAndBay named;
    parseSlotAndBay(designation, named);
    if (named.slot == -1)
    {
        return;
    }
    constexpr PropertyName property(names::pcieFqdd);
    const std::string slot = std::to_string(named.slot);
    const FqddTokens tokens = splitFqdd(fqdd);
    if (tokens.count >= 3)
    {
        changes.push_back({false, property, std::string(tokens.token[0]) + ".Slot." + slot + "-1"});
    }
    changes.push_back({false, property, "PcieSlotPlaceholder.Slot." + slot + "-1"});
    if (named.bay != -1)
    {
        changes.push_back(
            {false, property,
             "Disk.Bay." + slot + ":Enclosure.Internal.0-" + std::to_string(named.bay)});
    }
}

/** Designations that name what the descriptor names. */
void addDesignations(const std::string& fqdd, Changes& changes)
{
    constexpr PropertyName property(names::slotDesignation);
    DiskBay bay;
    if (parseDiskBayFqdd(fqdd, bay) && bay.disk != -1 && bay.enclosure != -1)
    {
        changes.push_back(
            {true, property,
             "Slot " + std::to_string(bay.disk) + " Bay " + std::to_string(bay.enclosure)});
    }
    const FqddTokens tokens = splitFqdd(fqdd);
    if (tokens.count >= 3)
    {
        changes.push_back({true, property, "PCIe Slot " + std::string(tokens.token[2])});
    }
}

Changes slotChanges(const PropertyMap& smbios, const PropertyMap& platform)
{
    Changes changes;
    if (const PropertyValue* instance = platform.find(names::pcieLocatorInstanceNum))
    {
        changes.push_back({true, names::slotId, *instance});
    }
    if (const PropertyValue* slotId = smbios.find(names::slotId))
    {
        changes.push_back({false, names::pcieLocatorInstanceNum, *slotId});
    }
    for (const std::uint8_t locator : {std::uint8_t{6}, std::uint8_t{9}})
    {
        changes.push_back({false, names::pcieLocatorType, locator});
    }
    const std::string fqdd = textOf(platform, names::pcieFqdd);
    addDescriptors(textOf(smbios, names::slotDesignation), fqdd, changes);
    addDesignations(fqdd, changes);
    return changes;
}

std::string digitsOf(const std::string& text)
{
    std::string digits;
    std::ranges::copy_if(text, std::back_inserter(digits),
                         [](char c) { return c >= '0' && c <= '9'; });
    return digits;
}

Changes processorChanges(const PropertyMap& smbios, const PropertyMap& platform)
{
    Changes changes;
    const std::string socketText = textOf(smbios, names::socket);
    const std::string socketNumber = digitsOf(socketText);
    if (socketNumber.empty() || socketNumber.size() > 4)
    {
        return changes;
    }
    const std::string key = textOf(platform, names::targetDevKey);
    const FqddTokens tokens = splitFqdd(key);
    changes.push_back({true, names::socket, "CPU" + socketNumber});
    changes.push_back(
        {false, names::slotNumber, static_cast<std::uint16_t>(std::stoi(socketNumber))});
    if (tokens.count >= 2)
    {
        changes.push_back({false, names::targetDevKey,
                           std::string(tokens.token[0]) + "." + std::string(tokens.token[1]) + "." +
                               socketNumber});
    }
    return changes;
}

/** What differs between looking for slots and for processors. */
struct Pairing
{
    Rule rule;
    Kind smbios;
    Kind platform;
    Changes (*changes)(const PropertyMap& smbios, const PropertyMap& platform);
};

constexpr Pairing pairings[] = {
    {Rule::slot, Kind::smbiosSlot, Kind::kovdSlot, slotChanges},
    {Rule::processor, Kind::smbiosCpu, Kind::kovdCpu, processorChanges},
};

Changes changesOf(const Pairing& pairing, const PropertyMap& smbios, const PropertyMap& platform)
try
{
    return pairing.changes(smbios, platform);
}
catch (const std::out_of_range&)
{
    return {}; // a number does not fit; that is a finding of its own
}

/** The first change that makes the two a pair. */
std::optional<Change> helpful(const Pairing& pairing, const PropertyMap& smbios,
                              const PropertyMap& platform)
{
    for (Change& change : changesOf(pairing, smbios, platform))
    {
        PropertyMap first = smbios;
        PropertyMap second = platform;
        (change.onSmbios ? first : second).insert_or_assign(change.property, change.value);
        if (verdictOf(pairing.rule, first, second))
        {
            return std::move(change);
        }
    }
    return std::nullopt;
}

/** The SMBIOS objects without a partner of the platform kind; a slot may have a device for one. */
std::vector<const ObjectsOfKind::value_type*> untaken(const Outcome& outcome,
                                                      const Pairing& pairing)
{
    std::vector<const ObjectsOfKind::value_type*> found;
    for (const auto& object : outcome.of(pairing.smbios))
    {
        const auto pair = outcome.pairs.find(object.first);
        if (pair == outcome.pairs.end() || !outcome.of(pairing.platform).contains(pair->second))
        {
            found.push_back(&object);
        }
    }
    return found;
}

std::optional<NearMiss> nearest(const Pairing& pairing, const ObjectsOfKind::value_type& platform,
                                const std::vector<const ObjectsOfKind::value_type*>& candidates)
{
    std::optional<NearMiss> best;
    std::size_t most = 0;
    for (const auto* smbios : candidates)
    {
        const Condition failed = verdictOf(pairing.rule, smbios->second, platform.second).failed();
        const std::size_t progress =
            progressOf(pairing.rule, failed, smbios->second, platform.second);
        if (failed == Condition::none || (best && progress <= most))
        {
            continue;
        }
        if (auto change = helpful(pairing, smbios->second, platform.second))
        {
            most = progress;
            best = {platform.first,
                    smbios->first,
                    failed,
                    say(pairing.rule, failed, false, smbios->second, platform.second),
                    change->onSmbios ? smbios->first : platform.first,
                    std::string(change->property),
                    toText(change->value)};
        }
    }
    return best;
}

} // namespace

std::vector<NearMiss> nearMisses(const Outcome& outcome)
{
    std::vector<NearMiss> misses;
    for (const Pairing& pairing : pairings)
    {
        const auto candidates = untaken(outcome, pairing);
        for (const auto& platform : outcome.of(pairing.platform))
        {
            if (outcome.lists.contains(platform.first))
            {
                continue;
            }
            if (auto miss = nearest(pairing, platform, candidates))
            {
                misses.push_back(std::move(*miss));
            }
        }
    }
    return misses;
}

} // namespace inspect
