#include "bus_choice.hpp"

#include "sim/error.hpp"

#include <cstdlib>

namespace hwinv_sim
{
namespace
{

/** The end of the path at which every system has its bus, whichever way it gets there. */
constexpr const char* systemSocket = "/run/dbus/system_bus_socket";

} // namespace

std::string chooseBus(const BusChoice& choice)
{
    if (choice.system)
    {
        return "";
    }
    const char* variable = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    const std::string address =
        !choice.address.empty() ? choice.address : std::string(variable != nullptr ? variable : "");
    if (address.empty())
    {
        throw sim::UsageError("no bus is named: give --address, or set DBUS_SYSTEM_BUS_ADDRESS to "
                              "what 'hwinv_sim bus' prints; --system is for this machine's own");
    }
    if (address.find(systemSocket) != std::string::npos)
    {
        throw sim::UsageError("'" + address + "' is this machine's own bus: that takes --system");
    }
    return address;
}

} // namespace hwinv_sim
