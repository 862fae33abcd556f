#include "sim/bus.hpp"

#include "sim/error.hpp"

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <utility>

namespace sim
{
namespace
{

constexpr std::chrono::seconds startLimit(10);

[[noreturn]] void failWithErrno(const std::string& attempted)
{
    throw Error("private bus: " + attempted + ": " + std::strerror(errno));
}

/** A path as a D-Bus address wants it. What is left needs no quoting in the configuration. */
std::string escapeForAddress(const std::string& path)
{
    constexpr const char* digits = "0123456789abcdef";
    std::string escaped;
    for (const char letter : path)
    {
        const auto byte = static_cast<unsigned char>(letter);
        const bool plain = std::isalnum(byte) != 0 || std::strchr("-_/.", letter) != nullptr;
        escaped +=
            plain ? std::string(1, letter) : std::string{'%', digits[byte / 16], digits[byte % 16]};
    }
    return escaped;
}

/** The socket's path in `folder`; throws Error when no socket can have it. */
std::string socketIn(const std::string& folder)
{
    constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    std::string path = folder + "/socket";
    if (path.size() > longest)
    {
        throw Error("private bus: the path of its socket would have " +
                    std::to_string(path.size()) + " bytes, and no more than " +
                    std::to_string(longest) + " are possible: set TMPDIR to a shorter folder");
    }
    return path;
}

/** The limits are those of a session bus, raised so that no storm or backlog of ours meets one. */
std::string configuration(const std::string& folder, const BusOptions& options)
{
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>custom</type>
  <listen>unix:path=)" +
           escapeForAddress(socketIn(folder)) + R"(</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*" eavesdrop="true"/>
  )" + options.policy +
           R"(</policy>
  <limit name="max_incoming_bytes">)" +
           std::to_string(options.bytesPerConnection) + R"(</limit>
  <limit name="max_outgoing_bytes">)" +
           std::to_string(options.bytesPerConnection) + R"(</limit>
  <limit name="max_message_size">)" +
           std::to_string(options.bytesPerMessage) + R"(</limit>
  <limit name="max_completed_connections">100000</limit>
  <limit name="max_incomplete_connections">10000</limit>
  <limit name="max_connections_per_user">100000</limit>
  <limit name="max_names_per_connection">50000</limit>
  <limit name="max_match_rules_per_connection">)" +
           std::to_string(options.matchRulesPerConnection) + R"(</limit>
  <limit name="max_replies_per_connection">500000</limit>
</busconfig>
)";
}

sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

child::Descriptor listenAt(const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    child::Descriptor listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    const int number = listener.get();
    if (number < 0 ||
        bind(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        listen(number, SOMAXCONN) < 0)
    {
        failWithErrno("listen at " + path);
    }
    return listener;
}

/** Not connected where nobody listens any more. */
child::Descriptor connectAt(const std::string& path)
{
    const sockaddr_un address = addressOf(path);
    child::Descriptor client{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    return client;
}

child::Descriptor openLog(const std::string& file)
{
    return child::Descriptor{open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
}

std::string readText(const std::string& file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

std::string makeTemporaryFolder()
{
    const char* variable = std::getenv("TMPDIR");
    const std::string base = variable != nullptr && *variable != '\0' ? variable : "/tmp";
    std::string name = std::filesystem::absolute(base).string() + "/sim-bus-XXXXXX";
    socketIn(name);
    if (mkdtemp(name.data()) == nullptr)
    {
        failWithErrno("make a folder like " + name);
    }
    return name;
}

bool usesBroker()
{
    const char* wanted = std::getenv("HWINV_BUS");
    return wanted != nullptr && std::string_view(wanted) == "dbus-broker";
}

// Once this is done the destructor cleans up, also when the start then fails.
PrivateBus::PrivateBus(std::string folder, bool ownsFolder)
    : folder_(std::move(folder)), ownsFolder_(ownsFolder)
{
}

PrivateBus::PrivateBus(const BusOptions& options) : PrivateBus(makeTemporaryFolder(), true)
{
    start(options);
}

PrivateBus::PrivateBus(std::string folder) : PrivateBus(std::move(folder), false)
{
    start({});
}

PrivateBus::~PrivateBus()
{
    kill();
    if (ownsFolder_)
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
}

void PrivateBus::start(const BusOptions& options)
try
{
    const std::string file = folder_ + "/bus.conf";
    std::ofstream config(file);
    config << configuration(folder_, options);
    config.close();
    if (!config)
    {
        throw Error("private bus: cannot write " + file);
    }
    usesBroker() ? startBroker("--config-file=" + file) : startDaemon("--config-file=" + file);
}
catch (const std::system_error& error)
{
    throw Error(std::string("private bus: ") + error.what());
}

// A Ctrl-C is for the program that owns the bus, which ends it in its own time: the bus has a
// process group of its own, whoever runs it.

void PrivateBus::startDaemon(const std::string& configArgument)
{
    const std::string logFile = folder_ + "/daemon.log";
    const child::Descriptor log = openLog(logFile);
    child::Pipe pipe = child::makePipe();
    daemon_.emplace(child::Options{.command = {"dbus-daemon", configArgument, "--nofork",
                                               "--nopidfile", "--nosyslog", "--print-address=1"},
                                   .streams = {.output = pipe.write.get(), .error = log.get()},
                                   .group = child::Group::own});
    pipe.write.reset();
    if (!child::readUntil(pipe.read.get(), address_, "\n", startLimit))
    {
        throw Error("private bus: dbus-daemon did not start: " + readText(logFile));
    }
    address_.resize(address_.find('\n'));
}

/** The launcher wants its socket as the first descriptor after the standard ones, and to be told
 *  its own number along with it: a shell does both. Who connects before the broker is up waits in
 *  the socket's queue; when the broker ends without having come up, nobody holds the socket any
 * more and the connection breaks. */
void PrivateBus::startBroker(const std::string& configArgument)
{
    const std::string path = socketIn(folder_);
    const child::Descriptor listener = listenAt(path);
    const child::Descriptor log = openLog(folder_ + "/daemon.log");
    daemon_.emplace(child::Options{
        .command = {"sh", "-c",
                    "LISTEN_FDS=1 LISTEN_PID=$$ exec dbus-broker-launch --scope=user \"$0\" "
                    "3<&0 </dev/null",
                    configArgument},
        .streams = {.input = listener.get(), .output = log.get(), .error = log.get()},
        .group = child::Group::own});
    address_ = "unix:path=" + escapeForAddress(path);
}

void PrivateBus::kill()
{
    if (daemon_.has_value() && usesBroker())
    {
        endBroker();
    }
    daemon_.reset();
}

/** The broker ends by itself when its launcher has gone, a moment later: what hangs on its socket
 *  breaks then. */
void PrivateBus::endBroker()
{
    const child::Descriptor client = connectAt(socketIn(folder_));
    daemon_.reset();
    pollfd end{client.get(), 0, 0};
    poll(&end, 1, static_cast<int>(std::chrono::milliseconds(startLimit).count()));
}

} // namespace sim
