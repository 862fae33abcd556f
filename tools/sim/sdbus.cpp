#include "sim/sdbus.hpp"

#include <cstdlib>
#include <cstring>

namespace sim
{

std::string ErrorReply::text() const
{
    const char* words = error_.message != nullptr ? error_.message : error_.name;
    return words == nullptr ? "" : words;
}

std::string textOf(const char* text)
{
    return text == nullptr ? "" : text;
}

int check(int result, const std::string& attempted)
{
    if (result < 0)
    {
        throw BusError(-result, attempted + ": " + std::strerror(-result));
    }
    return result;
}

Connection connectTo(const std::string& address)
{
    sd_bus* raw = nullptr;
    check(sd_bus_new(&raw), "make a connection");
    Connection bus(raw);
    check(sd_bus_set_address(raw, address.c_str()), "use the bus address '" + address + "'");
    check(sd_bus_set_bus_client(raw, 1), "be a client of the bus");
    check(sd_bus_start(raw), "connect to the bus at '" + address + "'");
    return bus;
}

Connection connectToSystem()
{
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (address != nullptr)
    {
        return connectTo(address);
    }
    sd_bus* raw = nullptr;
    check(sd_bus_open_system(&raw), "connect to the system bus");
    return Connection(raw);
}

Message call(sd_bus* bus, sd_bus_message* request, const std::string& attempted)
{
    ErrorReply error;
    sd_bus_message* reply = nullptr;
    const int result = sd_bus_call(bus, request, 0, error.get(), &reply);
    if (result < 0)
    {
        const std::string said = error.text();
        throw BusError(-result, attempted + ": " + (said.empty() ? std::strerror(-result) : said));
    }
    return Message(reply);
}

} // namespace sim
