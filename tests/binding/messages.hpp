/*
 * Messages without a bus: made on a connection whose other end never speaks, filled by sd-bus
 * itself, so that what the binding reads was not written by the binding.
 *
 * Main thread only.
 */
#pragma once

#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <string>

class SilentConnection
{
  public:
    SilentConnection();
    SilentConnection(const SilentConnection&) = delete;
    SilentConnection& operator=(const SilentConnection&) = delete;
    ~SilentConnection();

    // An empty signal from /test, test.Interface, Changed.
    sdbusplus::message_t draft();

    // A signal with that body, ready to be read; the arguments are those of sd_bus_message_append.
    template <typename... Args>
    sdbusplus::message_t message(const char* types, Args... args)
    {
        sdbusplus::message_t m = draft();
        require(sd_bus_message_append(m.get(), types, args...));
        return sealed(std::move(m));
    }

    // The two answers to a call, ready to be read: nothing, and the error test.Error.
    sdbusplus::message_t reply();
    sdbusplus::message_t error();

    // Ends the writing of the message and puts the read position at its begin.
    static sdbusplus::message_t sealed(sdbusplus::message_t m);

  private:
    static void require(int result);
    sdbusplus::message_t methodCall();

    sd_bus* bus_ = nullptr;
    int other_end_ = -1;
};

// The values of a sealed message with their types, as sd-bus prints them.
std::string bodyText(sdbusplus::message_t m);
