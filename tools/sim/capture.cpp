#include "sim/capture.hpp"

#include "sim/document.hpp"
#include "sim/names.hpp"

#include <systemd/sd-bus.h>

#include <utility>

namespace sim
{
namespace
{

constexpr const char* captureType = "a{oa{sa{sv}}}";
constexpr const char* interfacesType = "a{sa{sv}}";

/** Turns a checked dictionary into a map, each value by `convert`; repeated keys are refused. */
template <typename Map, typename Convert>
Map toMap(const Json& dictionary, const Place& place, const Convert& convert)
{
    Map map;
    for (const auto& [key, value] : dictionaryEntries(dictionary, 's'))
    {
        const auto& name = key.template get_ref<const std::string&>();
        const Place here = place.member(name);
        if (!map.emplace(name, convert(name, *value, here)).second)
        {
            throw ValueError(here.text(), "this key stands twice");
        }
    }
    return map;
}

Value toValue(const std::string& name, const Json& typed, const Place& place)
{
    if (sd_bus_member_name_is_valid(name.c_str()) <= 0)
    {
        throw ValueError(place.text(), "'" + name + "' is not a property name");
    }
    return {typed["type"].get<std::string>(), typed["data"]};
}

Properties toProperties(const std::string& name, const Json& dictionary, const Place& place)
{
    if (sd_bus_interface_name_is_valid(name.c_str()) <= 0)
    {
        throw ValueError(place.text(), "'" + name + "' is not an interface name");
    }
    return toMap<Properties>(dictionary, place, toValue);
}

Interfaces toInterfaces(const std::string&, const Json& dictionary, const Place& place)
{
    return toMap<Interfaces>(dictionary, place, toProperties);
}

Objects objectsFrom(const Json& document)
{
    const Place top;
    if (!document.is_object())
    {
        throw ValueError("", std::string("expected {\"type\", \"data\"}, found ") +
                                 document.type_name());
    }
    if (!document.contains("type") || document["type"] != captureType)
    {
        throw ValueError("type", std::string("expected \"") + captureType +
                                     "\", the type of a GetManagedObjects reply");
    }
    const Place data = top.member("data");
    if (!document.contains("data") || !document["data"].is_array() || document["data"].size() != 1)
    {
        throw ValueError(data.text(), "expected a list of one dictionary");
    }
    const Place body = data.element(0);
    const Json& dictionary = document["data"][0];
    checkValue(captureType, dictionary, body);
    return toMap<Objects>(dictionary, body, toInterfaces);
}

} // namespace

Objects parseCapture(std::string_view text, const std::string& name)
{
    try
    {
        return objectsFrom(parseDocument(text, name));
    }
    catch (const ValueError& error)
    {
        throw CaptureError(name, error.where(), error.reason());
    }
}

Objects readCapture(const std::filesystem::path& file)
{
    return parseCapture(readFile(file), file.string());
}

InventoryCapture readInventory(const std::filesystem::path& folder)
{
    InventoryCapture inventory;
    inventory.smbios = readCapture(folder / names::smbiosFile);
    inventory.kovd = readCapture(folder / names::boardFile);
    const std::filesystem::path chassis = folder / names::chassisFile;
    for (auto& [path, interfaces] : readCapture(chassis))
    {
        if (!inventory.kovd.emplace(path, std::move(interfaces)).second)
        {
            throw CaptureError(chassis.string(), path,
                               std::string("this object is also in ") + names::boardFile);
        }
    }
    return inventory;
}

Interfaces interfacesFromJson(const Json& json, const Place& place)
{
    checkValue(interfacesType, json, place);
    return toInterfaces("", json, place);
}

} // namespace sim
