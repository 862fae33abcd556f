/* Errors of the bus API.
 *
 * SdBusError is what a failed sd-bus call throws. what() reads "CALL: NAME: DESCRIPTION" with the
 * D-Bus name and the text of the error; parts that sd-bus left empty are missing together with
 * their colon. Movable, not copyable, as in the library.
 *
 * An object belongs to the thread that caught it.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <exception>
#include <string>

namespace sdbusplus
{
namespace exception
{

class SdBusError final : public std::exception
{
  public:
    /// `error` is a positive errno.
    SdBusError(int error, const char* prefix)
    {
        sd_bus_error described{};
        sd_bus_error_set_errno(&described, error);
        take(described, prefix);
    }

    /// Takes the contents of `error` over and leaves it empty.
    SdBusError(sd_bus_error* error, const char* prefix)
    {
        take(*error, prefix);
    }

    SdBusError(SdBusError&&) = default;

    const char* what() const noexcept override
    {
        return what_.c_str();
    }

  private:
    void take(sd_bus_error& error, const char* prefix)
    {
        what_ = prefix;
        for (const char* part : {error.name, error.message})
        {
            if (part != nullptr)
            {
                what_.append(": ").append(part);
            }
        }
        sd_bus_error_free(&error);
    }

    std::string what_;
};

} // namespace exception

namespace internal
{

/// Returns what the call returned, or throws its error.
inline int check(int result, const char* call)
{
    if (result < 0)
    {
        throw exception::SdBusError(-result, call);
    }
    return result;
}

} // namespace internal

} // namespace sdbusplus
