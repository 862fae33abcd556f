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
#include <systemd/sd-bus.h>

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

struct match
{
    using callback_t = std::function<void(sdbusplus::message_t&)>;

    match(sdbusplus::bus_t& bus, const char* rule, callback_t callback)
        : callback_(std::make_unique<callback_t>(std::move(callback))),
          slot_(add(bus.bus_.get(), rule, callback_.get()), sd_bus_slot_unref)
    {
    }

  private:
    static sd_bus_slot* add(sd_bus* bus, const char* rule, callback_t* callback)
    {
        sd_bus_slot* slot = nullptr;
        internal::check(sd_bus_add_match(bus, &slot, rule, run_callback, callback), "sd_bus_match");
        return slot;
    }

    static int run_callback(sd_bus_message* m, void* callback, sd_bus_error*) noexcept
    {
        message_t received(m);
        (*static_cast<callback_t*>(callback))(received);
        return 0;
    }

    std::unique_ptr<callback_t> callback_;
    // Last, so that the registration ends before its callback is gone.
    std::unique_ptr<sd_bus_slot, decltype(&sd_bus_slot_unref)> slot_;
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

} // namespace rules
} // namespace match

using match_t = match::match;

} // namespace bus
} // namespace sdbusplus
