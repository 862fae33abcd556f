#include "base/failure.hpp"

#include <sdbusplus/exception.hpp>

#include <exception>

void logFailure(const Site& site, const FailureLines& lines, int line)
try
{
    throw;
}
catch (const sdbusplus::exception::SdBusError& e)
{
    lines.busError.log(site, line, level::error, e.what());
}
catch (const std::exception& e)
{
    lines.standard.log(site, line, level::error, e.what());
}
catch (...)
{
    LOG_LINE(site, line, level::error, "%s", lines.other);
}
