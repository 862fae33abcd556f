#include "doubles/platform_daemon.hpp"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <stdexcept>
#include <sys/socket.h>
#include <utility>

namespace
{

int require(int result)
{
    if (result < 0)
    {
        throw std::runtime_error("cannot set the connection up");
    }
    return result;
}

std::string text(const char* value)
{
    return value != nullptr ? value : "";
}

AssociationList readList(sd_bus_message* message)
{
    AssociationList list;
    require(sd_bus_message_enter_container(message, 'a', "(sss)"));
    const char* forward = nullptr;
    const char* reverse = nullptr;
    const char* endpoint = nullptr;
    while (require(sd_bus_message_read(message, "(sss)", &forward, &reverse, &endpoint)) > 0)
    {
        list.emplace_back(forward, reverse, endpoint);
    }
    require(sd_bus_message_exit_container(message));
    return list;
}

RecordedCall read(sd_bus_message* message)
{
    RecordedCall call;
    call.destination = text(sd_bus_message_get_destination(message));
    call.path = text(sd_bus_message_get_path(message));
    call.interface = text(sd_bus_message_get_interface(message));
    call.member = text(sd_bus_message_get_member(message));
    call.signature = text(sd_bus_message_get_signature(message, 1));
    const char* setInterface = nullptr;
    const char* setProperty = nullptr;
    if (sd_bus_message_read(message, "ss", &setInterface, &setProperty) > 0)
    {
        call.setInterface = setInterface;
        call.setProperty = setProperty;
        if (sd_bus_message_enter_container(message, 'v', "a(sss)") > 0)
        {
            call.value = readList(message);
        }
    }
    return call;
}

} // namespace

PlatformDaemon::PlatformDaemon()
{
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    sd_bus* client = nullptr;
    require(sd_bus_new(&client));
    require(sd_bus_set_fd(client, ends[0], ends[0]));
    require(sd_bus_set_bus_client(client, 1));
    thread_ = std::thread([this, socket = ends[1]] { serve(socket); });
    require(sd_bus_start(client));
    connection_ = std::make_shared<sdbusplus::bus_t>(client, std::false_type());
}

PlatformDaemon::~PlatformDaemon()
{
    connection_.reset(); // the thread ends when the other end has closed
    thread_.join();
}

std::vector<RecordedCall> PlatformDaemon::calls() const
{
    const std::lock_guard lock(mutex_);
    return calls_;
}

void PlatformDaemon::refuse()
{
    const std::lock_guard lock(mutex_);
    refusing_ = true;
}

int PlatformDaemon::answer(sd_bus_message* call, void* self, sd_bus_error* /*error*/)
{
    auto& daemon = *static_cast<PlatformDaemon*>(self);
    if (sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0)
    {
        return 0;
    }
    if (text(sd_bus_message_get_member(call)) == "Hello")
    {
        return sd_bus_reply_method_return(call, "s", ":1.7"); // the bus names the caller
    }
    const std::lock_guard lock(daemon.mutex_);
    daemon.calls_.push_back(read(call));
    return daemon.refusing_
               ? sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "not today")
               : sd_bus_reply_method_return(call, "");
}

void PlatformDaemon::serve(int socket)
{
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus));
    require(sd_bus_set_fd(bus, socket, socket));
    require(sd_bus_set_server(
        bus, 1, SD_ID128_MAKE(0f, 1e, 2d, 3c, 4b, 5a, 69, 78, 87, 96, a5, b4, c3, d2, e1, f0)));
    require(sd_bus_add_filter(bus, nullptr, answer, this));
    require(sd_bus_start(bus));
    int result = 0;
    while ((result = sd_bus_process(bus, nullptr)) >= 0)
    {
        if (result == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)
        {
            break;
        }
    }
    sd_bus_flush_close_unref(bus);
}
