#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>
#include <sdeventplus/exception.hpp>

#include <cerrno>
#include <exception>
#include <system_error>

namespace
{

using sdbusplus::exception::SdBusError;

TEST(SdBusError, OfAnErrno)
{
    const SdBusError error(ENXIO, "sd_bus_call");
    EXPECT_STREQ(error.what(), "sd_bus_call: System.Error.ENXIO: No such device or address");
}

TEST(SdBusError, OfAnErrnoWithAStandardName)
{
    const SdBusError error(EACCES, "sd_bus_call");
    EXPECT_STREQ(error.what(),
                 "sd_bus_call: org.freedesktop.DBus.Error.AccessDenied: Permission denied");
}

TEST(SdBusError, IsCaughtAsAStandardException)
{
    try
    {
        throw SdBusError(EIO, "x");
    }
    catch (const std::exception& error)
    {
        EXPECT_STREQ(error.what(), "x: org.freedesktop.DBus.Error.IOError: Input/output error");
    }
}

TEST(SdEventError, IsASystemError)
{
    const sdeventplus::SdEventError error(EPERM, "sd_event_add_io");
    EXPECT_STREQ(error.what(), "sd_event_add_io: Operation not permitted");
    EXPECT_EQ(error.code(), std::error_code(EPERM, std::generic_category()));
}

} // namespace
