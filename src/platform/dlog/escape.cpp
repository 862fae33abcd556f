#include "dlog/escape.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace dlog
{
namespace
{

unsigned char byteAt(std::string_view text, std::size_t i)
{
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
}

// U+0080 to U+009F are the two bytes c2 80 to c2 9f, and c2 begins nothing else.
bool isC1Control(unsigned char first, unsigned char second)
{
    return first == 0xc2 && second >= 0x80 && second <= 0x9f;
}

bool isControl(std::string_view text, std::size_t i)
{
    const unsigned char byte = byteAt(text, i);
    if (byte < 0x80)
    {
        return byte < 0x20 || byte == 0x7f;
    }
    return isC1Control(byte, byteAt(text, i + 1)) ||
           (i > 0 && isC1Control(byteAt(text, i - 1), byte));
}

// The letter of the short form, 0 when there is none.
char letterOf(char control)
{
    switch (control)
    {
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        case '\t':
            return 't';
        default:
            return 0;
    }
}

// Whether none of eight bytes can be part of a control character: below 0x20, 0x7f or 0xc2. The
// sign bit of a byte in the sums is set where the byte is below the number, or equal to it.
bool arePlain(std::uint64_t eight)
{
    constexpr std::uint64_t each = 0x0101010101010101;
    const auto zero = [](std::uint64_t bytes) { return (bytes - each) & ~bytes; };
    const std::uint64_t below = (eight - each * 0x20) & ~eight;
    return ((below | zero(eight ^ each * 0x7f) | zero(eight ^ each * 0xc2)) & each * 0x80) == 0;
}

// How many bytes at the beginning need no closer look: all of them as a rule.
std::size_t plainSize(std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); i += sizeof(std::uint64_t))
    {
        const std::string_view next = text.substr(i, sizeof(std::uint64_t));
        char bytes[sizeof(std::uint64_t)] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
        std::copy(next.begin(), next.end(), bytes);
        std::uint64_t eight;
        std::memcpy(&eight, bytes, sizeof eight);
        if (!arePlain(eight))
        {
            return i;
        }
    }
    return text.size();
}

char* escapeControl(char control, char* out)
{
    static constexpr char hex[] = "0123456789abcdef";
    *out++ = '\\';
    if (const char letter = letterOf(control))
    {
        *out++ = letter;
        return out;
    }
    const auto byte = static_cast<unsigned char>(control);
    *out++ = 'x';
    *out++ = hex[byte >> 4];
    *out++ = hex[byte & 0xf];
    return out;
}

} // namespace

std::size_t escapedSize(std::string_view text)
{
    std::size_t size = text.size();
    for (std::size_t i = plainSize(text); i < text.size(); i++)
    {
        if (isControl(text, i))
        {
            size += letterOf(text[i]) != 0 ? 1 : 3;
        }
    }
    return size;
}

char* escape(std::string_view text, std::size_t size, char* out)
{
    if (size == text.size())
    {
        return std::copy(text.begin(), text.end(), out);
    }
    for (std::size_t i = 0; i < text.size(); i++)
    {
        if (isControl(text, i))
        {
            out = escapeControl(text[i], out);
        }
        else
        {
            *out++ = text[i];
        }
    }
    return out;
}

} // namespace dlog
