#include "faults/kit/mute_socket.hpp"

#include "sim/bus.hpp"
#include "sim/error.hpp"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/socket.h>
#include <sys/un.h>

namespace kit
{

// The kernel accepts as many connections as wait here; nobody takes them.
MuteSocket::MuteSocket()
    : folder_(sim::makeTemporaryFolder()), path_(folder_ + "/socket"),
      listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        listen(listener_.get(), SOMAXCONN) < 0)
    {
        throw sim::Error("cannot listen at " + path_ + ": " + std::strerror(errno));
    }
}

MuteSocket::~MuteSocket()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace kit
