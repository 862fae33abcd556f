/* A connection to a message bus.
 *
 * Holds one reference to an sd_bus. Movable, not copyable. Taking a connection waits until the bus
 * has given it its unique name. Opening one ignores failures of sd-bus, as the library does: where
 * they matter, open the connection with the C function and hand it over.
 *
 * A connection belongs to one thread for its whole life; the default connections are per thread.
 */
#pragma once

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>
#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace sdbusplus
{
namespace bus
{

using busp_t = sd_bus*;

namespace details
{

struct BusDeleter
{
    bool close = false;

    void operator()(sd_bus* bus) const noexcept
    {
        close ? sd_bus_flush_close_unref(bus) : sd_bus_unref(bus);
    }
};

struct bus_friend;

} // namespace details

struct bus
{
    /// Adds a reference.
    explicit bus(busp_t b) : bus(sd_bus_ref(b), std::false_type()) {}

    /// Takes the reference over.
    bus(busp_t b, std::false_type) : bus_(b)
    {
        if (b != nullptr)
        {
            get_unique_name(); // waits for the connection to be up
        }
    }

    bus(bus&&) = default;
    bus& operator=(bus&&) = default;
    ~bus() = default;

    /// Whether destroying the object also flushes and closes the connection.
    void set_should_close(bool should_close)
    {
        bus_.get_deleter().close = should_close;
    }

    /// Gives the reference away and becomes empty.
    busp_t release()
    {
        return bus_.release();
    }

    void flush()
    {
        internal::check(sd_bus_flush(get()), "sd_bus_flush");
    }

    void close()
    {
        sd_bus_close(get());
    }

    /// Waits until there is something to process, at most `timeout_us` microseconds.
    int wait(std::uint64_t timeout_us)
    {
        return internal::check(sd_bus_wait(get(), timeout_us), "sd_bus_wait");
    }
    int wait(std::optional<SdBusDuration> timeout = std::nullopt)
    {
        return wait(timeout ? timeout->count() : UINT64_MAX);
    }

    /// Does one step of work. Returns the message that nobody handled, or an empty one.
    message_t process()
    {
        sd_bus_message* unhandled = nullptr;
        internal::check(sd_bus_process(get(), &unhandled), "sd_bus_process");
        return message_t(unhandled, std::false_type());
    }

    /// Does one step of work. Returns whether there was any.
    bool process_discard()
    {
        return internal::check(sd_bus_process(get(), nullptr), "sd_bus_process discard") > 0;
    }

    message_t new_method_call(const char* service, const char* objpath, const char* interf,
                              const char* method)
    {
        sd_bus_message* m = nullptr;
        internal::check(sd_bus_message_new_method_call(get(), &m, service, objpath, interf, method),
                        "sd_bus_message_new_method_call");
        return message_t(m, std::false_type());
    }

    message_t new_signal(const char* objpath, const char* interf, const char* member)
    {
        sd_bus_message* m = nullptr;
        internal::check(sd_bus_message_new_signal(get(), &m, objpath, interf, member),
                        "sd_bus_message_new_signal");
        return message_t(m, std::false_type());
    }

    /// Sends a call and waits for its reply; an error as reply throws too. Zero or no time-out is
    /// the default of sd-bus.
    message_t call(message_t& m, std::uint64_t timeout_us)
    {
        sd_bus_error error{};
        sd_bus_message* reply = nullptr;
        if (sd_bus_call(get(), m.get(), timeout_us, &error, &reply) < 0)
        {
            throw exception::SdBusError(&error, "sd_bus_call");
        }
        return message_t(reply, std::false_type());
    }
    message_t call(message_t& m, std::optional<SdBusDuration> timeout = std::nullopt)
    {
        return call(m, timeout ? timeout->count() : 0);
    }

    /// Throws std::logic_error on a connection that never came up.
    std::string get_unique_name()
    {
        const char* unique = nullptr;
        sd_bus_get_unique_name(get(), &unique);
        return std::string(unique);
    }

    int get_fd()
    {
        return sd_bus_get_fd(get());
    }

    /// From now on the event loop does the work of the connection. Failures are ignored.
    void attach_event(sd_event* event, int priority)
    {
        sd_bus_attach_event(get(), event, priority);
    }

    void detach_event()
    {
        sd_bus_detach_event(get());
    }

    sd_event* get_event()
    {
        return sd_bus_get_event(get());
    }

    friend struct details::bus_friend;

  private:
    busp_t get() noexcept
    {
        return bus_.get();
    }

    std::unique_ptr<sd_bus, details::BusDeleter> bus_;
};

/// The thread's own connection: to the system bus for a service, else to the session bus.
inline bus new_default()
{
    sd_bus* b = nullptr;
    sd_bus_default(&b);
    return bus(b, std::false_type());
}

/// The thread's own connection to the system bus.
inline bus new_default_system()
{
    sd_bus* b = nullptr;
    sd_bus_default_system(&b);
    return bus(b, std::false_type());
}

/// A further connection, chosen as by new_default; closed with the object.
inline bus new_bus()
{
    sd_bus* b = nullptr;
    sd_bus_open(&b);
    bus opened(b, std::false_type());
    opened.set_should_close(true);
    return opened;
}

/// A further connection to the system bus; closed with the object.
inline bus new_system()
{
    sd_bus* b = nullptr;
    sd_bus_open_system(&b);
    bus opened(b, std::false_type());
    opened.set_should_close(true);
    return opened;
}

namespace details
{

/// Lends the raw connection to the other classes of the binding.
struct bus_friend
{
    static busp_t get_busp(sdbusplus::bus::bus& b) noexcept
    {
        return b.get();
    }
};

} // namespace details
} // namespace bus

using bus_t = bus::bus;

inline auto message::message::get_bus() const
{
    return bus_t(sd_bus_message_get_bus(msg_.get()));
}

} // namespace sdbusplus
