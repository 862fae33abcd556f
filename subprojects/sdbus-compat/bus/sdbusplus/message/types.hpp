/* From C++ types to D-Bus signatures, at compile time.
 *
 * signature_of<T> is the signature of one value of type T as a null-terminated constant: "s" for a
 * std::string, "a{sv}" for a map from std::string to a variant, "(sss)" for a tuple of three. For a
 * type that is not listed here it does not compile.
 *
 * Object paths have a type of their own, so that they are read as what they are. Nothing checks
 * that one is valid.
 *
 * Constants and plain values.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <variant>
#include <vector>

namespace sdbusplus
{
namespace message
{

struct object_path
{
    std::string str;

    friend bool operator<(const object_path& left, const object_path& right)
    {
        return left.str < right.str;
    }
};

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

template <typename T>
struct type_signature;

template <typename T>
inline constexpr auto signature_of = type_signature<T>::value;

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
template <> struct type_signature<std::string> : basic_type<'s'> {};
template <> struct type_signature<object_path> : basic_type<'o'> {};
template <typename... Alternatives>
struct type_signature<std::variant<Alternatives...>> : basic_type<'v'> {};
// clang-format on

template <typename... Members>
struct type_signature<std::tuple<Members...>>
{
    static constexpr auto value =
        one_character('(') + signature_of_all<Members...> + one_character(')');
};

template <typename Item>
struct type_signature<std::vector<Item>>
{
    static constexpr auto value = one_character('a') + signature_of<Item>;
};

template <typename Key, typename Value, typename Less>
struct type_signature<std::map<Key, Value, Less>>
{
    static constexpr auto value =
        one_character('a') + one_character('{') + signature_of_all<Key, Value> + one_character('}');
};

} // namespace types
} // namespace message
} // namespace sdbusplus
