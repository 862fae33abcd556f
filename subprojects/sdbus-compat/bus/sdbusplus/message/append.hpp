/* Appending C++ values to a message.
 *
 * append(m, a, b...) adds the values in order, each with the type that types.hpp gives it. As in
 * the library, what sd-bus answers is not looked at: a value that it refuses, such as an object
 * path that is none, leaves a message that nobody can read.
 *
 * A message belongs to the thread of its connection.
 */
#pragma once

#include <sdbusplus/message/types.hpp>
#include <systemd/sd-bus.h>

#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

namespace sdbusplus
{
namespace message
{

template <typename... Args>
void append(sd_bus_message* m, const Args&... args);

namespace details
{

/// How a value of one type is appended; here numbers.
template <typename T>
struct appender
{
    static void append(sd_bus_message* m, const T& value)
    {
        static_assert(types::plain_number<T>, "a value of this type cannot be appended");
        sd_bus_message_append_basic(m, types::type_character<T>, &value);
    }
};

template <>
struct appender<bool>
{
    static void append(sd_bus_message* m, bool value)
    {
        const int number = value ? 1 : 0;
        sd_bus_message_append_basic(m, 'b', &number);
    }
};

template <>
struct appender<unix_fd>
{
    static void append(sd_bus_message* m, const unix_fd& value)
    {
        sd_bus_message_append_basic(m, 'h', &value.fd);
    }
};

template <>
struct appender<const char*>
{
    static void append(sd_bus_message* m, const char* value)
    {
        sd_bus_message_append_basic(m, 's', value);
    }
};

template <>
struct appender<std::string>
{
    static void append(sd_bus_message* m, const std::string& value)
    {
        sd_bus_message_append_basic(m, 's', value.c_str());
    }
};

template <typename Kind>
struct appender<tagged_string<Kind>>
{
    static void append(sd_bus_message* m, const tagged_string<Kind>& value)
    {
        sd_bus_message_append_basic(m, types::type_character<tagged_string<Kind>>,
                                    value.str.c_str());
    }
};

template <types::container T>
struct appender<T>
{
    static void append(sd_bus_message* m, const T& items)
    {
        using Item = typename T::value_type;
        sd_bus_message_open_container(m, 'a', types::signature_of<Item>.c_str());
        for (const Item& item : items)
        {
            message::append(m, item);
        }
        sd_bus_message_close_container(m);
    }
};

template <typename First, typename Second>
struct appender<std::pair<First, Second>>
{
    static void append(sd_bus_message* m, const std::pair<First, Second>& value)
    {
        constexpr auto contents = types::signature_of_all<First, Second>;
        sd_bus_message_open_container(m, 'e', contents.c_str());
        message::append(m, value.first, value.second);
        sd_bus_message_close_container(m);
    }
};

template <typename... Members>
struct appender<std::tuple<Members...>>
{
    static void append(sd_bus_message* m, const std::tuple<Members...>& value)
    {
        constexpr auto contents = types::signature_of_all<Members...>;
        sd_bus_message_open_container(m, 'r', contents.c_str());
        std::apply([m](const auto&... members) { message::append(m, members...); }, value);
        sd_bus_message_close_container(m);
    }
};

template <typename... Alternatives>
struct appender<std::variant<Alternatives...>>
{
    static void append(sd_bus_message* m, const std::variant<Alternatives...>& value)
    {
        std::visit(
            [m](const auto& inside)
            {
                constexpr auto contents = types::signature_of<decltype(inside)>;
                sd_bus_message_open_container(m, 'v', contents.c_str());
                message::append(m, inside);
                sd_bus_message_close_container(m);
            },
            value);
    }
};

} // namespace details

template <typename... Args>
void append([[maybe_unused]] sd_bus_message* m, const Args&... args)
{
    (details::appender<types::bare_t<Args>>::append(m, args), ...);
}

} // namespace message
} // namespace sdbusplus
