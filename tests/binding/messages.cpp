#include "messages.hpp"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <sys/socket.h>
#include <type_traits>
#include <unistd.h>
#include <utility>

SilentConnection::SilentConnection()
{
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    other_end_ = ends[1];
    require(sd_bus_new(&bus_));
    require(sd_bus_set_fd(bus_, ends[0], ends[0]));
    require(sd_bus_start(bus_));
}

SilentConnection::~SilentConnection()
{
    sd_bus_close_unref(bus_);
    close(other_end_);
}

sdbusplus::message_t SilentConnection::draft()
{
    sd_bus_message* m = nullptr;
    require(sd_bus_message_new_signal(bus_, &m, "/test", "test.Interface", "Changed"));
    return sdbusplus::message_t(m, std::false_type());
}

sdbusplus::message_t SilentConnection::methodCall()
{
    sd_bus_message* m = nullptr;
    require(
        sd_bus_message_new_method_call(bus_, &m, "test.Service", "/test", "test.Interface", "Ask"));
    return sealed(sdbusplus::message_t(m, std::false_type()));
}

sdbusplus::message_t SilentConnection::reply()
{
    auto call = methodCall();
    sd_bus_message* m = nullptr;
    require(sd_bus_message_new_method_return(call.get(), &m));
    return sealed(sdbusplus::message_t(m, std::false_type()));
}

sdbusplus::message_t SilentConnection::error()
{
    auto call = methodCall();
    sd_bus_message* m = nullptr;
    require(sd_bus_message_new_method_errorf(call.get(), &m, "test.Error", "refused"));
    return sealed(sdbusplus::message_t(m, std::false_type()));
}

sdbusplus::message_t SilentConnection::sealed(sdbusplus::message_t m)
{
    require(sd_bus_message_seal(m.get(), 1, 0));
    require(sd_bus_message_rewind(m.get(), 1));
    return m;
}

void SilentConnection::require(int result)
{
    if (result < 0)
    {
        throw std::runtime_error("cannot make a message for the test");
    }
}

std::string bodyText(sdbusplus::message_t m)
{
    char* text = nullptr;
    std::size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    sd_bus_message_dump(m.get(), stream, SD_BUS_MESSAGE_DUMP_SUBTREE_ONLY);
    std::fclose(stream);
    std::string result(text, size);
    std::free(text);
    return result;
}
