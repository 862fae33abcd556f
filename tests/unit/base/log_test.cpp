#include "base/log.hpp"
#include "doubles/recorded_log.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

LogLine only()
{
    const auto lines = recorded_log::lines();
    EXPECT_EQ(lines.size(), 1U);
    return lines.empty() ? LogLine{} : lines.front();
}

/** Logs for its caller: under the caller's name, with the line of its own statement. */
int logForCaller(const Site& site)
{
    LOG_AT(site, level::warning, "of %s", "a caller");
    return __LINE__ - 1;
}

TEST(LOG_AT, namesTheCallerAndTheStatement)
{
    const int line = logForCaller(UTIL_SITE);
    EXPECT_EQ(only().file, "kov_hwinv_util");
    EXPECT_EQ(only().function, "TestBody");
    EXPECT_EQ(only().line, line);
    EXPECT_EQ(only().level, 4);
    EXPECT_EQ(only().module, 357);
    EXPECT_EQ(only().text, "of a caller");
}

TEST(UTIL_LOG, takesNoArguments)
{
    UTIL_LOG(level::error, "starting new process");
    EXPECT_EQ(only().text, "starting new process");
    EXPECT_EQ(only().level, 1);
}

TEST(UTIL_LOG, evaluatesNothingThatIsFiltered)
{
    recorded_log::setLevel(4);
    int evaluated = 0;
    UTIL_LOG(level::info, "%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(recorded_log::lines().size(), 0U);
}

TEST(LineWithText, writesTheTextWhereTheFormatHasIt)
{
    const LineWithText front = "%s :Object path";
    const LineWithText middle = "[%s] occurred";
    const LineWithText back = "objPath: %s";
    for (const LineWithText& line : {front, middle, back})
    {
        line.log(Site{log_label::util, "operation"}, 12, level::error, "/a%sb");
    }
    EXPECT_EQ(recorded_log::summary(), (std::vector<std::string>{"1 operation: /a%sb :Object path",
                                                                 "1 operation: [/a%sb] occurred",
                                                                 "1 operation: objPath: /a%sb"}));
    EXPECT_EQ(recorded_log::lines().front().line, 12);
}

} // namespace
