/* A connection to a message bus.
 *
 * Holds one reference to an sd_bus. Movable, not copyable. It opens nothing: a connection is opened
 * with the C functions, where a failure is seen, and handed over.
 *
 * A connection belongs to one thread for its whole life.
 */
#pragma once

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <type_traits>

namespace sdbusplus
{
namespace bus
{

namespace match
{
struct match;
}

struct bus
{
    /// Takes the reference over.
    bus(sd_bus* connection, std::false_type) : bus_(connection, sd_bus_unref) {}

    message_t new_method_call(const char* service, const char* objpath, const char* interf,
                              const char* method)
    {
        sd_bus_message* m = nullptr;
        internal::check(
            sd_bus_message_new_method_call(bus_.get(), &m, service, objpath, interf, method),
            "sd_bus_message_new_method_call");
        return message_t(m, std::false_type());
    }

    /// Sends a call and waits for its reply, at most for the call time-out of the connection; an
    /// error as reply throws too.
    message_t call(message_t& m)
    {
        sd_bus_error error{};
        sd_bus_message* reply = nullptr;
        if (sd_bus_call(bus_.get(), m.get(), 0, &error, &reply) < 0)
        {
            throw exception::SdBusError(&error, "sd_bus_call");
        }
        return message_t(reply, std::false_type());
    }

  private:
    friend struct match::match;

    std::unique_ptr<sd_bus, decltype(&sd_bus_unref)> bus_;
};

} // namespace bus

using bus_t = bus::bus;

} // namespace sdbusplus
