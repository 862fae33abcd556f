// What is made of the figures: the median, the ratio, the table, the JSON, and the comparison of
// counts of instructions.

#include "report.hpp"

#include <gtest/gtest.h>

namespace
{

using bench::Figure;
using nlohmann::json;

const Figure burst{"burst", "burst, ms", {{"daemon", 150}, {"floor", 41.25}, {"hop", 100}}};
const Figure alone{"size", "size, KiB", {{"daemon", 297}}};

TEST(median, isZeroOfNothing)
{
    EXPECT_EQ(bench::median({}), 0);
}

TEST(median, isTheMiddleOneWhateverTheOrder)
{
    EXPECT_EQ(bench::median({9, 1, 4}), 4);
}

TEST(median, liesBetweenTwoInTheMiddle)
{
    EXPECT_EQ(bench::median({9, 1, 4, 5}), 4.5);
}

TEST(ratioToHop, isTheDaemonsShare)
{
    EXPECT_EQ(bench::ratioToHop(burst), 1.5);
}

TEST(ratioToHop, isMissingWithoutHop)
{
    EXPECT_EQ(bench::ratioToHop(alone), std::nullopt);
}

TEST(ratioToHop, isMissingWhenHopHasNothing)
{
    EXPECT_EQ(bench::ratioToHop({"idle", "wake-ups", {{"daemon", 1}, {"hop", 0}}}), std::nullopt);
}

TEST(asTable, hasARowForEachFigureAndNothingBehindItsLastCell)
{
    EXPECT_EQ(bench::asTable({burst, alone}),
              "figure                                                    "
              "    daemon     floor       hop     ratio     GDBus    Python\n"
              "burst, ms                                                 "
              "       150      41.2       100      1.50\n"
              "size, KiB                                                 "
              "       297\n");
}

TEST(asTable, hasThreeDigitsThatMeanSomething)
{
    const std::string table = bench::asTable({{"a", "a", {{"daemon", 0.1234}, {"python", 1234.5}}},
                                              {"b", "b", {{"daemon", 0}, {"python", -12.34}}}});
    EXPECT_NE(table.find("0.12 "), std::string::npos);
    EXPECT_NE(table.find(" 1234\n"), std::string::npos);
    EXPECT_NE(table.find(" 0 "), std::string::npos);
    EXPECT_NE(table.find(" -12.3\n"), std::string::npos);
}

TEST(asJson, hasEachValueAndTheRatio)
{
    EXPECT_EQ(bench::asJson({burst, alone}), json::parse(R"({"figures": [
        {"name": "burst", "title": "burst, ms", "daemon": 150.0, "floor": 41.25, "hop": 100.0,
         "ratio": 1.5},
        {"name": "size", "title": "size, KiB", "daemon": 297.0}]})"));
}

class compareInstructions : public testing::Test
{
  protected:
    const json committed{{"tolerance_percent", 3}, {"instructions", {{"line", 1000}}}};
};

TEST_F(compareInstructions, acceptsWhatIsWithinTheTolerance)
{
    for (const double count : {971.0, 1000.0, 1029.0})
    {
        const auto comparison = bench::compareInstructions(committed, {{"line", count}});
        EXPECT_TRUE(comparison.tooMany.empty()) << count;
        EXPECT_TRUE(comparison.fewer.empty()) << count;
    }
}

TEST_F(compareInstructions, namesWhatIsAboveIt)
{
    const auto comparison = bench::compareInstructions(committed, {{"line", 1031}});
    EXPECT_EQ(comparison.tooMany, std::vector<std::string>{"line: 1031 instead of 1000 (+3.1 %)"});
    EXPECT_TRUE(comparison.fewer.empty());
}

TEST_F(compareInstructions, mentionsWhatIsBelowIt)
{
    const auto comparison = bench::compareInstructions(committed, {{"line", 900}});
    EXPECT_TRUE(comparison.tooMany.empty());
    EXPECT_EQ(comparison.fewer, std::vector<std::string>{"line: 900 instead of 1000 (-10.0 %)"});
}

TEST_F(compareInstructions, refusesACountThatWasNeverCommitted)
{
    const auto comparison = bench::compareInstructions(committed, {{"event", 1}});
    EXPECT_EQ(comparison.tooMany, std::vector<std::string>{"event: the file has no count of it"});
}

TEST_F(compareInstructions, throwsWhenTheFileIsNoneOfThese)
{
    EXPECT_THROW(bench::compareInstructions(json::object(), {{"line", 1}}), json::exception);
}

} // namespace
