#include "unit/intake/rule_listener.hpp"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

int require(int result)
{
    if (result < 0)
    {
        throw std::runtime_error("cannot make a bus for the test");
    }
    return result;
}

} // namespace

RuleListener::RuleListener(std::size_t accepted) : accepted_(accepted)
{
    std::string folder = std::filesystem::temp_directory_path() / "rules-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
    {
        require(-1);
    }
    folder_ = folder;

    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder_ + "/bus";
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    socket_ = require(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    require(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
    require(listen(socket_, 1));
    require(setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1));
    thread_ = std::thread(&RuleListener::serve, this);
}

RuleListener::~RuleListener()
{
    shutdown(socket_, SHUT_RDWR); // in case nobody has come
    thread_.join();
    close(socket_);
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    std::filesystem::remove_all(folder_);
}

std::vector<std::string> RuleListener::rules()
{
    const std::lock_guard lock(mutex_);
    return rules_;
}

void RuleListener::serve()
{
    const int client = accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (client < 0)
    {
        return;
    }
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus));
    require(sd_bus_set_fd(bus, client, client));
    sd_id128_t id;
    require(sd_id128_randomize(&id));
    require(sd_bus_set_server(bus, 1, id));
    require(sd_bus_add_filter(bus, nullptr, onMessage, this));
    require(sd_bus_start(bus));
    int processed = 0;
    while (processed >= 0)
    {
        processed = sd_bus_process(bus, nullptr);
        if (processed == 0)
        {
            processed = sd_bus_wait(bus, UINT64_MAX);
        }
    }
    sd_bus_close_unref(bus);
}

int RuleListener::onMessage(sd_bus_message* message, void* self, sd_bus_error*)
{
    return static_cast<RuleListener*>(self)->answer(message);
}

int RuleListener::answer(sd_bus_message* message)
{
    if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus", "Hello") > 0)
    {
        require(sd_bus_reply_method_return(message, "s", ":1.1"));
        return 1;
    }
    if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus", "AddMatch") > 0)
    {
        return addMatch(message);
    }
    return 0;
}

int RuleListener::addMatch(sd_bus_message* message)
{
    const char* rule = nullptr;
    require(sd_bus_message_read(message, "s", &rule));
    std::size_t heard = 0;
    {
        const std::lock_guard lock(mutex_);
        rules_.emplace_back(rule);
        heard = rules_.size();
    }
    if (heard > accepted_)
    {
        require(sd_bus_reply_method_errorf(message, SD_BUS_ERROR_LIMITS_EXCEEDED, "enough"));
    }
    else
    {
        require(sd_bus_reply_method_return(message, nullptr));
    }
    return 1;
}
