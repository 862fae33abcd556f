#include "bus/connection.hpp"

#include "base/sigint_block.hpp"

#include <sdbusplus/exception.hpp>

#include <memory>

using sdbusplus::exception::SdBusError;

void checkBusResult(int result, const char* function)
{
    if (result < 0)
    {
        throw SdBusError(-result, function);
    }
}

OpenedBus openBus(int (*open)(sd_bus**), const char* name)
{
    const SigintBlock block; // saying hello to the bus is a synchronous call

    sd_bus* raw = nullptr;
    checkBusResult(open(&raw), name);
    std::unique_ptr<sd_bus, decltype(&sd_bus_unref)> owner(raw, sd_bus_unref);

    const char* uniqueName = nullptr;
    checkBusResult(sd_bus_get_unique_name(raw, &uniqueName), "sd_bus_get_unique_name");
    return {sdbusplus::bus_t(owner.release(), std::false_type{}), raw};
}
