#include "sim/capture.hpp"
#include "sim/names.hpp"

#include <fstream>

namespace sim
{
namespace
{

std::string dump(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string quote(const std::string& text)
{
    return dump(Json(text));
}

/** The blanks and line ends between the pieces; none of them for a capture in one line. */
struct Layout
{
    std::string_view object;
    std::string_view interface;
    std::string_view property;
    std::string_view end;
    std::string_view blank;
};

constexpr Layout oneLine{};
constexpr Layout forPeople{"\n  ", "\n    ", "\n      ", "\n", " "};

std::string piece(std::string_view lead, const std::string& name, const Layout& layout)
{
    return std::string(lead) + quote(name) + ":" + std::string(layout.blank);
}

std::string write(const Value& value, const Layout& layout)
{
    const std::string blank(layout.blank);
    return "{\"type\":" + blank + quote(value.type) + "," + blank + "\"data\":" + blank +
           dump(value.data) + "}";
}

/** A dictionary with each entry written by `writeEntry`, commas between. */
template <typename Map, typename WriteEntry>
std::string writeMap(const Map& map, std::string_view lead, const Layout& layout,
                     const WriteEntry& writeEntry, std::string_view end = "")
{
    std::string text = "{";
    for (const auto& [name, content] : map)
    {
        text += (text.size() > 1 ? "," : "") + piece(lead, name, layout) + writeEntry(content);
    }
    return text + std::string(end) + "}";
}

std::string write(const Objects& objects, const Layout& layout)
{
    const auto writeValue = [&](const Value& value) { return write(value, layout); };
    const auto writeProperties = [&](const Properties& properties)
    { return writeMap(properties, layout.property, layout, writeValue); };
    const auto writeInterfaces = [&](const Interfaces& interfaces)
    { return writeMap(interfaces, layout.interface, layout, writeProperties); };
    const std::string blank(layout.blank);
    return "{\"type\":" + blank + "\"a{oa{sa{sv}}}\"," + blank + "\"data\":" + blank + "[" +
           writeMap(objects, layout.object, layout, writeInterfaces, layout.end) + "]}\n";
}

Objects objectsBelow(const Objects& objects, const std::string& root)
{
    Objects below;
    for (const auto& [path, interfaces] : objects)
    {
        if (isBelow(path, root))
        {
            below.emplace(path, interfaces);
        }
    }
    return below;
}

void writeFile(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream)
    {
        throw Error(file.string() + ": cannot be written");
    }
}

} // namespace

Json interfacesToJson(const Interfaces& interfaces)
{
    Json json = Json::object();
    for (const auto& [interface, properties] : interfaces)
    {
        Json& inner = json[interface] = Json::object();
        for (const auto& [name, value] : properties)
        {
            inner[name] = valueToJson(value);
        }
    }
    return json;
}

std::string formatCapture(const Objects& objects, const std::string& root)
{
    return write(objectsBelow(objects, root), oneLine);
}

std::string formatCaptureForPeople(const Objects& objects, const std::string& root)
{
    return write(objectsBelow(objects, root), forPeople);
}

void writeReplies(const std::filesystem::path& folder, const Replies& replies)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
    {
        throw Error(folder.string() + ": " + error.message());
    }
    writeFile(folder / names::smbiosFile, write(replies.smbios, forPeople));
    writeFile(folder / names::boardFile, write(replies.board, forPeople));
    writeFile(folder / names::chassisFile, write(replies.chassis, forPeople));
}

void writeInventory(const std::filesystem::path& folder, const InventoryCapture& inventory)
{
    writeReplies(folder, {objectsBelow(inventory.smbios, names::smbiosRoot),
                          objectsBelow(inventory.kovd, names::boardRoot),
                          objectsBelow(inventory.kovd, names::chassisRoot)});
}

} // namespace sim
