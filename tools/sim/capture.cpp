#include "sim/capture.hpp"

#include "sim/names.hpp"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

namespace sim
{
namespace
{

constexpr const char* captureType = "a{oa{sa{sv}}}";
constexpr const char* interfacesType = "a{sa{sv}}";

/** Watches a document while it is read and refuses a key that stands twice in one object, which the
 *  JSON library would silently let win. */
class RepeatedKeyWatch
{
  public:
    bool operator()(int, Json::parse_event_t event, Json& parsed)
    {
        switch (event)
        {
            case Json::parse_event_t::object_start:
                levels_.emplace_back();
                break;
            case Json::parse_event_t::object_end:
                levels_.pop_back();
                break;
            case Json::parse_event_t::key:
                enter(parsed.get<std::string>());
                break;
            default:
                break;
        }
        return true;
    }

  private:
    struct Level
    {
        std::set<std::string> keys;
        std::string current;
    };

    void enter(const std::string& key)
    {
        Level& level = levels_.back();
        level.current = key;
        if (level.keys.insert(key).second)
        {
            return;
        }
        std::string place;
        for (const Level& around : levels_)
        {
            place += place.empty() ? around.current : "[\"" + around.current + "\"]";
        }
        throw ValueError(place, "this key stands twice");
    }

    std::vector<Level> levels_;
};

std::string lineAndColumn(std::string_view text, std::size_t byte)
{
    // The library counts the bytes that it has read, the faulty one included.
    const std::string_view before = text.substr(0, byte == 0 ? 0 : std::min(byte - 1, text.size()));
    const auto lines = std::ranges::count(before, '\n') + 1;
    const std::size_t lineStart = before.rfind('\n') + 1;
    const std::size_t column = before.size() - lineStart + 1;
    return "line " + std::to_string(lines) + ", column " + std::to_string(column);
}

/** The library's text without its own error code and place. */
std::string plainReason(const std::string& what)
{
    const std::size_t code = what.find("] ");
    const std::string text = code == std::string::npos ? what : what.substr(code + 2);
    const std::size_t column = text.find("column ");
    const std::size_t colon = column == std::string::npos ? column : text.find(": ", column);
    return colon == std::string::npos ? text : text.substr(colon + 2);
}

Json parseDocument(std::string_view text, const std::string& name)
{
    RepeatedKeyWatch watch;
    try
    {
        return Json::parse(text, std::ref(watch));
    }
    catch (const Json::parse_error& error)
    {
        throw CaptureError(name, lineAndColumn(text, error.byte), plainReason(error.what()));
    }
    catch (const Json::exception& error)
    {
        throw CaptureError(name, "", plainReason(error.what()));
    }
}

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

std::string readFile(const std::filesystem::path& file)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::string text;
    if (stream && !std::filesystem::is_directory(file))
    {
        text.assign(std::istreambuf_iterator<char>(stream), {});
        return text;
    }
    const std::string why = errno != 0 ? std::strerror(errno) : "not a file";
    throw CaptureError(file.string(), "", "cannot be read: " + why);
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
