#include "dlog/escape.hpp"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace
{

std::string escaped(const std::string& text)
{
    std::string out(dlog::escapedSize(text), '?');
    const char* const end = dlog::escape(text, out.size(), out.data());
    EXPECT_EQ(end, out.data() + out.size()) << "the size told does not fit";
    return out;
}

} // namespace

TEST(Escape, PlainTextStaysAsItIs)
{
    EXPECT_EQ(escaped(""), "");
    EXPECT_EQ(escaped("a line: %s %n \\ ~"), "a line: %s %n \\ ~");
}

TEST(Escape, CommonControlsHaveLetters)
{
    EXPECT_EQ(escaped("a\nb\rc\td"), "a\\nb\\rc\\td");
}

TEST(Escape, OtherControlsAreHex)
{
    EXPECT_EQ(escaped("\0\x01\x1b[0m\x1f\x7f"s), "\\x00\\x01\\x1b[0m\\x1f\\x7f");
}

TEST(Escape, C1ControlsAreHexByteByByte)
{
    EXPECT_EQ(escaped("\xc2\x80"), "\\xc2\\x80");
    EXPECT_EQ(escaped("a\xc2\x85z"), "a\\xc2\\x85z");
    EXPECT_EQ(escaped("\xc2\x9f\xc2\x9f"), "\\xc2\\x9f\\xc2\\x9f");
}

TEST(Escape, OtherHighBytesPassThrough)
{
    EXPECT_EQ(escaped("\xc2\xa0\xc3\xa4\xe2\x82\xac"), "\xc2\xa0\xc3\xa4\xe2\x82\xac");
    EXPECT_EQ(escaped("\x85\x9f\xff\xc3\x85"), "\x85\x9f\xff\xc3\x85");
    EXPECT_EQ(escaped("\xc2"), "\xc2");
    EXPECT_EQ(escaped("\xc2\xc2\x85"), "\xc2\\xc2\\x85");
    EXPECT_EQ(escaped("\xc2\n"), "\xc2\\n");
}

// A text is looked at in eight bytes at a time: what needs an escape is found at every place.
TEST(Escape, FindsTheOnlyControlWhereverItIs)
{
    for (std::size_t size = 1; size < 20; size++)
    {
        for (std::size_t at = 0; at < size; at++)
        {
            for (const int byte : {0x00, 0x01, 0x0a, 0x1f, 0x20, 0x7e, 0x7f, 0x80, 0xc1, 0xff})
            {
                std::string text(size, 'a');
                text[at] = static_cast<char>(byte);
                const bool control = byte < 0x20 || byte == 0x7f;
                EXPECT_EQ(escaped(text) != text, control) << size << ' ' << at << ' ' << byte;
            }
            std::string next(size, '\xff');
            next.replace(at, 1, "\xc2\x85");
            const std::string expected = std::string(at, '\xff') + "\\xc2\\x85";
            EXPECT_EQ(escaped(next), expected + std::string(size - at - 1, '\xff'));
        }
    }
}
