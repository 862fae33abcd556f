#include "sim/signature.hpp"

namespace sim
{
namespace
{

constexpr std::size_t longestSignature = 255;
constexpr int deepestNesting = 32;

std::size_t typeLength(std::string_view text, int arrays, int structs);

std::size_t dictionaryEntryLength(std::string_view text, int arrays, int structs)
{
    if (structs >= deepestNesting || text.size() < 2 || !isBasicType(text[1]))
    {
        return 0;
    }
    const std::size_t value = typeLength(text.substr(2), arrays, structs + 1);
    const std::size_t end = 2 + value;
    if (value == 0 || end >= text.size() || text[end] != '}')
    {
        return 0;
    }
    return end + 1;
}

std::size_t structLength(std::string_view text, int arrays, int structs)
{
    if (structs >= deepestNesting)
    {
        return 0;
    }
    std::size_t end = 1;
    while (end < text.size() && text[end] != ')')
    {
        const std::size_t member = typeLength(text.substr(end), arrays, structs + 1);
        if (member == 0)
        {
            return 0;
        }
        end += member;
    }
    const bool closed = end < text.size();
    const bool empty = end == 1;
    return closed && !empty ? end + 1 : 0;
}

std::size_t arrayLength(std::string_view text, int arrays, int structs)
{
    if (arrays >= deepestNesting)
    {
        return 0;
    }
    const std::string_view element = text.substr(1);
    const bool dictionary = !element.empty() && element.front() == '{';
    const std::size_t length = dictionary ? dictionaryEntryLength(element, arrays + 1, structs)
                                          : typeLength(element, arrays + 1, structs);
    return length == 0 ? 0 : length + 1;
}

std::size_t typeLength(std::string_view text, int arrays, int structs)
{
    if (text.empty())
    {
        return 0;
    }
    if (isBasicType(text.front()) || text.front() == 'v')
    {
        return 1;
    }
    if (text.front() == 'a')
    {
        return arrayLength(text, arrays, structs);
    }
    if (text.front() == '(')
    {
        return structLength(text, arrays, structs);
    }
    return 0;
}

} // namespace

std::size_t completeTypeLength(std::string_view text)
{
    const std::size_t length = typeLength(text, 0, 0);
    return length <= longestSignature ? length : 0;
}

bool isCompleteType(std::string_view text)
{
    return !text.empty() && completeTypeLength(text) == text.size();
}

bool isSignature(std::string_view text)
{
    if (text.size() > longestSignature)
    {
        return false;
    }
    while (!text.empty())
    {
        const std::size_t length = completeTypeLength(text);
        if (length == 0)
        {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::vector<std::string_view> splitSignature(std::string_view text)
{
    std::vector<std::string_view> types;
    while (!text.empty())
    {
        const std::size_t length = completeTypeLength(text);
        if (length == 0)
        {
            break;
        }
        types.push_back(text.substr(0, length));
        text.remove_prefix(length);
    }
    return types;
}

bool isBasicType(char type)
{
    return std::string_view("ybnqiuxtdsog").find(type) != std::string_view::npos;
}

bool isDictionary(std::string_view type)
{
    return type.size() >= 2 && type[0] == 'a' && type[1] == '{';
}

} // namespace sim
