/* Appending C++ values to a message.
 *
 * append(m, a, b...) adds the values in order, each with the type that types.hpp gives it: texts,
 * and vectors, tuples and variants of what can be appended. As in the library, what sd-bus answers
 * is not looked at, and it does not check every value: a text that is not UTF-8 makes a message
 * that nobody can read.
 *
 * A message belongs to the thread of its connection.
 */
#pragma once

#include <sdbusplus/message/types.hpp>
#include <systemd/sd-bus.h>

#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace message
{

template <typename... Args>
void append(sd_bus_message* m, const Args&... args);

namespace details
{

/// How a value of one type is appended.
template <typename T>
struct appender;

template <>
struct appender<std::string>
{
    static void append(sd_bus_message* m, const std::string& value)
    {
        sd_bus_message_append_basic(m, 's', value.c_str());
    }
};

template <typename Item>
struct appender<std::vector<Item>>
{
    static void append(sd_bus_message* m, const std::vector<Item>& items)
    {
        sd_bus_message_open_container(m, 'a', types::signature_of<Item>.c_str());
        for (const Item& item : items)
        {
            message::append(m, item);
        }
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
            [m]<typename T>(const T& inside)
            {
                constexpr auto contents = types::signature_of<T>;
                sd_bus_message_open_container(m, 'v', contents.c_str());
                message::append(m, inside);
                sd_bus_message_close_container(m);
            },
            value);
    }
};

} // namespace details

template <typename... Args>
void append(sd_bus_message* m, const Args&... args)
{
    (details::appender<Args>::append(m, args), ...);
}

} // namespace message
} // namespace sdbusplus
