/* Errors of the bus API.
 *
 * SdBusError is what a failed sd-bus call throws. It owns one sd_bus_error: name() and
 * description() point into it and live as long as the exception. what() reads "CALL: NAME:
 * DESCRIPTION"; parts that sd-bus left empty are missing together with their colon.
 *
 * An object belongs to the thread that caught it.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace sdbusplus
{
namespace exception
{

/// Base of every error on the bus: its D-Bus name, its text and the errno that it stands for.
struct exception : public std::exception
{
    virtual const char* name() const noexcept = 0;
    virtual const char* description() const noexcept = 0;
    virtual int get_errno() const noexcept = 0;
};

/// Base of the errors that the binding itself raises.
struct internal_exception : public exception
{
};

class SdBusError final : public internal_exception
{
  public:
    /// `error` is a positive errno; zero is no error and throws std::runtime_error.
    SdBusError(int error, const char* prefix)
    {
        sd_bus_error_set_errno(&error_, error);
        if (!sd_bus_error_is_set(&error_))
        {
            throw std::runtime_error("Failed to create SdBusError");
        }
        describe(prefix);
    }

    /// Takes the contents of `error` over and leaves it empty.
    SdBusError(sd_bus_error* error, const char* prefix)
        : error_(std::exchange(*error, sd_bus_error{}))
    {
        describe(prefix);
    }

    SdBusError(SdBusError&& other)
        : error_(std::exchange(other.error_, sd_bus_error{})), what_(std::move(other.what_))
    {
    }

    SdBusError(const SdBusError&) = delete;
    SdBusError& operator=(const SdBusError&) = delete;
    SdBusError& operator=(SdBusError&&) = delete;

    ~SdBusError() override
    {
        sd_bus_error_free(&error_);
    }

    const char* name() const noexcept override
    {
        return error_.name;
    }

    const char* description() const noexcept override
    {
        return error_.message;
    }

    const char* what() const noexcept override
    {
        return what_.c_str();
    }

    int get_errno() const noexcept override
    {
        return sd_bus_error_get_errno(&error_);
    }

    const sd_bus_error* get_error() const noexcept
    {
        return &error_;
    }

  private:
    void describe(const char* prefix)
    {
        what_ = prefix;
        for (const char* part : {error_.name, error_.message})
        {
            if (part != nullptr)
            {
                what_.append(": ").append(part);
            }
        }
    }

    sd_bus_error error_{};
    std::string what_;
};

} // namespace exception

using exception_t = exception::exception;
using internal_exception_t = exception::internal_exception;

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
