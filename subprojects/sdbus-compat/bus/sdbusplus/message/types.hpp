/* From C++ types to D-Bus signatures, at compile time.
 *
 * signature_of<T> is the signature of one value of type T as a null-terminated constant: "s" for a
 * std::string, "a{sv}" for a map from std::string to a variant, "(sss)" for a tuple of three. For a
 * type that the bus cannot carry it does not compile.
 *
 * Constants only.
 */
#pragma once

#include <sdbusplus/message/native_types.hpp>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace message
{
namespace types
{

/// A text of `Size` characters that constant expressions can join.
template <std::size_t Size>
struct fixed_text
{
    char characters[Size + 1]{};

    constexpr const char* c_str() const
    {
        return characters;
    }
    constexpr std::string_view view() const
    {
        return {characters, Size};
    }
};

constexpr fixed_text<1> one_character(char character)
{
    return {{character, '\0'}};
}

template <std::size_t Left, std::size_t Right>
constexpr fixed_text<Left + Right> operator+(const fixed_text<Left>& left,
                                             const fixed_text<Right>& right)
{
    fixed_text<Left + Right> joined;
    for (std::size_t i = 0; i < Left; ++i)
    {
        joined.characters[i] = left.characters[i];
    }
    for (std::size_t i = 0; i < Right; ++i)
    {
        joined.characters[Left + i] = right.characters[i];
    }
    return joined;
}

/// Without const and reference; every kind of C string, also a literal, counts as const char*.
template <typename T>
using bare_t = std::conditional_t<std::is_same_v<std::decay_t<T>, char*>, const char*,
                                  std::conditional_t<std::is_array_v<std::remove_reference_t<T>>,
                                                     std::decay_t<T>, std::remove_cvref_t<T>>>;

template <typename T>
struct type_signature;

template <typename T>
inline constexpr auto signature_of = type_signature<bare_t<T>>::value;

/// The signatures of several values in a row.
template <typename... Types>
inline constexpr auto signature_of_all = (fixed_text<0>{} + ... + signature_of<Types>);

/// The character of a type that is a single one.
template <typename T>
inline constexpr char type_character = signature_of<T>.characters[0];

template <char Character>
struct basic_type
{
    static constexpr auto value = one_character(Character);
};

// clang-format off
template <> struct type_signature<bool> : basic_type<'b'> {};
template <> struct type_signature<std::uint8_t> : basic_type<'y'> {};
template <> struct type_signature<std::int16_t> : basic_type<'n'> {};
template <> struct type_signature<std::uint16_t> : basic_type<'q'> {};
template <> struct type_signature<std::int32_t> : basic_type<'i'> {};
template <> struct type_signature<std::uint32_t> : basic_type<'u'> {};
template <> struct type_signature<std::int64_t> : basic_type<'x'> {};
template <> struct type_signature<std::uint64_t> : basic_type<'t'> {};
template <> struct type_signature<double> : basic_type<'d'> {};
template <> struct type_signature<const char*> : basic_type<'s'> {};
template <> struct type_signature<std::string> : basic_type<'s'> {};
template <> struct type_signature<object_path> : basic_type<'o'> {};
template <> struct type_signature<signature> : basic_type<'g'> {};
template <> struct type_signature<unix_fd> : basic_type<'h'> {};
template <typename... Alternatives>
struct type_signature<std::variant<Alternatives...>> : basic_type<'v'> {};
// clang-format on

/// Not every revision of the library takes a view, so the subset takes none.
template <>
struct type_signature<std::string_view>;

/// Stands for "no value" in a variant: its signature is empty, so no value on the bus has its type.
template <>
struct type_signature<std::monostate>
{
    static constexpr auto value = fixed_text<0>{};
};

template <typename First, typename Second>
struct type_signature<std::pair<First, Second>>
{
    static constexpr auto value =
        one_character('{') + signature_of_all<First, Second> + one_character('}');
};

template <typename... Members>
struct type_signature<std::tuple<Members...>>
{
    static constexpr auto value =
        one_character('(') + signature_of_all<Members...> + one_character(')');
};

/// What can be walked is an array on the bus.
template <typename T>
concept container = requires
{
    typename T::value_type;
    typename T::const_iterator;
};

template <container T>
struct type_signature<T>
{
    static constexpr auto value = one_character('a') + signature_of<typename T::value_type>;
};

/// A container that grows at its end, such as std::vector.
template <typename T>
concept sequence = container<T> && requires(T& items, typename T::value_type&& item)
{
    items.emplace_back(std::move(item));
};

/// A container that keeps one item for each key, such as std::map.
template <typename T>
concept keyed_container =
    container<T> && !sequence<T> && requires(T & items, typename T::value_type&& item)
{
    items.emplace(std::move(item));
};

/// Numbers whose arrays lie in a message just as they lie in memory.
template <typename T>
concept plain_number = std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && requires
{
    type_signature<T>::value;
};

} // namespace types
} // namespace message
} // namespace sdbusplus
