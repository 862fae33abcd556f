#include "inspect/conditions.hpp"

#include "base/names.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/match.hpp"
#include "inspect/words.hpp"

#include <algorithm>
#include <array>
#include <exception>

namespace inspect
{
namespace
{

struct NamedCondition
{
    Condition condition;
    const char* code;
};

constexpr NamedCondition codes[] = {
    {Condition::none, "match"},
    {Condition::kindsComparable, "kinds-comparable"},
    {Condition::propertiesPresent, "properties-present"},
    {Condition::textsNotEmpty, "texts-not-empty"},
    {Condition::propertiesReadable, "properties-readable"},
    {Condition::threeTokens, "three-tokens"},
    {Condition::slotIdEqual, "slot-id-equal"},
    {Condition::locatorTypeKnown, "locator-type-known"},
    {Condition::noBayNamed, "no-bay-named"},
    {Condition::secondTokenSlot, "second-token-slot"},
    {Condition::slotNumberRead, "slot-number-read"},
    {Condition::slotNumberNamed, "slot-number-named"},
    {Condition::slotNumberEqual, "slot-number-equal"},
    {Condition::slotNamed, "slot-named"},
    {Condition::deviceNamed, "device-named"},
    {Condition::bayNamed, "bay-named"},
    {Condition::bayRead, "bay-read"},
    {Condition::bayNumbered, "bay-numbered"},
    {Condition::diskEqual, "disk-equal"},
    {Condition::bayEqual, "bay-equal"},
    {Condition::socketIsNumber, "socket-is-number"},
    {Condition::socketIsKey, "socket-is-key"},
    {Condition::handleNotZero, "handle-not-zero"},
    {Condition::handleEqual, "handle-equal"},
};

using Conditions = std::vector<Condition>;

Conditions operator+(Conditions left, const Conditions& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Conditions slotTexts{Condition::threeTokens,     Condition::secondTokenSlot,
                           Condition::slotNumberRead,  Condition::slotNumberNamed,
                           Condition::slotNumberEqual, Condition::slotNamed,
                           Condition::deviceNamed};
const Conditions bayTexts{Condition::bayRead, Condition::bayNumbered, Condition::diskEqual,
                          Condition::bayEqual};

/** A locator type of 9 makes a platform slot a drive bay; a device is one by its descriptor. */
bool isBay(Rule rule, const PropertyMap& platform)
{
    if (rule == Rule::device)
    {
        return textOf(platform, names::fqdd).find("Disk.Bay.") != std::string::npos;
    }
    const PropertyValue* locator = platform.find(names::pcieLocatorType);
    return locator != nullptr && *locator == PropertyValue(std::uint8_t{9});
}

} // namespace

Verdict verdictOf(Rule rule, const PropertyMap& first, const PropertyMap& second)
try
{
    std::string handleName;
    switch (rule)
    {
        case Rule::slot:
            return CompareAssociationProperties(first, second, compare::slotForKovd);
        case Rule::device:
            return CompareAssociationProperties(first, second, compare::slotDevice);
        case Rule::processor:
            return CompareAssociationProperties(first, second, compare::cpu);
        case Rule::cache:
            return CompareCacheAssocProps(second, first, handleName);
    }
    return Condition::kindsComparable;
}
catch (const std::exception&)
{
    return Condition::propertiesReadable; // as the search that asks it treats a rule that throws
}

std::vector<Condition> conditionsOf(Rule rule, const PropertyMap& /*first*/,
                                    const PropertyMap& second)
{
    const Conditions present{Condition::propertiesPresent};
    const Conditions bay = Conditions{Condition::bayNamed} + bayTexts;
    const Conditions slot = Conditions{Condition::noBayNamed} + slotTexts;
    switch (rule)
    {
        case Rule::slot:
            return present +
                   Conditions{Condition::slotIdEqual, Condition::textsNotEmpty,
                              Condition::locatorTypeKnown} +
                   (isBay(rule, second) ? bay : slot);
        case Rule::device:
            return present + Conditions{Condition::textsNotEmpty} +
                   (isBay(rule, second) ? bay : slot);
        case Rule::processor:
            return present + Conditions{Condition::textsNotEmpty, Condition::socketIsNumber,
                                        Condition::threeTokens, Condition::socketIsKey};
        case Rule::cache:
            return present + Conditions{Condition::handleNotZero, Condition::handleEqual};
    }
    return {};
}

std::string codeOf(Condition condition)
{
    const auto named = std::ranges::find(codes, condition, &NamedCondition::condition);
    return named == std::end(codes) ? "" : named->code;
}

std::string sayMatch(Rule rule, const PropertyMap& first, const PropertyMap& second)
{
    constexpr std::array deciding{Condition::slotIdEqual,    Condition::slotNumberEqual,
                                  Condition::diskEqual,      Condition::bayEqual,
                                  Condition::socketIsNumber, Condition::socketIsKey,
                                  Condition::handleEqual};
    std::string text;
    for (const Condition condition : conditionsOf(rule, first, second))
    {
        if (std::ranges::find(deciding, condition) != deciding.end())
        {
            text += (text.empty() ? "" : "; ") + say(rule, condition, true, first, second);
        }
    }
    return text;
}

std::vector<Test> testsOf(Rule rule, const PropertyMap& first, const PropertyMap& second)
{
    const Condition failed = verdictOf(rule, first, second).failed();
    const auto order = conditionsOf(rule, first, second);
    std::vector<Test> tests;
    // What cannot be read ends a rule anywhere: which conditions held before is not known then.
    if (failed != Condition::none && std::ranges::find(order, failed) == order.end())
    {
        tests.push_back({failed, false, say(rule, failed, false, first, second)});
        return tests;
    }
    for (const Condition condition : order)
    {
        const bool holds = condition != failed;
        tests.push_back({condition, holds, say(rule, condition, holds, first, second)});
        if (!holds)
        {
            break;
        }
    }
    return tests;
}

std::size_t progressOf(Rule rule, Condition failed, const PropertyMap& first,
                       const PropertyMap& second)
{
    const auto order = conditionsOf(rule, first, second);
    return static_cast<std::size_t>(std::ranges::find(order, failed) - order.begin());
}

} // namespace inspect
