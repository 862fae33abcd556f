#include "engines/match_keys.hpp"

#include "base/names.hpp"
#include "engines/fqdd.hpp"

#include <stdexcept>

namespace
{

/** The property's value; null when it is missing or has another type. */
template <class Value>
const Value* find(const PropertyMap& properties, std::string_view name)
{
    return std::get_if<Value>(properties.find(name));
}

/** The number behind "SLOT ", -1 when there is none; nothing where the slot rule would not come. */
std::optional<int> numberOf(const std::string* designation)
try
{
    if (designation == nullptr || designation->empty() || containsNoCase(*designation, "BAY"))
    {
        return std::nullopt;
    }
    SlotAndBay read;
    parseSlotAndBay(*designation, read);
    return read.slot;
}
catch (const std::out_of_range&)
{
    return std::nullopt;
}

/** The number in the third token; nothing where the slot rule would not come to compare it. */
std::optional<int> numberOfFqdd(const std::string* fqdd)
try
{
    if (fqdd == nullptr)
    {
        return std::nullopt;
    }
    const FqddTokens tokens = splitFqdd(*fqdd);
    if (tokens.count < tokens.token.size() || !equalsExact(toUpperCopy(tokens.token[1]), "SLOT"))
    {
        return std::nullopt;
    }
    return std::stoi(std::string(tokens.token[2]));
}
catch (const std::logic_error&) // no number, or one that does not fit
{
    return std::nullopt;
}

} // namespace

MatchKeys keysOfSmbiosSlot(const PropertyMap& smbios)
{
    MatchKeys keys;
    if (const auto* slotId = find<std::uint16_t>(smbios, names::slotId))
    {
        keys.identifier = *slotId;
    }
    keys.number = numberOf(find<std::string>(smbios, names::slotDesignation));
    return keys;
}

MatchKeys keysOfKovdSlot(const PropertyMap& kovd)
{
    MatchKeys keys;
    const auto* instance = find<std::uint16_t>(kovd, names::pcieLocatorInstanceNum);
    const auto* locatorType = find<std::uint8_t>(kovd, names::pcieLocatorType);
    if (instance != nullptr && locatorType != nullptr)
    {
        keys.identifier = *instance;
        if (*locatorType == locator::slot)
        {
            keys.number = numberOfFqdd(find<std::string>(kovd, names::pcieFqdd));
        }
    }
    return keys;
}

MatchKeys keysOfKovdDevice(const PropertyMap& kovd)
{
    MatchKeys keys;
    const auto* fqdd = find<std::string>(kovd, names::fqdd);
    if (fqdd != nullptr && !namesDriveBay(*fqdd))
    {
        keys.number = numberOfFqdd(fqdd);
    }
    return keys;
}
