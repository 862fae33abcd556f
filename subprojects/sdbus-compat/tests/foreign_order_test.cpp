/*
 * A message from a machine with the other byte order. sd-bus cannot write one, so the bytes are
 * laid out here by hand and sent down a socket together with the sender's half of the
 * authentication.
 */
#include <gtest/gtest.h>
#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <bit>
#include <chrono>
#include <concepts>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <type_traits>
#include <unistd.h>
#include <variant>
#include <vector>

namespace
{

constexpr bool foreignIsBig = std::endian::native == std::endian::little;

/// Values in the byte order that this machine does not have.
class Bytes
{
  public:
    Bytes& align(std::size_t size)
    {
        text.resize((text.size() + size - 1) / size * size);
        return *this;
    }

    template <std::unsigned_integral T>
    Bytes& number(T value)
    {
        align(sizeof value);
        for (std::size_t i = 0; i < sizeof value; ++i)
        {
            const std::size_t place = foreignIsBig ? sizeof value - 1 - i : i;
            text.push_back(static_cast<char>(value >> (8 * place)));
        }
        return *this;
    }

    Bytes& string(const std::string& value)
    {
        number(static_cast<uint32_t>(value.size()));
        text.append(value).push_back('\0');
        return *this;
    }

    Bytes& signature(const std::string& value)
    {
        text.push_back(static_cast<char>(value.size()));
        text.append(value).push_back('\0');
        return *this;
    }

    std::string text;
};

std::string signal(const std::string& types, const std::string& body)
{
    Bytes message;
    message.text = {foreignIsBig ? 'B' : 'l', SD_BUS_MESSAGE_SIGNAL, 0, 1};
    message.number(static_cast<uint32_t>(body.size())).number(uint32_t{1});

    Bytes fields;
    fields.align(8).number(uint8_t{1}).signature("o").string("/test");
    fields.align(8).number(uint8_t{2}).signature("s").string("test.Interface");
    fields.align(8).number(uint8_t{3}).signature("s").string("Changed");
    fields.align(8).number(uint8_t{8}).signature("g").signature(types);

    message.number(static_cast<uint32_t>(fields.text.size()));
    message.text += fields.text;
    return message.align(8).text + body;
}

sdbusplus::message_t received(const std::string& types, const std::string& body)
{
    int ends[2];
    sd_bus* bus = nullptr;
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) < 0 || sd_bus_new(&bus) < 0)
    {
        throw std::runtime_error("no connection for the test");
    }
    const std::string sent =
        "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\n" + signal(types, body);
    EXPECT_EQ(write(ends[1], sent.data(), sent.size()), static_cast<ssize_t>(sent.size()));
    EXPECT_GE(sd_bus_set_fd(bus, ends[0], ends[0]), 0);
    EXPECT_GE(sd_bus_negotiate_fds(bus, 0), 0);
    EXPECT_GE(sd_bus_start(bus), 0);

    sd_bus_message* m = nullptr;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (m == nullptr && std::chrono::steady_clock::now() < deadline)
    {
        const int result = sd_bus_process(bus, &m);
        if (result < 0 || (result == 0 && sd_bus_wait(bus, 100000) < 0))
        {
            break;
        }
    }
    sd_bus_close_unref(bus);
    close(ends[1]);
    return sdbusplus::message_t(m, std::false_type());
}

using Value = std::variant<std::string, uint32_t, uint16_t, std::vector<uint8_t>>;

TEST(ForeignOrder, NumbersAreTurned)
{
    Bytes body;
    body.signature("u").number(uint32_t{0x01020304});
    body.signature("q").number(uint16_t{0x0102});

    auto m = received("vv", body.text);
    ASSERT_NE(m.get(), nullptr);
    Value wide;
    Value narrow;
    m.read(wide, narrow);
    EXPECT_EQ(wide, Value(uint32_t{0x01020304}));
    EXPECT_EQ(narrow, Value(uint16_t{0x0102}));
}

TEST(ForeignOrder, BytesStayAsTheyAre)
{
    Bytes body;
    body.signature("ay").number(uint32_t{2}).number(uint8_t{5}).number(uint8_t{6});

    auto m = received("v", body.text);
    ASSERT_NE(m.get(), nullptr);
    Value value;
    m.read(value);
    EXPECT_EQ(value, Value(std::vector<uint8_t>{5, 6}));
}

} // namespace
