// The conditions in words.

#include "base/names.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/fqdd.hpp"
#include "inspect/conditions.hpp"
#include "inspect/words.hpp"
#include "inspect/world.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace inspect
{
namespace
{

/** What is being told: a rule with its two objects, and whether the condition holds. */
struct Telling
{
    Rule rule;
    bool holds;
    const PropertyMap& first;
    const PropertyMap& second;

    std::string_view fqddName() const
    {
        return rule == Rule::device ? names::fqdd : names::pcieFqdd;
    }
};

std::string valueText(const PropertyMap& properties, std::string_view name)
{
    const PropertyValue* value = properties.find(name);
    return std::string(name) + " " + (value == nullptr ? "missing" : toText(*value));
}

std::string designation(const Telling& told)
{
    return valueText(told.first, names::slotDesignation);
}

std::string fqdd(const Telling& told)
{
    return valueText(told.second, told.fqddName());
}

std::string both(const Telling& told)
{
    return designation(told) + ", " + fqdd(told);
}

/** The tokens of a descriptor, kept alive together with their text. */
struct Tokens
{
    explicit Tokens(std::string descriptor) : text(std::move(descriptor)), split(splitFqdd(text)) {}
    Tokens(const Tokens&) = delete;
    Tokens& operator=(const Tokens&) = delete;

    std::string quoted(std::size_t index) const
    {
        return '"' + std::string(split.token[index]) + '"';
    }

    std::string text;
    FqddTokens split;
};

std::string numberText(int number)
{
    return number == -1 ? "none" : std::to_string(number);
}

using Names = std::vector<std::pair<const PropertyMap*, std::string_view>>;

Names propertiesRead(const Telling& told)
{
    switch (told.rule)
    {
        case Rule::slot:
            return {{&told.first, names::slotId},
                    {&told.first, names::slotDesignation},
                    {&told.second, names::pcieLocatorInstanceNum},
                    {&told.second, names::pcieLocatorType},
                    {&told.second, names::pcieFqdd}};
        case Rule::device:
            return {{&told.first, names::slotDesignation}, {&told.second, names::fqdd}};
        case Rule::processor:
            return {{&told.first, names::socket},
                    {&told.second, names::slotNumber},
                    {&told.second, names::targetDevKey}};
        case Rule::cache:
            return {{&told.first, names::handle}};
    }
    return {};
}

std::string sayPresent(const Telling& told)
{
    std::string missing;
    for (const auto& [properties, name] : propertiesRead(told))
    {
        if (properties->find(name) == nullptr)
        {
            missing += (missing.empty() ? "" : ", ") + std::string(name);
        }
    }
    if (missing.empty())
    {
        return told.holds ? "every property is there" : "the processor has no properties";
    }
    return missing + ": missing";
}

std::string sayNotEmpty(const Telling& told)
{
    if (told.rule == Rule::processor)
    {
        return valueText(told.first, names::socket) + ", " +
               valueText(told.second, names::targetDevKey);
    }
    return both(told);
}

std::string sayReadable(const Telling& told)
{
    if (told.holds)
    {
        return "every property has its type";
    }
    std::string all;
    for (const auto& [properties, name] : propertiesRead(told))
    {
        all += (all.empty() ? "" : ", ") + valueText(*properties, name);
    }
    return all + ": a number does not fit";
}

std::string sayThreeTokens(const Telling& told)
{
    const bool processor = told.rule == Rule::processor;
    const std::string_view name = processor ? names::targetDevKey : told.fqddName();
    const Tokens tokens(textOf(told.second, name));
    return valueText(told.second, name) + ": " + std::to_string(tokens.split.count) +
           (tokens.split.count == 1 ? " token" : " tokens") + (told.holds ? "" : ", 3 are needed");
}

std::string saySlotId(const Telling& told)
{
    return valueText(told.first, names::slotId) + ", " +
           valueText(told.second, names::pcieLocatorInstanceNum) +
           (told.holds ? ": equal" : ": differ");
}

std::string sayLocator(const Telling& told)
{
    return valueText(told.second, names::pcieLocatorType) +
           (told.holds ? "" : ": neither 6 (slot) nor 9 (drive bay)");
}

std::string sayNoBay(const Telling& told)
{
    return designation(told) +
           (told.holds ? ": names no bay" : ": names a bay, and the platform object is none");
}

std::string sayBay(const Telling& told)
{
    return designation(told) +
           (told.holds ? ": names a bay" : ": names no bay, and the platform object is one");
}

std::string saySecondToken(const Telling& told)
{
    const Tokens tokens(textOf(told.second, told.fqddName()));
    return fqdd(told) + ": its second token, " + tokens.quoted(1) +
           (told.holds ? ", is SLOT" : ", is not SLOT");
}

std::string saySlotNumberRead(const Telling& told)
{
    const Tokens tokens(textOf(told.second, told.fqddName()));
    return fqdd(told) + ": its third token, " + tokens.quoted(2) +
           (told.holds ? ", is a number" : ", is no number that fits");
}

std::string saySlotNumber(const Telling& told)
{
    SlotAndBay smbios;
    parseSlotAndBay(textOf(told.first, names::slotDesignation), smbios);
    const Tokens tokens(textOf(told.second, told.fqddName()));
    return designation(told) + " names " +
           (smbios.slot == -1 ? "no slot number" : "slot " + std::to_string(smbios.slot)) + ", " +
           fqdd(told) + " slot " + std::string(tokens.split.token[2]) +
           (told.holds ? ": equal" : ": differ");
}

std::string saySlotNamed(const Telling& told)
{
    return designation(told) + (told.holds ? ": contains SLOT" : ": does not contain SLOT");
}

std::string sayDevice(const Telling& told)
{
    const Tokens tokens(textOf(told.second, told.fqddName()));
    return designation(told) + (told.holds ? ": fits the device type " : ": contains neither ") +
           tokens.quoted(0) + (told.holds ? "" : " nor PCIe");
}

struct BayNumbers
{
    SlotAndBay smbios;
    DiskBay platform;
};

BayNumbers bayNumbersOf(const Telling& told)
{
    BayNumbers numbers;
    parseSlotAndBay(textOf(told.first, names::slotDesignation), numbers.smbios);
    parseDiskBayFqdd(textOf(told.second, told.fqddName()), numbers.platform);
    return numbers;
}

std::string sayBayNumbers(const Telling& told)
{
    const auto [smbios, platform] = bayNumbersOf(told);
    return designation(told) + " names slot " + numberText(smbios.slot) + " and bay " +
           numberText(smbios.bay) + ", " + fqdd(told) + " disk " + numberText(platform.disk) +
           " and enclosure " + numberText(platform.enclosure) +
           (told.holds ? "" : ": all four are needed");
}

std::string sayDisk(const Telling& told)
{
    const auto [smbios, platform] = bayNumbersOf(told);
    return designation(told) + " names slot " + numberText(smbios.slot) + ", " + fqdd(told) +
           " disk " + numberText(platform.disk) + (told.holds ? ": equal" : ": differ");
}

std::string sayEnclosure(const Telling& told)
{
    const auto [smbios, platform] = bayNumbersOf(told);
    return designation(told) + " names bay " + numberText(smbios.bay) + ", " + fqdd(told) +
           " enclosure " + numberText(platform.enclosure) + (told.holds ? ": equal" : ": differ");
}

std::string saySocketNumber(const Telling& told)
{
    return valueText(told.first, names::socket) + ", " + valueText(told.second, names::slotNumber) +
           (told.holds ? ": the same socket" : ": differ");
}

std::string saySocketKey(const Telling& told)
{
    return valueText(told.first, names::socket) + ", " +
           valueText(told.second, names::targetDevKey) +
           (told.holds ? ": the same socket" : ": differ");
}

std::string sayHandle(const Telling& told)
{
    return valueText(told.first, names::handle) + (told.holds ? "" : ": 0 is no handle");
}

std::string sayHandles(const Telling& told)
{
    std::string text = valueText(told.first, names::handle);
    for (const std::string_view name :
         {names::l1CacheHandle, names::l2CacheHandle, names::l3CacheHandle})
    {
        text += ", " + valueText(told.second, name);
    }
    if (!told.holds)
    {
        return text + ": none is equal";
    }
    std::string named;
    CompareCacheAssocProps(told.second, told.first, named);
    return text + ": " + named + " is equal";
}

std::string sayKinds(const Telling& told)
{
    return told.holds ? "there is a rule for the two kinds" : "no rule compares the two kinds";
}

struct Sayer
{
    Condition condition;
    std::string (*say)(const Telling& told);
};

constexpr Sayer sayers[] = {
    {Condition::kindsComparable, sayKinds},
    {Condition::propertiesPresent, sayPresent},
    {Condition::textsNotEmpty, sayNotEmpty},
    {Condition::propertiesReadable, sayReadable},
    {Condition::threeTokens, sayThreeTokens},
    {Condition::slotIdEqual, saySlotId},
    {Condition::locatorTypeKnown, sayLocator},
    {Condition::noBayNamed, sayNoBay},
    {Condition::secondTokenSlot, saySecondToken},
    {Condition::slotNumberRead, saySlotNumberRead},
    {Condition::slotNumberNamed, saySlotNumber},
    {Condition::slotNumberEqual, saySlotNumber},
    {Condition::slotNamed, saySlotNamed},
    {Condition::deviceNamed, sayDevice},
    {Condition::bayNamed, sayBay},
    {Condition::bayRead, sayBayNumbers},
    {Condition::bayNumbered, sayBayNumbers},
    {Condition::diskEqual, sayDisk},
    {Condition::bayEqual, sayEnclosure},
    {Condition::socketIsNumber, saySocketNumber},
    {Condition::socketIsKey, saySocketKey},
    {Condition::handleNotZero, sayHandle},
    {Condition::handleEqual, sayHandles},
};

/** "slot 3", or "slot 3 and bay 1" where the rule compares both. */
std::string placeOf(const Telling& told)
{
    SlotAndBay named;
    parseSlotAndBay(textOf(told.first, names::slotDesignation), named);
    const auto tested = conditionsOf(told.rule, told.first, told.second);
    const bool isBay = std::ranges::find(tested, Condition::bayEqual) != tested.end();
    return "slot " + std::to_string(named.slot) +
           (isBay ? " and bay " + std::to_string(named.bay) : "");
}

std::string inBrackets(const PropertyMap& properties, std::string_view name)
{
    return " (" + textOf(properties, name) + ")";
}

} // namespace

std::string sayMatchBriefly(Rule rule, const PropertyMap& first, const PropertyMap& second)
{
    const Telling told{rule, true, first, second};
    std::string handle;
    switch (rule)
    {
        case Rule::slot:
            return "both name " + placeOf(told) + inBrackets(second, names::pcieFqdd) +
                   ", both have identifier " + toText(*first.find(names::slotId));
        case Rule::device:
            return "both name " + placeOf(told) + inBrackets(second, names::fqdd);
        case Rule::processor:
            return "both name socket " + textOf(first, names::socket) +
                   inBrackets(second, names::targetDevKey);
        case Rule::cache:
            CompareCacheAssocProps(second, first, handle);
            return handle + " is " + toText(*first.find(names::handle));
    }
    return "";
}

std::string say(Rule rule, Condition condition, bool holds, const PropertyMap& first,
                const PropertyMap& second)
try
{
    const auto sayer = std::ranges::find(sayers, condition, &Sayer::condition);
    return sayer == std::end(sayers) ? "every condition holds"
                                     : sayer->say({rule, holds, first, second});
}
catch (const std::out_of_range&)
{
    return sayReadable({rule, false, first, second});
}

} // namespace inspect
