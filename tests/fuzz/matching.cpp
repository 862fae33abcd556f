/*
 * The rules that compare two objects, and the parsers below them, fed with texts and numbers. The
 * first byte chooses the rule.
 *
 * Whatever the texts: no rule throws but for a number that is out of range, letter case decides
 * nothing where it must not, and what a parser returns lies within the text.
 */
#include "base/names.hpp"
#include "engines/cache_assoc.hpp"
#include "engines/fqdd.hpp"
#include "engines/match.hpp"
#include "input.hpp"
#include "target.hpp"

#include <array>
#include <optional>
#include <stdexcept>

namespace
{

/** Present, missing, or of a type that the rule does not expect. */
void put(PropertyMap& properties, PropertyName name, Input& input, PropertyValue value)
{
    const unsigned choice = input.byte();
    if (choice == 0xff)
    {
        properties.insert_or_assign(name, std::int64_t{1});
    }
    else if (choice != 0xfe)
    {
        properties.insert_or_assign(name, std::move(value));
    }
}

void compareObjects(Input& input)
{
    const int type = input.byte() % 9;
    const std::uint16_t slotId = input.word();
    const std::uint16_t instance = (input.byte() & 1U) == 0 ? slotId : input.word();
    const std::string designation = input.text();
    const std::string fqdd = input.text();
    PropertyMap smbios;
    put(smbios, names::slotId, input, slotId);
    put(smbios, names::slotDesignation, input, designation);
    put(smbios, names::socket, input, designation);
    PropertyMap kovd;
    put(kovd, names::pcieLocatorInstanceNum, input, instance);
    put(kovd, names::pcieLocatorType, input, static_cast<std::uint8_t>(input.byte()));
    put(kovd, names::pcieFqdd, input, fqdd);
    put(kovd, names::fqdd, input, fqdd);
    put(kovd, names::targetDevKey, input, fqdd);
    put(kovd, names::slotNumber, input, instance);
    const Verdict verdict = CompareAssociationProperties(smbios, kovd, type);
    if (std::get_if<std::string>(smbios.find(names::slotDesignation)) != nullptr)
    {
        smbios.insert_or_assign(names::slotDesignation, toUpperCopy(designation));
        const Verdict inUpperCase = CompareAssociationProperties(smbios, kovd, type);
        require(verdict.failed() == inUpperCase.failed(), "a designation's case decides nothing");
    }
}

using Rule = Verdict (*)(std::string_view, std::string_view);

/** The condition that failed; nothing when a number was out of range. */
std::optional<Condition> ask(Rule rule, const std::string& designation, const std::string& fqdd)
{
    try
    {
        return rule(designation, fqdd).failed();
    }
    catch (const std::out_of_range&)
    {
        return std::nullopt;
    }
}

void compareTexts(Rule rule, Input& input)
{
    const std::string designation = input.text();
    const std::string fqdd = input.text();
    require(ask(rule, designation, fqdd) == ask(rule, toUpperCopy(designation), fqdd),
            "a designation's case decides nothing");
}

void convert(Input& input)
{
    const std::string path = input.rest();
    std::string converted = "before";
    const std::size_t slash = path.rfind('/');
    if (convertPath(path, converted))
    {
        require(converted == std::string(names::kovdBoardPath) + path.substr(slash), "the leaf");
    }
    else
    {
        require(converted == "before", "the output is left alone");
        require(slash == std::string::npos || slash + 1 == path.size(), "there is no leaf");
    }
}

bool isPart(std::string_view token, const std::string& text)
{
    return !token.empty() && token.data() >= text.data() &&
           token.data() + token.size() <= text.data() + text.size() &&
           token.find_first_of("-.") == std::string_view::npos;
}

void split(Input& input)
{
    const std::string text = input.rest();
    const FqddTokens tokens = splitFqdd(text);
    for (std::size_t i = 0; i < tokens.token.size(); ++i)
    {
        require(i < tokens.count ? isPart(tokens.token[i], text) : tokens.token[i].empty(),
                "a token is a part of the text");
    }
}

void search(Input& input)
{
    const std::string needle = input.text();
    const std::string text = input.rest();
    const bool found = containsNoCase(text, needle);
    require(found == containsNoCase(toUpperCopy(text), needle), "case decides nothing");
    require(!found || needle.size() <= text.size(), "a text holds no longer one");
    require(equalsExact(text, needle) == (text == needle), "equal means the same bytes");
}

void compareNumbers(Input& input)
{
    const int smbios = static_cast<std::int16_t>(input.word());
    const int kovd = static_cast<std::int16_t>(input.word());
    const SlotVerdict slots = compareSlots(smbios, kovd);
    require(slots.verdict == (smbios == kovd && smbios != -1), "equal numbers match");
    require(std::string_view(slots.text) == (smbios == kovd ? "MATCH" : "NO_MATCH"), "the word");
}

void compareCaches(Input& input)
{
    PropertyMap cpu;
    for (const PropertyName name : std::initializer_list<PropertyName>{
             names::l1CacheHandle, names::l2CacheHandle, names::l3CacheHandle})
    {
        put(cpu, name, input, input.word());
    }
    PropertyMap cache;
    put(cache, names::handle, input, input.word());
    std::string level;
    try
    {
        const bool match = CompareCacheAssocProps(cpu, cache, level);
        require(match == !level.empty(), "a match names the level");
    }
    catch (const std::bad_variant_access&)
    {
        require(level.empty(), "a failed comparison names none");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    switch (input.byte() % 8)
    {
        case 0:
            compareObjects(input);
            break;
        case 1:
            compareTexts(matchFQDD, input);
            break;
        case 2:
            compareTexts(matchDiskBay, input);
            break;
        case 3:
            convert(input);
            break;
        case 4:
            split(input);
            break;
        case 5:
            search(input);
            break;
        case 6:
            compareNumbers(input);
            break;
        default:
            compareCaches(input);
    }
    return 0;
}
