#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>
#include <sdeventplus/exception.hpp>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace
{

using sdbusplus::exception::SdBusError;

TEST(SdBusError, OfAnErrno)
{
    const SdBusError error(ENXIO, "sd_bus_call");
    EXPECT_STREQ(error.name(), "System.Error.ENXIO");
    EXPECT_STREQ(error.description(), "No such device or address");
    EXPECT_STREQ(error.what(), "sd_bus_call: System.Error.ENXIO: No such device or address");
    EXPECT_EQ(error.get_errno(), ENXIO);
}

TEST(SdBusError, OfAnErrnoWithAStandardName)
{
    const SdBusError error(EACCES, "sd_bus_call");
    EXPECT_STREQ(error.name(), "org.freedesktop.DBus.Error.AccessDenied");
    EXPECT_EQ(error.get_errno(), EACCES);
}

TEST(SdBusError, OfNoErrno)
{
    EXPECT_THROW(SdBusError(0, "sd_bus_call"), std::runtime_error);
}

TEST(SdBusError, TakesAnErrorOver)
{
    sd_bus_error raw{};
    sd_bus_error_set(&raw, "test.Error.Refused", "not today");
    const SdBusError error(&raw, "sd_bus_call");
    EXPECT_FALSE(sd_bus_error_is_set(&raw));
    EXPECT_STREQ(error.name(), "test.Error.Refused");
    EXPECT_STREQ(error.description(), "not today");
    EXPECT_STREQ(error.what(), "sd_bus_call: test.Error.Refused: not today");
    EXPECT_EQ(error.get_errno(), EIO);
    EXPECT_STREQ(error.get_error()->name, "test.Error.Refused");
}

TEST(SdBusError, OfAnEmptyErrorHasOnlyThePrefix)
{
    sd_bus_error raw{};
    const SdBusError error(&raw, "sd_bus_call");
    EXPECT_EQ(error.name(), nullptr);
    EXPECT_EQ(error.description(), nullptr);
    EXPECT_STREQ(error.what(), "sd_bus_call");
    EXPECT_EQ(error.get_errno(), 0);
}

TEST(SdBusError, MovesWithItsTexts)
{
    SdBusError first(ENXIO, "sd_bus_call");
    const SdBusError second(std::move(first));
    EXPECT_STREQ(second.name(), "System.Error.ENXIO");
    EXPECT_STREQ(second.what(), "sd_bus_call: System.Error.ENXIO: No such device or address");
}

TEST(SdBusError, IsCaughtAsItsBases)
{
    EXPECT_THROW(throw SdBusError(EIO, "x"), sdbusplus::exception::exception);
    EXPECT_THROW(throw SdBusError(EIO, "x"), std::exception);
}

TEST(SdEventError, IsASystemError)
{
    const sdeventplus::SdEventError error(EPERM, "sd_event_add_io");
    EXPECT_STREQ(error.what(), "sd_event_add_io: Operation not permitted");
    EXPECT_EQ(error.code(), std::error_code(EPERM, std::generic_category()));
}

} // namespace
