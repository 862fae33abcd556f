/* Reading C++ values out of a message.
 *
 * read(m, a, b...) reads the next values of the message in order and moves the read position behind
 * them. Of several values for one key the first stays. A variant whose type fits no alternative is
 * skipped and becomes a default-constructed first alternative.
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
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace message
{

template <typename... Args>
void read(sd_bus_message* m, Args&... args);

namespace details
{

/// How a value of one type is read; here numbers.
template <typename T>
struct reader
{
    static void read(sd_bus_message* m, T& value)
    {
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

/// Reads a text; `type` tells a string from an object path.
inline void read_text(sd_bus_message* m, char type, std::string& value)
{
    const char* text = nullptr;
    internal::check(sd_bus_message_read_basic(m, type, &text), "sd_bus_message_read_basic string");
    value = std::string(text);
}

template <>
struct reader<std::string>
{
    static void read(sd_bus_message* m, std::string& value)
    {
        read_text(m, 's', value);
    }
};

template <>
struct reader<object_path>
{
    static void read(sd_bus_message* m, object_path& value)
    {
        read_text(m, 'o', value.str);
    }
};

/// Adds a whole array of bytes at once. False when the message has foreign byte order: sd-bus then
/// leaves the array to be read byte by byte.
inline bool read_bytes(sd_bus_message* m, std::vector<std::uint8_t>& items)
{
    const void* data = nullptr;
    std::size_t size = 0;
    const int result = sd_bus_message_read_array(m, 'y', &data, &size);
    if (result == -EOPNOTSUPP)
    {
        return false;
    }
    internal::check(result, "sd_bus_message_enter_container emplace_back_container");
    const auto* first = static_cast<const std::uint8_t*>(data);
    items.insert(items.end(), first, first + size);
    return true;
}

template <typename Item>
struct reader<std::vector<Item>>
{
    static void read(sd_bus_message* m, std::vector<Item>& items)
    {
        if constexpr (std::is_same_v<Item, std::uint8_t>)
        {
            if (read_bytes(m, items))
            {
                return;
            }
        }
        read_items(m, items);
    }

  private:
    static void read_items(sd_bus_message* m, std::vector<Item>& items)
    {
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

template <typename Key, typename Value, typename Less>
struct reader<std::map<Key, Value, Less>>
{
    static void read(sd_bus_message* m, std::map<Key, Value, Less>& items)
    {
        // The signature of the map without its "a".
        constexpr auto contents = types::signature_of<std::map<Key, Value, Less>>;
        internal::check(sd_bus_message_enter_container(m, 'a', contents.c_str() + 1),
                        "sd_bus_message_enter_container emplace_container");
        int at_end = 0;
        while ((at_end = sd_bus_message_at_end(m, false)) == 0)
        {
            read_entry(m, items);
        }
        internal::check(at_end, "sd_bus_message_at_end emplace_container");
        internal::check(sd_bus_message_exit_container(m),
                        "sd_bus_message_exit_container emplace_container");
    }

  private:
    static void read_entry(sd_bus_message* m, std::map<Key, Value, Less>& items)
    {
        constexpr auto contents = types::signature_of_all<Key, Value>;
        Key key{};
        Value value{};
        internal::check(sd_bus_message_enter_container(m, 'e', contents.c_str()),
                        "sd_bus_message_enter_container pair");
        message::read(m, key, value);
        internal::check(sd_bus_message_exit_container(m), "sd_bus_message_exit_container pair");
        items.emplace(std::move(key), std::move(value));
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
        Alternative inside{};
        reader<Alternative>::read(m, inside);
        value = std::move(inside);
        internal::check(sd_bus_message_exit_container(m), "sd_bus_message_exit_container variant");
        return true;
    }
};

} // namespace details

template <typename... Args>
void read(sd_bus_message* m, Args&... args)
{
    (details::reader<Args>::read(m, args), ...);
}

} // namespace message
} // namespace sdbusplus
