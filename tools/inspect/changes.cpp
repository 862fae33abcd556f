#include "inspect/changes.hpp"

#include "sim/names.hpp"

#include <set>
#include <utility>

namespace inspect
{
namespace
{

using Flat = std::map<std::string, sim::Value>;

/** The properties of an object, without what the daemon writes. */
Flat flatten(const sim::Interfaces& interfaces)
{
    Flat flat;
    for (const auto& [interface, properties] : interfaces)
    {
        for (const auto& [name, value] : properties)
        {
            if (interface != sim::names::associationDefinitions)
            {
                flat.emplace(interface + "." + name, value);
            }
        }
    }
    return flat;
}

std::string shown(const Flat& flat, const std::string& name)
{
    const auto at = flat.find(name);
    return at == flat.end() ? "none" : at->second.data.dump();
}

std::vector<std::string> changedProperties(const sim::Interfaces& before,
                                           const sim::Interfaces& after)
{
    const Flat old = flatten(before);
    const Flat now = flatten(after);
    std::set<std::string> names;
    for (const Flat* flat : {&old, &now})
    {
        for (const auto& [name, value] : *flat)
        {
            names.insert(name);
        }
    }
    std::vector<std::string> changed;
    for (const std::string& name : names)
    {
        const auto was = old.find(name);
        const auto is = now.find(name);
        if (was == old.end() || is == now.end() || was->second != is->second)
        {
            changed.push_back(name.substr(name.rfind('.') + 1) + ": " + shown(old, name) + " -> " +
                              shown(now, name));
        }
    }
    return changed;
}

void compareObjects(const sim::Objects& before, const sim::Objects& after,
                    std::map<std::string, Change>& changes)
{
    for (const auto& [path, interfaces] : before)
    {
        const auto now = after.find(path);
        if (now == after.end())
        {
            changes[path] = {ChangeKind::went, path, {}};
            continue;
        }
        auto properties = changedProperties(interfaces, now->second);
        if (!properties.empty())
        {
            changes[path] = {ChangeKind::changed, path, std::move(properties)};
        }
    }
    for (const auto& [path, interfaces] : after)
    {
        if (!before.contains(path))
        {
            changes[path] = {ChangeKind::appeared, path, {}};
        }
    }
}

std::string partnerByRules(const Machine& machine, const std::string& path)
{
    const auto list = machine.outcome.lists.find(path);
    return list == machine.outcome.lists.end() ? "" : partnerOf(list->second);
}

} // namespace

const char* nameOf(ChangeKind kind)
{
    switch (kind)
    {
        case ChangeKind::appeared:
            return "appeared";
        case ChangeKind::changed:
            return "changed";
        case ChangeKind::went:
            return "went";
    }
    return "";
}

Difference differenceOf(const Machine& before, const Machine& after)
{
    std::map<std::string, Change> changes;
    compareObjects(before.world.smbios, after.world.smbios, changes);
    compareObjects(before.world.board, after.world.board, changes);
    compareObjects(before.world.chassis, after.world.chassis, changes);
    Difference difference;
    for (auto& [path, change] : changes)
    {
        difference.changes.push_back(std::move(change));
    }

    std::set<std::string> paths;
    for (const Machine* machine : {&before, &after})
    {
        for (const auto& [path, list] : machine->outcome.lists)
        {
            paths.insert(path);
        }
    }
    for (const std::string& path : paths)
    {
        Repairing pairing{path, partnerByRules(before, path), partnerByRules(after, path)};
        if (pairing.before != pairing.after)
        {
            difference.pairings.push_back(std::move(pairing));
        }
    }
    return difference;
}

} // namespace inspect
