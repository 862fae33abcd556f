#include "sim/inventory.hpp"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <utility>

namespace sim
{
namespace
{

void checkProperties(const Properties& properties, const Place& place)
{
    for (const auto& [name, value] : properties)
    {
        const Place here = place.member(name);
        if (sd_bus_member_name_is_valid(name.c_str()) <= 0)
        {
            throw ValueError(here.text(), "'" + name + "' is not a property name");
        }
        checkValue(value.type, value.data, here);
    }
}

void checkObject(const std::string& path, const Interfaces& interfaces)
{
    if (sd_bus_object_path_is_valid(path.c_str()) <= 0)
    {
        throw ValueError("", "'" + path + "' is not an object path");
    }
    const Place place(path);
    for (const auto& [name, properties] : interfaces)
    {
        const Place here = place.member(name);
        if (sd_bus_interface_name_is_valid(name.c_str()) <= 0)
        {
            throw ValueError(here.text(), "'" + name + "' is not an interface name");
        }
        checkProperties(properties, here);
    }
}

/** What stands between `path` and the next "/" in a path below it. */
std::string childName(const std::string& below, const std::string& path)
{
    const std::size_t start = path == "/" ? 1 : path.size() + 1;
    return below.substr(start, below.find('/', start) - start);
}

} // namespace

Inventory::Inventory(Profile profile) : profile_(std::move(profile)) {}

Interfaces Inventory::complete(Interfaces interfaces) const
{
    for (const auto& [name, properties] : profile_.everyObject)
    {
        Properties& present = interfaces[name];
        present.insert(properties.begin(), properties.end());
    }
    return interfaces;
}

void Inventory::replace(Objects objects)
{
    for (auto& [path, interfaces] : objects)
    {
        checkObject(path, interfaces);
        interfaces = complete(std::move(interfaces));
    }
    objects_ = std::move(objects);
}

Interfaces Inventory::add(const std::string& path, Interfaces interfaces)
{
    checkObject(path, interfaces);
    const auto present = objects_.find(path);
    if (present == objects_.end())
    {
        interfaces = complete(std::move(interfaces));
        objects_[path] = interfaces;
        return interfaces;
    }
    for (const auto& [name, properties] : interfaces)
    {
        present->second[name] = properties;
    }
    return interfaces;
}

void Inventory::change(const std::string& path, const std::string& interface,
                       const Properties& properties)
{
    const auto object = objects_.find(path);
    if (object == objects_.end())
    {
        throw Error("no object at " + path);
    }
    const auto present = object->second.find(interface);
    if (present == object->second.end())
    {
        throw Error("no interface " + interface + " at " + path);
    }
    checkProperties(properties, Place(path));
    for (const auto& [name, value] : properties)
    {
        present->second[name] = value;
    }
}

std::vector<std::string> Inventory::remove(const std::string& path,
                                           const std::vector<std::string>& interfaces)
{
    const auto object = objects_.find(path);
    if (object == objects_.end())
    {
        throw Error("no object at " + path);
    }
    for (const std::string& name : interfaces)
    {
        if (!object->second.contains(name))
        {
            throw Error("no interface " + name + " at " + path);
        }
    }
    const bool someStay = std::ranges::any_of(
        object->second,
        [&](const auto& entry)
        {
            return !profile_.everyObject.contains(entry.first) &&
                   std::ranges::find(interfaces, entry.first) == interfaces.end();
        });
    if (someStay && !interfaces.empty())
    {
        for (const std::string& name : interfaces)
        {
            object->second.erase(name);
        }
        return interfaces;
    }
    std::vector<std::string> gone;
    for (const auto& [name, properties] : object->second)
    {
        gone.push_back(name);
    }
    objects_.erase(object);
    return gone;
}

std::string Inventory::managerOf(const std::string& path) const
{
    std::string nearest;
    for (const std::string& manager : profile_.managerPaths)
    {
        if (isBelow(path, manager) && manager.size() > nearest.size())
        {
            nearest = manager;
        }
    }
    return nearest;
}

bool Inventory::isManager(const std::string& path) const
{
    return std::ranges::find(profile_.managerPaths, path) != profile_.managerPaths.end();
}

std::set<std::string> Inventory::children(const std::string& path) const
{
    std::set<std::string> names;
    std::string prefix = path;
    if (path != "/")
    {
        prefix += '/';
    }
    for (auto it = objects_.lower_bound(prefix);
         it != objects_.end() && it->first.starts_with(prefix); ++it)
    {
        names.insert(childName(it->first, path));
    }
    for (const std::string& manager : profile_.managerPaths)
    {
        if (isBelow(manager, path))
        {
            names.insert(childName(manager, path));
        }
    }
    names.erase("");
    return names;
}

} // namespace sim
