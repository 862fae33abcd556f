/*
 * A connection whose other end writes what a bus would never let through: messages with a sound
 * head and any bytes whatever for a body.
 *
 * One thread. A connection that cannot be set up ends the process.
 */
#pragma once

#include <sdbusplus/bus.hpp>
#include <sdbusplus/message.hpp>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace wire
{

enum class Order : char
{
    little = 'l',
    big = 'B',
};

struct Head
{
    std::string path;
    std::string interface;
    std::string member;
    std::string signature; // a sound one; empty for none, and then without a body
};

class Connection
{
  public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /** The signal as a match callback gets it; nothing when the library has refused it. */
    std::optional<sdbusplus::message_t> signal(Order order, const Head& head,
                                               const std::string& body);

    /** Puts a reply where the call finds it that is made as the `number`-th from now, from 1 on. */
    void prepareReply(Order order, unsigned number, const std::string& signature,
                      const std::string& body);

    sdbusplus::bus_t& bus()
    {
        return *bus_;
    }

    /** How many messages the library has sent since the last question. */
    unsigned sent();

    /** False once the library has closed the connection over what it read. */
    bool usable();

  private:
    void write(const std::string& bytes) const;

    std::optional<sdbusplus::bus_t> bus_;
    sd_bus* raw_ = nullptr;
    int otherEnd_ = -1;
    std::array<char, 1 << 16> received_; // what sent() has read; a new one each time takes its time
    std::uint32_t lastSent_ = 0;         // the serial number of the library's last message
};

} // namespace wire
