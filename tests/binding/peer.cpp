#include "peer.hpp"

#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <utility>

namespace
{

constexpr const char* clientName = ":1.7";

void require(int result)
{
    if (result < 0)
    {
        throw std::runtime_error("cannot set the peer up");
    }
}

int emit(sd_bus* bus, const char* text)
{
    return sd_bus_emit_signal(bus, "/peer", "test.Peer", "Emitted", "s", text);
}

int echo(sd_bus_message* m)
{
    const char* text = nullptr;
    sd_bus_message_read_basic(m, 's', &text);
    return sd_bus_reply_method_return(m, "s", text);
}

int emitText(sd_bus_message* m)
{
    const char* text = nullptr;
    sd_bus_message_read_basic(m, 's', &text);
    emit(sd_bus_message_get_bus(m), text);
    return sd_bus_reply_method_return(m, "");
}

int addMatch(sd_bus_message* m)
{
    const char* rule = nullptr;
    sd_bus_message_read_basic(m, 's', &rule);
    if (std::strstr(rule, "/refused") != nullptr)
    {
        return sd_bus_reply_method_errorf(m, SD_BUS_ERROR_LIMITS_EXCEEDED, "no more rules");
    }
    return sd_bus_reply_method_return(m, "");
}

int answer(sd_bus_message* m, void*, sd_bus_error*)
{
    if (sd_bus_message_is_method_call(m, nullptr, nullptr) <= 0)
    {
        return 0;
    }
    const std::string method = sd_bus_message_get_member(m);
    if (method == "Hello")
    {
        return sd_bus_reply_method_return(m, "s", clientName);
    }
    if (method == "AddMatch")
    {
        return addMatch(m);
    }
    if (method == "RemoveMatch")
    {
        return sd_bus_reply_method_return(m, "");
    }
    if (method == "Echo")
    {
        return echo(m);
    }
    if (method == "Refuse")
    {
        return sd_bus_reply_method_errorf(m, "test.Error.Refused", "not today");
    }
    if (method == "RefuseWithoutText")
    {
        const sd_bus_error noText = SD_BUS_ERROR_MAKE_CONST("test.Error.Refused", nullptr);
        return sd_bus_reply_method_error(m, &noText);
    }
    if (method == "Emit")
    {
        return emitText(m);
    }
    return 1; // Ignore: handled, without an answer
}

void serve(int fd)
{
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus));
    require(sd_bus_set_fd(bus, fd, fd));
    require(sd_bus_set_server(
        bus, 1, SD_ID128_MAKE(01, 23, 45, 67, 89, ab, cd, ef, 01, 23, 45, 67, 89, ab, cd, ef)));
    require(sd_bus_add_filter(bus, nullptr, answer, nullptr));
    require(sd_bus_start(bus));
    int result = 0;
    while ((result = sd_bus_process(bus, nullptr)) >= 0)
    {
        if (result == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)
        {
            break;
        }
    }
    sd_bus_close_unref(bus);
}

} // namespace

Peer::Peer()
{
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends));
    require(sd_bus_new(&client_));
    require(sd_bus_set_fd(client_, ends[0], ends[0]));
    require(sd_bus_set_bus_client(client_, 1));
    require(sd_bus_start(client_));
    thread_ = std::thread(serve, ends[1]);
}

Peer::~Peer()
{
    thread_.join();
}

sd_bus* Peer::takeClient()
{
    return std::exchange(client_, nullptr);
}
