#include "inspect/words.hpp"

#include "base/names.hpp"
#include "inspect/machine.hpp"

namespace inspect
{

std::string counted(std::size_t number, const std::string& noun)
{
    const std::string text = std::to_string(number) + " ";
    if (number == 1)
    {
        return text + noun;
    }
    if (noun.ends_with("y"))
    {
        return text + noun.substr(0, noun.size() - 1) + "ies";
    }
    return text + noun + (noun.ends_with("s") ? "es" : "s");
}

std::string textOf(const PropertyMap& properties, std::string_view name)
{
    const auto* text = std::get_if<std::string>(properties.find(name));
    return text == nullptr ? "" : *text;
}

std::string partnerText(const AssociationList& list, const std::string& none)
{
    if (list.empty())
    {
        return none;
    }
    const std::size_t caches = cachesIn(list);
    return leafOf(partnerOf(list)) + (caches == 0 ? "" : " +" + counted(caches, "cache"));
}

sim::Json tuplesOf(const AssociationList& list)
{
    sim::Json json = sim::Json::array();
    for (const auto& [forward, reverse, endpoint] : list)
    {
        json.push_back({forward, reverse, endpoint});
    }
    return json;
}

std::string shortPath(const std::string& path)
{
    std::string shared(names::inventoryPath);
    shared += "/system/";
    return path.starts_with(shared) ? path.substr(shared.size()) : path;
}

std::string escapeMarkup(const std::string& text)
{
    std::string escaped;
    for (const char c : text)
    {
        switch (c)
        {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                // Control characters have no place in XML.
                escaped += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
        }
    }
    return escaped;
}

} // namespace inspect
