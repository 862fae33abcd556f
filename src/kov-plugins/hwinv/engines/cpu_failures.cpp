#include "engines/cpu_failures.hpp"

#include <sdbusplus/exception.hpp>

#include <exception>

using sdbusplus::exception::SdBusError;

void operationFailed(const Site& site)
try
{
    throw;
}
catch (const SdBusError& e)
{
    LOG_AT(site, trace::error, "Exception occurred %s", e.what());
}
catch (const std::exception& e)
{
    LOG_AT(site, trace::error, "error: %s ", e.what());
}
catch (...)
{
    LOG_AT(site, trace::error, "exception");
}

void searchFailed(const Site& site)
try
{
    throw;
}
catch (const SdBusError& e)
{
    LOG_AT(site, trace::error, "Exception occurred %s", e.what());
}
catch (const std::exception& e)
{
    LOG_AT(site, trace::error, "Exception: %s", e.what());
}
catch (...)
{
    LOG_AT(site, trace::error, "Unknown exception");
}
