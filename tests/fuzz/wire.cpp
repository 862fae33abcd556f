#include "wire.hpp"

#include "target.hpp"

#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace
{

using wire::Order;

constexpr char signalType = 4;
constexpr char replyType = 2;
constexpr char noReplyExpected = 1;

// The fields of a head, by their codes.
constexpr char pathField = 1;
constexpr char interfaceField = 2;
constexpr char memberField = 3;
constexpr char replySerialField = 5;
constexpr char signatureField = 8;

/** Marshals into a text: what a message is made of, from its first byte on. */
class Writer
{
  public:
    explicit Writer(Order order) : order_(order) {}

    void byte(char value)
    {
        bytes_.push_back(value);
    }

    void align(std::size_t to)
    {
        while (bytes_.size() % to != 0)
        {
            byte('\0');
        }
    }

    void number(std::uint32_t value)
    {
        align(4);
        bytes_ += encoded(value);
    }

    void text(const std::string& value)
    {
        number(static_cast<std::uint32_t>(value.size()));
        bytes_ += value;
        byte('\0');
    }

    void signature(const std::string& value)
    {
        byte(static_cast<char>(value.size()));
        bytes_ += value;
        byte('\0');
    }

    void field(char code, const std::string& type)
    {
        align(8);
        byte(code);
        signature(type);
    }

    void replace(std::size_t at, std::uint32_t value)
    {
        bytes_.replace(at, 4, encoded(value));
    }

    std::size_t size() const
    {
        return bytes_.size();
    }

    std::string take()
    {
        return std::move(bytes_);
    }

  private:
    std::string encoded(std::uint32_t value) const
    {
        std::string four;
        for (unsigned i = 0; i < 4; ++i)
        {
            const unsigned shift = order_ == Order::little ? i * 8 : 24 - i * 8;
            four.push_back(static_cast<char>(value >> shift & 0xffU));
        }
        return four;
    }

    Order order_;
    std::string bytes_;
};

constexpr std::size_t fieldsAt = 12; // where a head tells the size of its fields

Writer begin(Order order, char type, std::size_t bodySize)
{
    Writer message(order);
    message.byte(static_cast<char>(order));
    message.byte(type);
    message.byte(noReplyExpected);
    message.byte(1); // the protocol's version
    message.number(static_cast<std::uint32_t>(bodySize));
    message.number(1); // serial
    message.number(0); // replaced at the end
    return message;
}

std::string end(Writer& message, const std::string& signature, const std::string& body)
{
    if (!signature.empty())
    {
        message.field(signatureField, "g");
        message.signature(signature);
    }
    message.replace(fieldsAt, static_cast<std::uint32_t>(message.size() - fieldsAt - 4));
    message.align(8);
    return message.take() + body;
}

/** Where the next message of those that the library has sent begins; npos when it is cut off. */
std::size_t behindMessage(std::string_view bytes, std::size_t at)
{
    const auto number = [&](std::size_t offset)
    {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < 4; ++i)
        {
            value |= static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + offset + i]))
                     << i * 8;
        }
        return value;
    };
    if (bytes.size() - at < fieldsAt + 4)
    {
        return std::string_view::npos;
    }
    const std::size_t head = (fieldsAt + 4 + number(fieldsAt) + 7) / 8 * 8;
    return at + head + number(4);
}

} // namespace

wire::Connection::Connection()
{
    std::array<int, 2> ends{};
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0,
            "socketpair");
    otherEnd_ = ends[1];
    require(sd_bus_new(&raw_) >= 0, "sd_bus_new");
    require(sd_bus_set_fd(raw_, ends[0], ends[0]) >= 0, "sd_bus_set_fd");
    require(sd_bus_negotiate_fds(raw_, 0) >= 0, "sd_bus_negotiate_fds");
    require(sd_bus_start(raw_) >= 0, "sd_bus_start");
    bus_.emplace(raw_, std::false_type());
    write("DATA\r\nOK 0123456789abcdef0123456789abcdef\r\n");
    for (int i = 0; i < 10 && sd_bus_is_ready(raw_) == 0; ++i)
    {
        require(sd_bus_process(raw_, nullptr) >= 0, "the handshake");
    }
    require(sd_bus_is_ready(raw_) > 0, "the connection is up");
    std::array<char, 512> handshake{};
    require(read(otherEnd_, handshake.data(), handshake.size()) > 0, "the library's handshake");
}

wire::Connection::~Connection()
{
    close(otherEnd_);
}

std::optional<sdbusplus::message_t> wire::Connection::signal(Order order, const Head& head,
                                                             const std::string& body)
{
    const std::string& sent = head.signature.empty() ? std::string() : body;
    Writer message = begin(order, signalType, sent.size());
    message.field(pathField, "o");
    message.text(head.path);
    message.field(interfaceField, "s");
    message.text(head.interface);
    message.field(memberField, "s");
    message.text(head.member);
    write(end(message, head.signature, sent));
    sd_bus_message* received = nullptr;
    for (int i = 0; i < 10 && received == nullptr && usable(); ++i)
    {
        if (sd_bus_process(raw_, &received) < 0)
        {
            break;
        }
    }
    if (received == nullptr)
    {
        return std::nullopt;
    }
    return sdbusplus::message_t(received, std::false_type());
}

void wire::Connection::prepareReply(Order order, unsigned number, const std::string& signature,
                                    const std::string& body)
{
    Writer message = begin(order, replyType, body.size());
    message.field(replySerialField, "u");
    message.number(lastSent_ + number);
    write(end(message, signature, body));
}

unsigned wire::Connection::sent()
{
    const ssize_t got = read(otherEnd_, received_.data(), received_.size());
    const std::string_view bytes(received_.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    unsigned count = 0;
    for (std::size_t at = 0; at < bytes.size(); at = behindMessage(bytes, at))
    {
        ++count;
    }
    lastSent_ += count;
    return count;
}

bool wire::Connection::usable()
{
    return sd_bus_is_open(raw_) > 0;
}

void wire::Connection::write(const std::string& bytes) const
{
    const ssize_t written = ::write(otherEnd_, bytes.data(), bytes.size());
    require(written == static_cast<ssize_t>(bytes.size()), "the socket has room");
}
