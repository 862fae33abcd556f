#include "inspect/findings.hpp"

#include "base/names.hpp"
#include "engines/fqdd.hpp"
#include "inspect/conditions.hpp"
#include "inspect/near_miss.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace inspect
{
namespace
{

using Findings = std::vector<Finding>;

const std::string* findText(const PropertyMap& properties, std::string_view name)
{
    return std::get_if<std::string>(properties.find(name));
}

std::string shown(std::string_view name, const std::string& text)
{
    return std::string(name) + " \"" + text + '"';
}

void checkKeptTypes(const Machine& machine, Findings& findings)
{
    for (const Refusal& refusal : machine.outcome.refusals)
    {
        findings.push_back({"kept-type", Severity::error, refusal.path,
                            refusal.property + " has type " + refusal.type +
                                ": the object is not stored, and each attempt to read it asks for "
                                "a resync, every 65 s for ever.",
                            "Publish " + refusal.property + " with type " + refusal.wanted + "."});
    }
}

void checkNearMisses(const Machine& machine, Findings& findings)
{
    for (const NearMiss& miss : nearMisses(machine.outcome))
    {
        findings.push_back({"near-miss", Severity::error, miss.platformPath,
                            "It has no partner, and only one property keeps it from " +
                                leafOf(miss.smbiosPath) + ": " + miss.reason + ".",
                            "Set " + miss.property + " of " + leafOf(miss.changedPath) + " to " +
                                miss.value + "."});
    }
}

/** Objects of a kind that share the value of a property. */
void checkShared(const Machine& machine, Kind kind, std::string_view property, Findings& findings)
{
    std::map<std::string, std::vector<std::string>> byValue;
    for (const auto& [path, properties] : machine.outcome.of(kind))
    {
        if (const PropertyValue* value = properties.find(property))
        {
            byValue[toText(*value)].push_back(path);
        }
    }
    for (const auto& [value, paths] : byValue)
    {
        if (paths.size() < 2)
        {
            continue;
        }
        std::string others;
        for (const std::string& path : paths)
        {
            others += (others.empty() ? "" : ", ") + leafOf(path);
        }
        findings.push_back({"same-slot-id", Severity::warning, paths.front(),
                            std::to_string(paths.size()) + " " + nameOf(kind) + "s have " +
                                std::string(property) + " " + value + ": " + others + ".",
                            "Give each slot an identifier of its own."});
    }
}

void checkSlotIds(const Machine& machine, Findings& findings)
{
    checkShared(machine, Kind::smbiosSlot, names::slotId, findings);
    checkShared(machine, Kind::kovdSlot, names::pcieLocatorInstanceNum, findings);
}

void checkPrefixes(const Machine& machine, Findings& findings)
{
    for (const auto& [slot, slotProperties] : machine.outcome.of(Kind::kovdSlot))
    {
        std::string devices;
        for (const auto& [device, properties] : machine.outcome.of(Kind::kovdDevice))
        {
            const bool contains = device != slot && device.find(slot) != std::string::npos;
            if (contains && !device.starts_with(slot + "/"))
            {
                devices += (devices.empty() ? "" : ", ") +
                           device.substr(device.rfind('/', device.rfind('/') - 1) + 1);
            }
        }
        if (!devices.empty())
        {
            findings.push_back({"path-prefix", Severity::warning, slot,
                                "Its path is contained in those of devices of another slot, which "
                                "count as its own in a full pass: " +
                                    devices + ".",
                                "Number the paths with as many digits each, such as _01 and _10."});
        }
    }
}

void checkShort(const Machine& machine, Kind kind, std::string_view property, Findings& findings)
{
    for (const auto& [path, properties] : machine.outcome.of(kind))
    {
        const std::string* text = findText(properties, property);
        if (text != nullptr && splitFqdd(*text).count < 3)
        {
            findings.push_back(
                {"fqdd-short", Severity::error, path,
                 shown(property, *text) + " has fewer than three tokens: it names no slot.",
                 "Name device type, slot type and number, such as NIC.Slot.3-1."});
        }
    }
}

void checkTokens(const Machine& machine, Findings& findings)
{
    checkShort(machine, Kind::kovdSlot, names::pcieFqdd, findings);
    checkShort(machine, Kind::kovdDevice, names::fqdd, findings);
    checkShort(machine, Kind::kovdCpu, names::targetDevKey, findings);
}

/** The condition at which the daemon's rule refuses a slot that differs in nothing but texts. */
Condition probeSlot(const PropertyMap& platform, const std::string& designation)
{
    const PropertyValue* instance = platform.find(names::pcieLocatorInstanceNum);
    if (instance == nullptr)
    {
        return Condition::propertiesPresent;
    }
    const PropertyMap smbios{{names::slotId, *instance}, {names::slotDesignation, designation}};
    return verdictOf(Rule::slot, smbios, platform).failed();
}

void checkLocators(const Machine& machine, Findings& findings)
{
    for (const auto& [path, properties] : machine.outcome.of(Kind::kovdSlot))
    {
        if (probeSlot(properties, "PCIe Slot 1") == Condition::locatorTypeKnown)
        {
            findings.push_back(
                {"locator-type", Severity::warning, path,
                 say(Rule::slot, Condition::locatorTypeKnown, false, {}, properties) + ".",
                 "A slot has type 6, a drive bay type 9; any other is never paired."});
        }
    }
}

/** Whether the engine's reader throws because a number does not fit. */
template <class Read>
bool overflows(const Read& read)
try
{
    read();
    return false;
}
catch (const std::out_of_range&)
{
    return true;
}

void addTooBig(const std::string& path, std::string_view name, const std::string& text,
               Findings& findings)
{
    findings.push_back({"number-range", Severity::error, path,
                        shown(name, text) + ": a number in it does not fit, so it matches nothing.",
                        "Use numbers below 2147483648."});
}

void checkNumbers(const Machine& machine, Findings& findings)
{
    for (const auto& [path, properties] : machine.outcome.of(Kind::smbiosSlot))
    {
        const std::string* text = findText(properties, names::slotDesignation);
        SlotAndBay read;
        if (text != nullptr && overflows([&] { parseSlotAndBay(*text, read); }))
        {
            addTooBig(path, names::slotDesignation, *text, findings);
        }
    }
    for (const auto& [path, properties] : machine.outcome.of(Kind::kovdSlot))
    {
        const std::string* text = findText(properties, names::pcieFqdd);
        DiskBay read;
        if (text != nullptr && (overflows([&] { parseDiskBayFqdd(*text, read); }) ||
                                probeSlot(properties, "PCIe Slot 1") == Condition::slotNumberRead))
        {
            addTooBig(path, names::pcieFqdd, *text, findings);
        }
    }
}

void checkCaches(const Machine& machine, Findings& findings)
{
    const auto& cpus = machine.outcome.of(Kind::smbiosCpu);
    for (const auto& [path, properties] : machine.outcome.of(Kind::smbiosCache))
    {
        const PropertyMap& cache = properties;
        if (std::ranges::any_of(cpus,
                                [&](const auto& cpu) -> bool
                                { return verdictOf(Rule::cache, cache, cpu.second); }))
        {
            continue;
        }
        const PropertyValue* handle = cache.find(names::handle);
        findings.push_back({"cache-unnamed", Severity::warning, path,
                            "No processor names its handle, " +
                                (handle == nullptr ? "none" : toText(*handle)) + ".",
                            "Put the handle into L1CacheHandle, L2CacheHandle or L3CacheHandle of "
                            "its processor."});
    }
}

void checkKeys(const Machine& machine, Findings& findings)
{
    for (const auto& [path, properties] : machine.outcome.of(Kind::kovdCpu))
    {
        const PropertyValue* number = properties.find(names::slotNumber);
        if (number == nullptr)
        {
            continue;
        }
        const PropertyMap socket{{names::socket, "CPU" + toText(*number)}};
        if (verdictOf(Rule::processor, socket, properties).failed() == Condition::socketIsKey)
        {
            findings.push_back(
                {"cpu-key", Severity::error, path,
                 "SlotNumber " + toText(*number) + " and " +
                     shown(names::targetDevKey, *findText(properties, names::targetDevKey)) +
                     " name two sockets: it is never paired.",
                 "Let the key's third token be the slot number, without zeros "
                 "before it."});
        }
    }
}

constexpr void (*checks[])(const Machine&, Findings&) = {
    checkKeptTypes, checkNearMisses, checkSlotIds, checkPrefixes, checkTokens,
    checkLocators,  checkNumbers,    checkCaches,  checkKeys};

} // namespace

const char* nameOf(Severity severity)
{
    return severity == Severity::error ? "error" : "warning";
}

std::vector<Finding> check(const Machine& machine)
{
    Findings findings;
    for (const auto run : checks)
    {
        run(machine, findings);
    }
    return findings;
}

} // namespace inspect
