#include "rig/log.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using rig::Log;
using rig::parseLogLine;
using rig::says;

constexpr auto soon = 20ms;
constexpr auto ever = 60s;

std::string written(const rig::LogLine& line)
{
    std::ostringstream text;
    text << line;
    return text.str();
}

TEST(ParseLogLine, TakesALineApart)
{
    const auto line = parseLogLine("1 357 kov_hwinv_util.123.main: starting new process");

    EXPECT_EQ(line.level, 1);
    EXPECT_EQ(line.module, 357);
    EXPECT_EQ(line.file, "kov_hwinv_util");
    EXPECT_EQ(line.line, 123);
    EXPECT_EQ(line.function, "main");
    EXPECT_EQ(line.text, "starting new process");
}

TEST(ParseLogLine, KeepsColonsAndBlanksOfTheText)
{
    EXPECT_EQ(parseLogLine("1 357 a.1.f:  b: c ").text, " b: c ");
    EXPECT_EQ(parseLogLine("1 357 a.1.f: ").text, "");
}

TEST(ParseLogLine, GivesALineOfAnotherKindLevelZero)
{
    for (const char* raw : {"", "1", "1 357", "1 357 a.b.f: x", "x 357 a.1.f: y", "1 357 a.1.f",
                            "==42==ERROR: AddressSanitizer: heap-use-after-free"})
    {
        EXPECT_EQ(parseLogLine(raw).level, 0) << raw;
        EXPECT_EQ(parseLogLine(raw).text, raw);
    }
}

TEST(ParseLogLine, IsWrittenAsItWasRead)
{
    for (const char* raw : {"4 357 hwinv_CPUAssoc.9.f: text", "no line of the log"})
    {
        EXPECT_EQ(written(parseLogLine(raw)), raw);
    }
}

TEST(LogTest, PutsLinesTogetherFromPieces)
{
    Log log;
    log.append("1 357 a.1.f: fi");
    EXPECT_EQ(log.size(), 0u);
    log.append("rst\n1 357 a.1.f: second\n1 357 a.1.f: th");
    EXPECT_EQ(log.size(), 2u);
    log.append("ird\n");

    EXPECT_EQ(log.count(says("f", "first")), 1u);
    EXPECT_EQ(log.count(says("f", "second")), 1u);
    EXPECT_EQ(log.count(says("f", "third")), 1u);
}

TEST(LogTest, KeepsALastLineWithoutAnEnd)
{
    Log log;
    log.append("1 357 a.1.f: cut");
    log.end();

    EXPECT_EQ(log.count(says("f", "cut")), 1u);
}

TEST(LogTest, SaysComparesFunctionAndTextWhole)
{
    const auto line = parseLogLine("1 357 a.1.f: text");

    EXPECT_TRUE(says("f", "text")(line));
    EXPECT_FALSE(says("g", "text")(line));
    EXPECT_FALSE(says("f", "tex")(line));
}

TEST(LogTest, WaitsForLinesToCome)
{
    Log log;
    std::thread writer([&] { log.append("1 357 a.1.f: x\n1 357 a.1.f: y\n1 357 a.1.f: x\n"); });

    EXPECT_TRUE(log.waitFor(says("f", "x"), ever, 0, 2));
    writer.join();
}

TEST(LogTest, CountsFromAPointOn)
{
    Log log;
    log.append("1 357 a.1.f: x\n1 357 a.1.f: y\n");

    EXPECT_TRUE(log.waitFor(says("f", "x"), soon, 0));
    EXPECT_FALSE(log.waitFor(says("f", "x"), soon, 1));
    EXPECT_FALSE(log.waitFor(says("f", "x"), soon, 0, 2));
    EXPECT_EQ(log.lines(1).size(), 1u);
    EXPECT_EQ(log.lines(7).size(), 0u);
}

TEST(LogTest, WaitsNoLongerThanTheWriterLives)
{
    Log log;
    EXPECT_FALSE(log.waitForEnd(soon));
    std::thread writer(
        [&]
        {
            log.append("1 357 a.1.f: x\n");
            log.end();
        });

    EXPECT_FALSE(log.waitFor(says("f", "y"), ever));
    EXPECT_TRUE(log.waitFor(says("f", "x"), ever));
    EXPECT_TRUE(log.waitForEnd(ever));
    writer.join();
}

} // namespace
