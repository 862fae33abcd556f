/* A message on the bus.
 *
 * Holds one reference to an sd_bus_message. Movable, not copyable. The texts that it returns point
 * into the message and are null where the message has no such field.
 *
 * A message belongs to the thread of its connection.
 */
#pragma once

#include <sdbusplus/message/append.hpp>
#include <sdbusplus/message/read.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <type_traits>

namespace sdbusplus
{
namespace message
{

class message
{
  public:
    /// Adds a reference.
    explicit message(sd_bus_message* m) : message(sd_bus_message_ref(m), std::false_type()) {}

    /// Takes the reference over.
    message(sd_bus_message* m, std::false_type) : msg_(m, sd_bus_message_unref) {}

    sd_bus_message* get()
    {
        return msg_.get();
    }

    /// See message/append.hpp.
    template <typename... Args>
    void append(const Args&... args)
    {
        sdbusplus::message::append(get(), args...);
    }

    /// See message/read.hpp.
    template <typename... Args>
    void read(Args&... args)
    {
        sdbusplus::message::read(get(), args...);
    }

    /// The signature of the whole body, wherever the read position is.
    const char* get_signature() const
    {
        return sd_bus_message_get_signature(msg_.get(), true);
    }

    const char* get_path() const
    {
        return sd_bus_message_get_path(msg_.get());
    }

    const char* get_member() const
    {
        return sd_bus_message_get_member(msg_.get());
    }

    bool is_method_error() const
    {
        return sd_bus_message_is_method_error(msg_.get(), nullptr) != 0;
    }

  private:
    std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)> msg_;
};

} // namespace message

using message_t = message::message;

} // namespace sdbusplus
