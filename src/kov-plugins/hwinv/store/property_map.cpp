#include "store/property_map.hpp"

#include <algorithm>
#include <utility>

PropertyMap::PropertyMap(std::initializer_list<Entry> entries)
{
    reserve(entries.size());
    for (const auto& [name, value] : entries)
    {
        insert_or_assign(name, value);
    }
}

const PropertyValue* PropertyMap::find(std::string_view name) const
{
    // Of so few, nearly all differ in length already.
    const auto at = std::find_if(begin(), end(), [&](const Entry& e) { return e.name == name; });
    return at == end() ? nullptr : &at->value;
}

void PropertyMap::insert_or_assign(PropertyName name, PropertyValue value)
{
    const auto isBefore = [](const Entry& entry, std::string_view wanted)
    { return std::string_view(entry.name) < wanted; };
    const auto at = std::lower_bound(entries_.begin(), entries_.end(), name, isBefore);
    if (at != entries_.end() && at->name == name)
    {
        at->value = std::move(value);
        return;
    }
    entries_.insert(at, {name, std::move(value)});
}
