/* The bus types that C++ has no type for: object paths, signatures, file descriptors.
 *
 * The two texts are std::string with another type, so that reading and appending can tell them
 * apart; both convert to and from std::string. Nothing checks that a text is a valid path or
 * signature.
 *
 * Plain values.
 */
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>

namespace sdbusplus
{
namespace message
{

namespace details
{

/// A std::string with a type of its own: `Kind` does nothing but tell the types apart.
template <typename Kind>
struct tagged_string
{
    std::string str;

    tagged_string() = default;
    tagged_string(const std::string& text) : str(text) {}
    tagged_string(std::string&& text) : str(std::move(text)) {}

    operator const std::string&() const volatile&
    {
        return const_cast<const tagged_string*>(this)->str;
    }
    operator std::string&&() &&
    {
        return std::move(str);
    }

    friend bool operator==(const tagged_string& left, const tagged_string& right)
    {
        return left.str == right.str;
    }
    friend bool operator==(const tagged_string& left, const std::string& right)
    {
        return left.str == right;
    }
    friend bool operator<(const tagged_string& left, const tagged_string& right)
    {
        return left.str < right.str;
    }
    friend bool operator<(const tagged_string& left, const std::string& right)
    {
        return left.str < right;
    }
    friend bool operator<(const std::string& left, const tagged_string& right)
    {
        return left < right.str;
    }
};

struct object_path_kind;
struct signature_kind;

struct unix_fd_type
{
    int fd;

    unix_fd_type() = default;
    unix_fd_type(int descriptor) : fd(descriptor) {}

    operator int() const
    {
        return fd;
    }
};

} // namespace details

using object_path = details::tagged_string<details::object_path_kind>;
using signature = details::tagged_string<details::signature_kind>;

/// A borrowed descriptor: what a message holds is closed together with the message.
using unix_fd = details::unix_fd_type;

} // namespace message
} // namespace sdbusplus

template <typename Kind>
struct std::hash<sdbusplus::message::details::tagged_string<Kind>>
{
    std::size_t operator()(const sdbusplus::message::details::tagged_string<Kind>& text) const
    {
        return std::hash<std::string>()(text.str);
    }
};
