#pragma once

// The C types of sd-bus, owned: a connection, a message, an error.
//
// A connection and every message of it belong to the one thread that uses the connection; nothing
// here locks.
// REQUIRES: the thread that owns the connection.

#include "sim/error.hpp"

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace sim
{

struct ConnectionCloser
{
    void operator()(sd_bus* bus) const
    {
        sd_bus_flush_close_unref(bus);
    }
};
using Connection = std::unique_ptr<sd_bus, ConnectionCloser>;

struct MessageReleaser
{
    void operator()(sd_bus_message* message) const
    {
        sd_bus_message_unref(message);
    }
};
using Message = std::unique_ptr<sd_bus_message, MessageReleaser>;

class ErrorReply
{
  public:
    ErrorReply() = default;
    ~ErrorReply()
    {
        sd_bus_error_free(&error_);
    }
    ErrorReply(const ErrorReply&) = delete;
    ErrorReply& operator=(const ErrorReply&) = delete;

    sd_bus_error* get()
    {
        return &error_;
    }

    /** What an error reply says, or its name when it says nothing; empty when there was none. */
    std::string text() const;

  private:
    sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

/** The text, or an empty one where the library has none. */
std::string textOf(const char* text);

/** Returns `result` when it is no error; throws BusError saying what was attempted otherwise. */
int check(int result, const std::string& attempted);

/** Connects as an ordinary client to the bus at `address`; throws BusError. */
Connection connectTo(const std::string& address);

/** Connects to the bus of DBUS_SYSTEM_BUS_ADDRESS, or to the system's; throws BusError. */
Connection connectToSystem();

/** Calls and waits for the reply; an error reply or none in time throws BusError with its text. */
Message call(sd_bus* bus, sd_bus_message* request, const std::string& attempted);

} // namespace sim
