#pragma once

// D-Bus messages byte by byte, right ones and wrong ones: what no library would write.
//
// Little-endian, protocol version 1. Values only; any thread.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace faults
{

/** Values one after the other, each where its alignment wants it. */
class Wire
{
  public:
    Wire& byte(std::uint8_t value);
    Wire& uint16(std::uint16_t value);
    Wire& uint32(std::uint32_t value);

    /** A string or an object path. */
    Wire& text(const std::string& value);
    Wire& signature(const std::string& value);

    /** Fills up to a multiple of the size. */
    Wire& pad(std::size_t size, char with = '\0');

    /** As they are. */
    Wire& raw(const std::string& bytes);

    /** An array of elements with that alignment: its length, then what `write` writes. */
    Wire& array(std::size_t alignment, const std::function<void(Wire&)>& write);

    const std::string& bytes() const
    {
        return bytes_;
    }

  private:
    std::string bytes_;
};

enum class MessageType : std::uint8_t
{
    call = 1,
    reply = 2,
    error = 3,
    signal = 4,
};

/** A message; what is empty or 0 is left out. */
struct WireMessage
{
    MessageType type = MessageType::signal;
    std::uint32_t serial = 1;
    std::string path;
    std::string interface;
    std::string member;
    std::string errorName;
    std::uint32_t replySerial = 0;
    std::string destination;
    std::string sender;
    std::string signature;
    std::string body;

    std::string bytes() const;

  private:
    void appendFields(Wire& fields) const;
};

/** How many bytes the message has that begins here; nothing as long as that cannot be told. */
std::optional<std::size_t> sizeOfMessage(const std::string& bytes);

/** Reads a message that a library has written. */
WireMessage parseMessage(const std::string& bytes);

/** Writes a variant in its place. */
using WireValue = std::function<void(Wire&)>;

WireValue textVariant(const std::string& value);
WireValue uint16Variant(std::uint16_t value);
WireValue byteVariant(std::uint8_t value);

/** Properties: names and values. */
using WireProperties = std::vector<std::pair<std::string, WireValue>>;

/** Appends an "a{sa{sv}}" with one interface. */
void appendInterface(Wire& wire, const std::string& interface, const WireProperties& properties);

} // namespace faults
