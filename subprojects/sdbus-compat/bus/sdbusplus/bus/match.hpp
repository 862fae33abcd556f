/* Match rules and what is called for a message that fits one.
 *
 * A match_t is a registration: from its construction to its destruction the callback runs, on the
 * thread that processes the connection, for every message that the rule selects. Registering waits
 * for the answer of the bus and throws SdBusError when it refuses. The callback must not throw: an
 * exception out of it ends the process.
 *
 * The functions in `rules` return parts of a rule, each with its closing comma; a rule is their
 * sum.
 *
 * A match belongs to the thread of its connection; the rules may be built by any thread.
 */
#pragma once

#include <sdbusplus/bus.hpp>
#include <sdbusplus/message.hpp>
#include <sdbusplus/slot.hpp>
#include <systemd/sd-bus.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace sdbusplus
{
namespace bus
{
namespace match
{

struct match : private sdbusplus::bus::details::bus_friend
{
    using callback_t = std::function<void(sdbusplus::message_t&)>;

    match(sdbusplus::bus_t& bus, const char* rule, sd_bus_message_handler_t handler,
          void* context = nullptr)
        : slot_(add(get_busp(bus), rule, handler, context))
    {
    }
    match(sdbusplus::bus_t& bus, const std::string& rule, sd_bus_message_handler_t handler,
          void* context = nullptr)
        : match(bus, rule.c_str(), handler, context)
    {
    }

    match(sdbusplus::bus_t& bus, const char* rule, callback_t callback)
        : callback_(std::make_unique<callback_t>(std::move(callback))),
          slot_(add(get_busp(bus), rule, run_callback, callback_.get()))
    {
    }
    match(sdbusplus::bus_t& bus, const std::string& rule, callback_t callback)
        : match(bus, rule.c_str(), std::move(callback))
    {
    }

  private:
    static slot_t add(sd_bus* bus, const char* rule, sd_bus_message_handler_t handler,
                      void* context)
    {
        sd_bus_slot* slot = nullptr;
        internal::check(sd_bus_add_match(bus, &slot, rule, handler, context), "sd_bus_match");
        return slot_t(slot);
    }

    static int run_callback(sd_bus_message* m, void* context, sd_bus_error*) noexcept
    {
        message_t received(m);
        (*static_cast<callback_t*>(context))(received);
        return 0;
    }

    std::unique_ptr<callback_t> callback_;
    slot_t slot_; // last, so that the registration ends before its callback is gone
};

namespace rules
{

namespace details
{

inline std::string part(std::string_view key, std::string_view value)
{
    std::string text;
    text.reserve(key.size() + value.size() + 4);
    return text.append(key).append("='").append(value).append("',");
}

} // namespace details

namespace type
{

inline std::string signal()
{
    return details::part("type", "signal");
}

} // namespace type

inline std::string sender(std::string_view name)
{
    return details::part("sender", name);
}

inline std::string interface(std::string_view name)
{
    return details::part("interface", name);
}

inline std::string member(std::string_view name)
{
    return details::part("member", name);
}

inline std::string path(std::string_view object)
{
    return details::part("path", object);
}

inline std::string path_namespace(std::string_view object)
{
    return details::part("path_namespace", object);
}

inline std::string argN(std::size_t n, std::string_view value)
{
    return details::part("arg" + std::to_string(n), value);
}

inline std::string argNpath(std::size_t n, std::string_view value)
{
    return details::part("arg" + std::to_string(n) + "path", value);
}

inline std::string arg0namespace(std::string_view value)
{
    return details::part("arg0namespace", value);
}

/// A well-known or unique name got, changed or lost its owner.
inline std::string nameOwnerChanged()
{
    return type::signal() + sender("org.freedesktop.DBus") + member("NameOwnerChanged");
}

inline std::string nameOwnerChanged(std::string_view name)
{
    return nameOwnerChanged() + argN(0, name);
}

inline std::string interfacesAdded()
{
    return type::signal() + interface("org.freedesktop.DBus.ObjectManager") +
           member("InterfacesAdded");
}

inline std::string interfacesAdded(std::string_view object)
{
    return interfacesAdded() + path(object);
}

inline std::string interfacesRemoved()
{
    return type::signal() + interface("org.freedesktop.DBus.ObjectManager") +
           member("InterfacesRemoved");
}

inline std::string interfacesRemoved(std::string_view object)
{
    return interfacesRemoved() + path(object);
}

inline std::string propertiesChanged(std::string_view object, std::string_view changed)
{
    return type::signal() + path(object) + member("PropertiesChanged") +
           interface("org.freedesktop.DBus.Properties") + argN(0, changed);
}

} // namespace rules
} // namespace match

using match_t = match::match;

} // namespace bus
} // namespace sdbusplus
