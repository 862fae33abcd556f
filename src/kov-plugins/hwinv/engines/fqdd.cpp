#include "engines/fqdd.hpp"

#include <algorithm>

namespace
{

constexpr std::string_view diskWord = "Disk.Bay.";

// The classification functions of the C library take no negative char and ask the locale.
constexpr bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr char toUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/** Where `text` first contains `needle`, in any case; npos when nowhere. */
std::size_t findNoCase(std::string_view text, std::string_view needle)
{
    const auto at = std::search(text.begin(), text.end(), needle.begin(), needle.end(),
                                [](char a, char b) { return toUpper(a) == toUpper(b); });
    return at == text.end() && !needle.empty() ? std::string_view::npos
                                               : static_cast<std::size_t>(at - text.begin());
}

} // namespace

std::string toUpperCopy(std::string_view text)
{
    std::string copy(text);
    std::transform(copy.begin(), copy.end(), copy.begin(), toUpper);
    return copy;
}

bool containsNoCase(std::string_view text, std::string_view needle)
{
    if (text.empty() || needle.empty())
    {
        return text.empty() && needle.empty();
    }
    return findNoCase(text, needle) != std::string_view::npos;
}

bool equalsExact(std::string_view left, std::string_view right)
{
    return left == right;
}

FqddTokens splitFqdd(std::string_view fqdd)
{
    constexpr std::string_view separators = "-.";
    FqddTokens tokens;
    std::size_t start = fqdd.find_first_not_of(separators);
    while (start != std::string_view::npos)
    {
        const std::size_t end = std::min(fqdd.find_first_of(separators, start), fqdd.size());
        if (tokens.count < tokens.token.size())
        {
            tokens.token[tokens.count] = fqdd.substr(start, end - start);
        }
        ++tokens.count;
        start = fqdd.find_first_not_of(separators, end);
    }
    return tokens;
}

int parseDigitsAt(std::string_view text, std::size_t position)
{
    if (position >= text.size() || !isDigit(text[position]))
    {
        return -1;
    }
    const auto first = text.begin() + static_cast<std::ptrdiff_t>(position);
    return std::stoi(std::string(first, std::find_if_not(first, text.end(), isDigit)));
}

bool parseSlotAndBay(std::string_view designation, SlotAndBay& out)
{
    constexpr std::string_view slotWord = "SLOT ";
    constexpr std::string_view bayWord = "BAY ";
    out = {};

    const std::size_t slotAt = findNoCase(designation, slotWord);
    if (slotAt != std::string_view::npos)
    {
        out.slot = parseDigitsAt(designation, slotAt + slotWord.size());
    }
    const std::size_t bayAt = findNoCase(designation, bayWord);
    if (bayAt == std::string_view::npos)
    {
        return false;
    }
    out.bay = parseDigitsAt(designation, bayAt + bayWord.size());
    return out.slot != -1 && out.bay != -1;
}

bool namesDriveBay(std::string_view fqdd)
{
    return fqdd.find(diskWord) != std::string_view::npos;
}

bool parseDiskBayFqdd(std::string_view fqdd, DiskBay& out)
{
    constexpr std::string_view enclosureWord = "Enclosure.Internal.0-";
    out = {};

    bool diskSeen = false;
    const std::size_t diskAt = fqdd.find(diskWord);
    if (diskAt != std::string_view::npos)
    {
        // At least one character, digit or not, is between the word and the colon.
        const std::size_t numberAt = diskAt + diskWord.size();
        const std::size_t colonAt = fqdd.find(':', numberAt);
        diskSeen = colonAt != std::string_view::npos && colonAt > numberAt;
        if (diskSeen)
        {
            out.disk = parseDigitsAt(fqdd, numberAt);
        }
    }

    const std::size_t enclosureAt = fqdd.find(enclosureWord);
    if (enclosureAt == std::string_view::npos)
    {
        return false;
    }
    out.enclosure = parseDigitsAt(fqdd, enclosureAt + enclosureWord.size());
    return diskSeen;
}
