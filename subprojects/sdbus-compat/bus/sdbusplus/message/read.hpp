/* Reading C++ values out of a message.
 *
 * read(m, a, b...) reads the next values of the message in order and moves the read position behind
 * them. A container keeps what it already holds: arrays are added at its end, and of several values
 * for one key the first stays. A variant whose type fits no alternative is skipped and becomes a
 * default-constructed first alternative.
 *
 * A value of another type than the message has next, or a malformed message, throws SdBusError,
 * whose text names the sd-bus call and the kind of value; the read position is then undefined.
 *
 * A message belongs to the thread of its connection.
 */
#pragma once

#include <sdbusplus/exception.hpp>
#include <sdbusplus/message/types.hpp>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace message
{

template <typename... Args>
void read(sd_bus_message* m, Args&&... args);

namespace details
{

/// How a value of one type is read; here numbers and C strings, which stay inside the message.
template <typename T>
struct reader
{
    static void read(sd_bus_message* m, T& value)
    {
        static_assert(types::plain_number<T> || std::is_same_v<T, const char*>,
                      "a value of this type cannot be read from a message");
        internal::check(sd_bus_message_read_basic(m, types::type_character<T>, &value),
                        "sd_bus_message_read_basic fundamental");
    }
};

template <>
struct reader<bool>
{
    static void read(sd_bus_message* m, bool& value)
    {
        int number = 0;
        internal::check(sd_bus_message_read_basic(m, 'b', &number),
                        "sd_bus_message_read_basic bool");
        value = number != 0;
    }
};

template <>
struct reader<unix_fd>
{
    static void read(sd_bus_message* m, unix_fd& value)
    {
        internal::check(sd_bus_message_read_basic(m, 'h', &value.fd),
                        "sd_bus_message_read_basic unix_fd");
    }
};

template <typename T>
struct text_reader
{
    static void read(sd_bus_message* m, T& value)
    {
        const char* text = nullptr;
        internal::check(sd_bus_message_read_basic(m, types::type_character<T>, &text),
                        "sd_bus_message_read_basic string");
        value = std::string(text);
    }
};

template <>
struct reader<std::string> : text_reader<std::string>
{
};

template <typename Kind>
struct reader<tagged_string<Kind>> : text_reader<tagged_string<Kind>>
{
};

/// Adds a whole array of numbers at once. False when the message has foreign byte order: sd-bus
/// then leaves the array to be read number by number.
template <types::plain_number T>
bool read_number_array(sd_bus_message* m, std::vector<T>& items)
{
    const void* data = nullptr;
    std::size_t size = 0;
    const int result = sd_bus_message_read_array(m, types::type_character<T>, &data, &size);
    if (result == -EOPNOTSUPP)
    {
        return false;
    }
    internal::check(result, "sd_bus_message_enter_container emplace_back_container");
    const T* first = static_cast<const T*>(data);
    items.insert(items.end(), first, first + size / sizeof(T));
    return true;
}

template <types::sequence T>
struct reader<T>
{
    static void read(sd_bus_message* m, T& items)
    {
        using Item = typename T::value_type;
        if constexpr (types::plain_number<Item> && std::is_same_v<T, std::vector<Item>>)
        {
            if (read_number_array(m, items))
            {
                return;
            }
        }
        read_items(m, items);
    }

  private:
    static void read_items(sd_bus_message* m, T& items)
    {
        using Item = typename T::value_type;
        internal::check(sd_bus_message_enter_container(m, 'a', types::signature_of<Item>.c_str()),
                        "sd_bus_message_enter_container emplace_back_container");
        int at_end = 0;
        while ((at_end = sd_bus_message_at_end(m, false)) == 0)
        {
            Item item{};
            reader<Item>::read(m, item);
            items.emplace_back(std::move(item));
        }
        internal::check(at_end, "sd_bus_message_at_end emplace_back_container");
        internal::check(sd_bus_message_exit_container(m),
                        "sd_bus_message_exit_container emplace_back_container");
    }
};

/// The item of a keyed container while it is read: a map's own pairs have a constant key.
template <typename T>
struct readable_item
{
    using type = T;
};

template <typename Key, typename Value>
struct readable_item<std::pair<const Key, Value>>
{
    using type = std::pair<Key, Value>;
};

template <types::keyed_container T>
struct reader<T>
{
    static void read(sd_bus_message* m, T& items)
    {
        using Item = typename readable_item<typename T::value_type>::type;
        internal::check(sd_bus_message_enter_container(m, 'a', types::signature_of<Item>.c_str()),
                        "sd_bus_message_enter_container emplace_container");
        int at_end = 0;
        while ((at_end = sd_bus_message_at_end(m, false)) == 0)
        {
            Item item{};
            reader<Item>::read(m, item);
            items.emplace(std::move(item));
        }
        internal::check(at_end, "sd_bus_message_at_end emplace_container");
        internal::check(sd_bus_message_exit_container(m),
                        "sd_bus_message_exit_container emplace_container");
    }
};

template <typename First, typename Second>
struct reader<std::pair<First, Second>>
{
    static void read(sd_bus_message* m, std::pair<First, Second>& value)
    {
        constexpr auto contents = types::signature_of_all<First, Second>;
        internal::check(sd_bus_message_enter_container(m, 'e', contents.c_str()),
                        "sd_bus_message_enter_container pair");
        message::read(m, value.first, value.second);
        internal::check(sd_bus_message_exit_container(m), "sd_bus_message_exit_container pair");
    }
};

template <typename... Members>
struct reader<std::tuple<Members...>>
{
    static void read(sd_bus_message* m, std::tuple<Members...>& value)
    {
        constexpr auto contents = types::signature_of_all<Members...>;
        internal::check(sd_bus_message_enter_container(m, 'r', contents.c_str()),
                        "sd_bus_message_enter_container tuple");
        std::apply([m](auto&... members) { message::read(m, members...); }, value);
        internal::check(sd_bus_message_exit_container(m), "sd_bus_message_exit_container tuple");
    }
};

/// Asks once for the type inside and reads the first alternative that has it. The error text of the
/// asking is that of the library, which verifies the type of one alternative after the other.
template <typename... Alternatives>
struct reader<std::variant<Alternatives...>>
{
    using Variant = std::variant<Alternatives...>;

    static void read(sd_bus_message* m, Variant& value)
    {
        char type = '\0';
        const char* contents = nullptr;
        internal::check(sd_bus_message_peek_type(m, &type, &contents),
                        "sd_bus_message_verify_type variant");
        if (type == 'v' && (read_if_fits<Alternatives>(m, contents, value) || ...))
        {
            return;
        }
        internal::check(sd_bus_message_skip(m, "v"), "sd_bus_message_skip variant");
        value = Variant{};
    }

  private:
    template <typename Alternative>
    static bool read_if_fits(sd_bus_message* m, const char* contents, Variant& value)
    {
        constexpr auto expected = types::signature_of<Alternative>;
        if (expected.view() != contents)
        {
            return false;
        }
        internal::check(sd_bus_message_enter_container(m, 'v', expected.c_str()),
                        "sd_bus_message_enter_container variant");
        if constexpr (!std::is_same_v<Alternative, std::monostate>)
        {
            Alternative inside{};
            reader<Alternative>::read(m, inside);
            value = std::move(inside);
        }
        internal::check(sd_bus_message_exit_container(m), "sd_bus_message_exit_container variant");
        return true;
    }
};

} // namespace details

template <typename... Args>
void read([[maybe_unused]] sd_bus_message* m, Args&&... args)
{
    (details::reader<std::remove_reference_t<Args>>::read(m, args), ...);
}

} // namespace message
} // namespace sdbusplus
