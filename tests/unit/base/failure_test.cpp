#include "base/failure.hpp"
#include "doubles/recorded_log.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

constexpr FailureLines twoKinds{"it failed [%s]", "it failed"};
constexpr FailureLines threeKinds{
    .standard = "%s, says the library", .other = "who knows", .busError = "the bus: %s "};

/** What is logged of that which `fail` throws. */
template <class Fail>
Lines logged(const FailureLines& lines, Fail fail)
{
    recorded_log::clear();
    try
    {
        fail();
    }
    catch (...)
    {
        logFailure(Site{log_label::util, "operation"}, lines);
    }
    return recorded_log::summary();
}

TEST(logFailure, quotesAStandardException)
{
    const auto fail = [] { throw std::runtime_error("no %s left"); };
    EXPECT_EQ(logged(twoKinds, fail), Lines{"1 operation: it failed [no %s left]"});
    EXPECT_EQ(logged(threeKinds, fail), Lines{"1 operation: no %s left, says the library"});
}

TEST(logFailure, tellsABusErrorApartWhereTheOperationDoes)
{
    const auto fail = [] { throw sdbusplus::exception::SdBusError(EIO, "sd_bus_call"); };
    const std::string text = sdbusplus::exception::SdBusError(EIO, "sd_bus_call").what();
    EXPECT_EQ(logged(threeKinds, fail), Lines{"1 operation: the bus: " + text + " "});
    EXPECT_EQ(logged(twoKinds, fail), Lines{"1 operation: it failed [" + text + "]"});
}

TEST(logFailure, hasAFixedLineForAnythingElse)
{
    const auto fail = [] { throw 42; };
    EXPECT_EQ(logged(twoKinds, fail), Lines{"1 operation: it failed"});
    EXPECT_EQ(logged(threeKinds, fail), Lines{"1 operation: who knows"});
}

TEST(logFailure, logsWithTheLineOfTheCall)
{
    int here = 0;
    try
    {
        throw 42;
    }
    catch (...)
    {
        here = __LINE__ + 1;
        logFailure(UTIL_SITE, twoKinds);
    }
    ASSERT_EQ(recorded_log::lines().size(), 1U);
    EXPECT_EQ(recorded_log::lines().front().line, here);
    EXPECT_EQ(recorded_log::lines().front().file, "kov_hwinv_util");
}

} // namespace
