#include "engines/match.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "engines/fqdd.hpp"

#include <exception>
#include <optional>

namespace
{

/**
 * The two texts that a PCIe rule compares, the SMBIOS designation and the KOVD descriptor of that
 * name.
 */
Verdict readTexts(const PropertyMap& smbios, const PropertyMap& kovd, std::string_view fqddName,
                  std::string_view& designation, std::string_view& fqdd)
{
    const PropertyValue* designationValue = smbios.find(names::slotDesignation);
    const PropertyValue* fqddValue = kovd.find(fqddName);
    if (designationValue == nullptr || fqddValue == nullptr)
    {
        return Condition::propertiesPresent;
    }
    designation = std::get<std::string>(*designationValue);
    fqdd = std::get<std::string>(*fqddValue);
    return designation.empty() || fqdd.empty() ? Condition::textsNotEmpty : Condition::none;
}

/** False when there are too few tokens; logged in the name of the calling operation. */
bool hasThreeTokens(const Site& site, const FqddTokens& tokens)
{
    if (tokens.count < tokens.token.size())
    {
        LOG_AT(site, level::error, "KOVD Fqdd is not in expected format");
        return false;
    }
    // The split yields no empty token; the guard stays in case the split changes.
    return !tokens.token[0].empty() && !tokens.token[1].empty() && !tokens.token[2].empty();
}

/**
 * The number in a descriptor's slot token. Blanks and a sign before it and any text behind it are
 * accepted; nothing, and logged, when there is no number or it does not fit an int.
 */
std::optional<int> parseSlotNumber(const Site& site, std::string_view token)
try
{
    return std::stoi(std::string(token));
}
catch (const std::exception&)
{
    LOG_AT(site, level::info, "Failed to Parse the Slot Number");
    return std::nullopt;
}

// A designation that says BAY fits drive bays alone, and they fit no other.

Verdict matchUnlessBay(std::string_view designation, std::string_view fqdd)
{
    return containsNoCase(designation, "BAY") ? Condition::noBayNamed
                                              : matchFQDD(designation, fqdd);
}

Verdict matchIfBay(std::string_view designation, std::string_view fqdd)
{
    return containsNoCase(designation, "BAY") ? matchDiskBay(designation, fqdd)
                                              : Condition::bayNamed;
}

/** Whether a designation fits a device of that type, for example NIC. */
bool namesDevice(std::string_view designation, std::string_view deviceType)
{
    // "PCIe" may be any device; a placeholder stands for whatever device sits in the slot.
    return containsNoCase(designation, deviceType) || containsNoCase(designation, "PCIe") ||
           equalsExact(toUpperCopy(deviceType), "PCIESLOTPLACEHOLDER");
}

Verdict matchSlots(const PropertyMap& smbios, const PropertyMap& kovd)
{
    const PropertyValue* slotId = smbios.find(names::slotId);
    const PropertyValue* instance = kovd.find(names::pcieLocatorInstanceNum);
    const PropertyValue* locator = kovd.find(names::pcieLocatorType);
    // All three are needed; an object without them is no slot of this kind.
    if (slotId == nullptr || instance == nullptr || locator == nullptr)
    {
        return Condition::propertiesPresent;
    }
    const auto smbiosSlotId = std::get<std::uint16_t>(*slotId);
    const auto kovdInstance = std::get<std::uint16_t>(*instance);
    const auto locatorType = std::get<std::uint8_t>(*locator);
    // Most candidates end here, before any text is looked at. Zero is a number like any other.
    if (smbiosSlotId != kovdInstance)
    {
        return Condition::slotIdEqual;
    }

    std::string_view designation;
    std::string_view fqdd;
    if (const Verdict read = readTexts(smbios, kovd, names::pcieFqdd, designation, fqdd); !read)
    {
        return read;
    }
    switch (locatorType)
    {
        case locator::slot:
            return matchUnlessBay(designation, fqdd);
        case locator::driveBay:
            return matchIfBay(designation, fqdd);
        default:
            return Condition::locatorTypeKnown;
    }
}

Verdict matchSlotDevice(const PropertyMap& smbios, const PropertyMap& kovd)
{
    std::string_view designation;
    std::string_view fqdd;
    if (const Verdict read = readTexts(smbios, kovd, names::fqdd, designation, fqdd); !read)
    {
        return read;
    }
    // No slot id here: a device has none. The descriptor itself says whether it is a drive.
    return namesDriveBay(fqdd) ? matchIfBay(designation, fqdd) : matchUnlessBay(designation, fqdd);
}

Verdict matchSockets(const Site& site, const PropertyMap& smbios, const PropertyMap& kovd)
{
    const PropertyValue* socketValue = smbios.find(names::socket);
    const PropertyValue* keyValue = kovd.find(names::targetDevKey);
    const PropertyValue* numberValue = kovd.find(names::slotNumber);
    if (socketValue == nullptr || keyValue == nullptr || numberValue == nullptr)
    {
        return Condition::propertiesPresent;
    }
    const auto& socket = std::get<std::string>(*socketValue);
    const auto& key = std::get<std::string>(*keyValue);
    const auto number = std::get<std::uint16_t>(*numberValue);
    if (socket.empty() || key.empty())
    {
        return Condition::textsNotEmpty;
    }

    const std::string byNumber = "CPU" + std::to_string(number);
    LOG_AT(site, level::trace, "kovd_CPU_Key: %s", key.c_str());
    LOG_AT(site, level::trace, "smbios_CPU_socket: %s", socket.c_str());
    LOG_AT(site, level::trace, "kovd_cpu_slotnum: %d", number);
    LOG_AT(site, level::trace, "VerifyCPUSlot: %s", byNumber.c_str());
    const std::string upperSocket = toUpperCopy(socket);
    if (!equalsExact(upperSocket, byNumber))
    {
        return Condition::socketIsNumber;
    }

    const FqddTokens tokens = splitFqdd(key);
    if (!hasThreeTokens(site, tokens))
    {
        return Condition::threeTokens;
    }
    const std::string_view slot = tokens.token[2];
    LOG_AT(site, level::trace, "Slot number=%.*s", static_cast<int>(slot.size()), slot.data());
    // As text, not as a number: "01" is another socket than "1".
    const bool equal = equalsExact(upperSocket, std::string("CPU").append(slot));
    return equal ? Condition::none : Condition::socketIsKey;
}

} // namespace

Verdict CompareAssociationProperties(const PropertyMap& smbios, const PropertyMap& kovd,
                                     int interfaceType)
try
{
    switch (interfaceType)
    {
        case compare::slotForKovd:
        case compare::slotForSmbios:
            return matchSlots(smbios, kovd);
        case compare::slotDevice:
            return matchSlotDevice(smbios, kovd);
        case compare::cpu:
        case compare::cpuAlias:
            return matchSockets(UTIL_SITE, smbios, kovd);
        default:
            return Condition::kindsComparable;
    }
}
catch (...)
{
    logFailure(UTIL_SITE, {"Exception in CompareAssociationProperties: %s",
                           "Unknown Exception in CompareAssociationProperties"});
    return Condition::propertiesReadable;
}

Verdict matchFQDD(std::string_view designation, std::string_view fqdd)
{
    const FqddTokens tokens = splitFqdd(fqdd);
    UTIL_LOG(level::info, "KOVD fqdd %.*s", static_cast<int>(fqdd.size()), fqdd.data());
    UTIL_LOG(level::info, "SMBIOS fqdd %.*s", static_cast<int>(designation.size()),
             designation.data());
    if (!hasThreeTokens(UTIL_SITE, tokens))
    {
        return Condition::threeTokens;
    }
    const auto& [deviceType, slotType, slotNumber] = tokens.token;
    UTIL_LOG(level::info, "Device Type=%.*s", static_cast<int>(deviceType.size()),
             deviceType.data());
    UTIL_LOG(level::info, "Slot Type=%.*s", static_cast<int>(slotType.size()), slotType.data());
    UTIL_LOG(level::info, "Slot number=%.*s", static_cast<int>(slotNumber.size()),
             slotNumber.data());

    if (!equalsExact(toUpperCopy(slotType), "SLOT"))
    {
        return Condition::secondTokenSlot;
    }
    // Only the slot is asked for; a designation without a bay still names one.
    SlotAndBay smbios;
    parseSlotAndBay(designation, smbios);
    const auto fqddSlot = parseSlotNumber(UTIL_SITE, slotNumber);
    if (!fqddSlot)
    {
        return Condition::slotNumberRead;
    }
    const SlotVerdict slots = compareSlots(smbios.slot, *fqddSlot);
    UTIL_LOG(level::info, "Slot comparison: SMBIOS=%d vs FQDD=%d => %s", smbios.slot, *fqddSlot,
             slots.text);
    if (!slots.verdict)
    {
        return slots.verdict;
    }
    if (!containsNoCase(designation, slotType))
    {
        return Condition::slotNamed;
    }
    return namesDevice(designation, deviceType) ? Condition::none : Condition::deviceNamed;
}

SlotVerdict compareSlots(int smbiosSlot, int fqddSlot)
{
    if (smbiosSlot == -1 && fqddSlot == -1)
    {
        // The log shows that the two agree; two slots without a number are still no pair.
        return {"MATCH", Condition::slotNumberNamed};
    }
    if (smbiosSlot == fqddSlot)
    {
        return {"MATCH", Condition::none};
    }
    return {"NO_MATCH", Condition::slotNumberEqual};
}

Verdict matchDiskBay(std::string_view designation, std::string_view fqdd)
{
    SlotAndBay smbios;
    DiskBay kovd;
    const bool designationRead = parseSlotAndBay(designation, smbios);
    const bool fqddRead = parseDiskBayFqdd(fqdd, kovd);
    if (!designationRead || !fqddRead)
    {
        return Condition::bayRead;
    }
    // A text that was found without a number behind it names nothing.
    if (smbios.slot == -1 || kovd.disk == -1 || smbios.bay == -1 || kovd.enclosure == -1)
    {
        return Condition::bayNumbered;
    }
    if (smbios.slot != kovd.disk)
    {
        return Condition::diskEqual;
    }
    return smbios.bay == kovd.enclosure ? Condition::none : Condition::bayEqual;
}

bool convertPath(std::string_view path, std::string& boardPath)
try
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos || slash + 1 == path.size())
    {
        return false;
    }
    const std::string_view leaf = path.substr(slash);
    boardPath.reserve(names::kovdBoardPath.size() + leaf.size()); // all that can fail, up front
    boardPath.assign(names::kovdBoardPath).append(leaf);
    return true;
}
catch (const std::exception& e)
{
    UTIL_LOG(level::error, "Exception in convertPath: %s", e.what());
    return false;
}
