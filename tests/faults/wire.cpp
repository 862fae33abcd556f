#include "faults/wire.hpp"

#include <stdexcept>

namespace faults
{
namespace
{

constexpr std::size_t fixedHeader = 16; // up to and including the length of the fields

/** The codes of the header fields. */
enum Field : std::uint8_t
{
    fieldPath = 1,
    fieldInterface = 2,
    fieldMember = 3,
    fieldErrorName = 4,
    fieldReplySerial = 5,
    fieldDestination = 6,
    fieldSender = 7,
    fieldSignature = 8,
};

std::uint32_t uint32At(const std::string& bytes, std::size_t at)
{
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
    {
        value = value * 256 + static_cast<unsigned char>(bytes.at(at + i));
    }
    return value;
}

std::size_t aligned(std::size_t at, std::size_t to)
{
    return (at + to - 1) / to * to;
}

void appendField(Wire& fields, Field code, char type, const std::string& value)
{
    if (!value.empty())
    {
        fields.pad(8).byte(code).signature(std::string(1, type));
        type == 'g' ? fields.signature(value) : fields.text(value);
    }
}

/** Where the field's value has ended; what it was goes into the message. */
std::size_t readField(const std::string& bytes, std::size_t at, WireMessage& message)
{
    const auto code = static_cast<std::uint8_t>(bytes.at(at));
    const char type = bytes.at(at + 2); // behind the length of the signature
    at += 4;
    if (type == 'u')
    {
        const std::uint32_t number = uint32At(bytes, at);
        message.replySerial = code == fieldReplySerial ? number : message.replySerial;
        return at + 4;
    }
    const bool isSignature = type == 'g';
    const std::size_t length =
        isSignature ? static_cast<unsigned char>(bytes.at(at)) : uint32At(bytes, at);
    const std::size_t begin = at + (isSignature ? 1 : 4);
    std::string* const texts[] = {
        nullptr, &message.path,        &message.interface, &message.member,   &message.errorName,
        nullptr, &message.destination, &message.sender,    &message.signature};
    if (code < std::size(texts) && texts[code] != nullptr)
    {
        *texts[code] = bytes.substr(begin, length);
    }
    return begin + length + 1;
}

} // namespace

Wire& Wire::byte(std::uint8_t value)
{
    bytes_ += static_cast<char>(value);
    return *this;
}

Wire& Wire::uint16(std::uint16_t value)
{
    pad(2);
    return byte(static_cast<std::uint8_t>(value)).byte(static_cast<std::uint8_t>(value >> 8));
}

Wire& Wire::uint32(std::uint32_t value)
{
    pad(4);
    for (unsigned shift = 0; shift < 32; shift += 8)
    {
        byte(static_cast<std::uint8_t>(value >> shift & 0xFF));
    }
    return *this;
}

Wire& Wire::text(const std::string& value)
{
    uint32(static_cast<std::uint32_t>(value.size()));
    bytes_ += value;
    return byte(0);
}

Wire& Wire::signature(const std::string& value)
{
    byte(static_cast<std::uint8_t>(value.size()));
    bytes_ += value;
    return byte(0);
}

Wire& Wire::pad(std::size_t size, char with)
{
    bytes_.resize(aligned(bytes_.size(), size), with);
    return *this;
}

Wire& Wire::raw(const std::string& bytes)
{
    bytes_ += bytes;
    return *this;
}

Wire& Wire::array(std::size_t alignment, const std::function<void(Wire&)>& write)
{
    uint32(0);
    const std::size_t length = bytes_.size() - 4;
    pad(alignment);
    const std::size_t begin = bytes_.size();
    write(*this);
    const auto size = static_cast<std::uint32_t>(bytes_.size() - begin);
    for (std::size_t i = 0; i < 4; ++i)
    {
        bytes_[length + i] = static_cast<char>(size >> 8 * i & 0xFF);
    }
    return *this;
}

std::string WireMessage::bytes() const
{
    constexpr std::uint8_t noReplyExpected = 1;
    Wire message;
    message.byte('l').byte(static_cast<std::uint8_t>(type)).byte(noReplyExpected).byte(1);
    message.uint32(static_cast<std::uint32_t>(body.size())).uint32(serial);
    message.array(8, [this](Wire& fields) { appendFields(fields); });
    return message.pad(8).raw(body).bytes();
}

void WireMessage::appendFields(Wire& fields) const
{
    appendField(fields, fieldPath, 'o', path);
    appendField(fields, fieldInterface, 's', interface);
    appendField(fields, fieldMember, 's', member);
    appendField(fields, fieldErrorName, 's', errorName);
    if (replySerial != 0)
    {
        fields.pad(8).byte(fieldReplySerial).signature("u").uint32(replySerial);
    }
    appendField(fields, fieldDestination, 's', destination);
    appendField(fields, fieldSender, 's', sender);
    appendField(fields, fieldSignature, 'g', signature);
}

std::optional<std::size_t> sizeOfMessage(const std::string& bytes)
{
    if (bytes.size() < fixedHeader)
    {
        return std::nullopt;
    }
    return aligned(fixedHeader + uint32At(bytes, 12), 8) + uint32At(bytes, 4);
}

WireMessage parseMessage(const std::string& bytes)
{
    if (bytes.at(0) != 'l')
    {
        throw std::runtime_error("a message of another byte order than expected");
    }
    WireMessage message;
    message.type = static_cast<MessageType>(bytes.at(1));
    message.serial = uint32At(bytes, 8);
    const std::size_t end = fixedHeader + uint32At(bytes, 12);
    for (std::size_t at = fixedHeader; at < end;)
    {
        at = readField(bytes, aligned(at, 8), message);
    }
    message.body = bytes.substr(aligned(end, 8));
    return message;
}

WireValue textVariant(const std::string& value)
{
    return [value](Wire& wire) { wire.signature("s").text(value); };
}

WireValue uint16Variant(std::uint16_t value)
{
    return [value](Wire& wire) { wire.signature("q").uint16(value); };
}

WireValue byteVariant(std::uint8_t value)
{
    return [value](Wire& wire) { wire.signature("y").byte(value); };
}

void appendInterface(Wire& wire, const std::string& interface, const WireProperties& properties)
{
    const auto writeProperties = [&](Wire& entries)
    {
        for (const auto& [name, write] : properties)
        {
            entries.pad(8).text(name);
            write(entries);
        }
    };
    wire.array(8, [&](Wire& entry) { entry.pad(8).text(interface).array(8, writeProperties); });
}

} // namespace faults
