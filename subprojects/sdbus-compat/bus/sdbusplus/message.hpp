/* A message on the bus.
 *
 * Holds one reference to an sd_bus_message, or nothing. Copies share the message and with it the
 * read position. The texts that it returns point into the message and are null where the message
 * has no such field.
 *
 * A message belongs to the thread of its connection.
 */
#pragma once

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message/append.hpp>
#include <sdbusplus/message/native_types.hpp>
#include <sdbusplus/message/read.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace sdbusplus
{
namespace message
{

using msgp_t = sd_bus_message*;

namespace details
{

struct MsgDeleter
{
    void operator()(msgp_t m) const noexcept
    {
        sd_bus_message_unref(m);
    }
};

} // namespace details

class message
{
  public:
    /// Adds a reference.
    explicit message(msgp_t m = nullptr) : msg_(sd_bus_message_ref(m)) {}

    /// Takes the reference over.
    message(msgp_t m, std::false_type) : msg_(m) {}

    message(const message& other) : message(other.msg_.get()) {}
    message& operator=(const message& other)
    {
        msg_.reset(sd_bus_message_ref(other.msg_.get()));
        return *this;
    }
    message(message&&) = default;
    message& operator=(message&&) = default;
    ~message() = default;

    msgp_t get()
    {
        return msg_.get();
    }

    /// Gives the reference away and becomes empty.
    msgp_t release()
    {
        return msg_.release();
    }

    explicit operator bool() const
    {
        return static_cast<bool>(msg_);
    }

    /// See message/append.hpp.
    template <typename... Args>
    void append(Args&&... args)
    {
        sdbusplus::message::append(msg_.get(), args...);
    }

    /// See message/read.hpp.
    template <typename... Args>
    void read(Args&&... args)
    {
        sdbusplus::message::read(msg_.get(), std::forward<Args>(args)...);
    }

    /// The connection that the message belongs to; defined in bus.hpp.
    auto get_bus() const;

    /// The signature of the whole body, wherever the read position is.
    const char* get_signature() const
    {
        return sd_bus_message_get_signature(msg_.get(), true);
    }

    const char* get_path() const
    {
        return sd_bus_message_get_path(msg_.get());
    }

    const char* get_interface() const
    {
        return sd_bus_message_get_interface(msg_.get());
    }

    const char* get_member() const
    {
        return sd_bus_message_get_member(msg_.get());
    }

    const char* get_destination() const
    {
        return sd_bus_message_get_destination(msg_.get());
    }

    const char* get_sender() const
    {
        return sd_bus_message_get_sender(msg_.get());
    }

    bool is_method_error() const
    {
        return sd_bus_message_is_method_error(msg_.get(), nullptr) != 0;
    }

    bool is_method_call(const char* interface, const char* method) const
    {
        return sd_bus_message_is_method_call(msg_.get(), interface, method) != 0;
    }

    bool is_signal(const char* interface, const char* member) const
    {
        return sd_bus_message_is_signal(msg_.get(), interface, member) != 0;
    }

    int get_errno() const
    {
        return sd_bus_message_get_errno(msg_.get());
    }

    const sd_bus_error* get_error() const
    {
        return sd_bus_message_get_error(msg_.get());
    }

    message new_method_return()
    {
        msgp_t reply = nullptr;
        internal::check(sd_bus_message_new_method_return(get(), &reply),
                        "sd_bus_message_new_method_return");
        return message(reply, std::false_type());
    }

    message new_method_errno(int error, const sd_bus_error* e = nullptr)
    {
        msgp_t reply = nullptr;
        internal::check(sd_bus_message_new_method_errno(get(), &reply, error, e),
                        "sd_bus_message_new_method_errno");
        return message(reply, std::false_type());
    }

    /// Sends the message without waiting for anything: a reply that was made for a call.
    void method_return()
    {
        internal::check(sd_bus_send(sd_bus_message_get_bus(get()), get(), nullptr), "sd_bus_send");
    }

    /// Sends the message without waiting for anything: a signal.
    void signal_send()
    {
        method_return();
    }

    /// As bus_t::call, on the connection of the message.
    message call(std::optional<SdBusDuration> timeout = std::nullopt)
    {
        sd_bus_error error{};
        msgp_t reply = nullptr;
        if (sd_bus_call(nullptr, get(), timeout ? timeout->count() : 0, &error, &reply) < 0)
        {
            throw exception::SdBusError(&error, "sd_bus_call");
        }
        return message(reply, std::false_type());
    }

  private:
    std::unique_ptr<sd_bus_message, details::MsgDeleter> msg_;
};

} // namespace message

using message_t = message::message;

} // namespace sdbusplus
