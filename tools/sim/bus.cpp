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
#include <signal.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace sim
{
namespace
{

constexpr std::chrono::seconds startLimit(10);

/** The descriptor on which the child finds the pipe for its address, or the socket to listen at. */
constexpr int handedDescriptor = 3;

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
std::string configuration(const std::string& folder, unsigned matchRules)
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
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_message_size">134217728</limit>
  <limit name="max_completed_connections">100000</limit>
  <limit name="max_incomplete_connections">10000</limit>
  <limit name="max_connections_per_user">100000</limit>
  <limit name="max_names_per_connection">50000</limit>
  <limit name="max_match_rules_per_connection">)" +
           std::to_string(matchRules) + R"(</limit>
  <limit name="max_replies_per_connection">500000</limit>
</busconfig>
)";
}

bool wantsBroker()
{
    const char* wanted = std::getenv("HWINV_BUS");
    return wanted != nullptr && std::string_view(wanted) == "dbus-broker";
}

/** In the child, between fork and exec: only calls that are safe there. `handed` gets the first
 *  descriptor after the standard ones. */
void prepareChild(pid_t parent, int handed, int log)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
    {
        _exit(127);
    }
    // A Ctrl-C is for the program that owns the bus, which ends it in its own time.
    setpgid(0, 0);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // dup2 onto itself would keep close-on-exec.
    const bool inPlace = handed == handedDescriptor;
    if (inPlace ? fcntl(handed, F_SETFD, 0) < 0 : dup2(handed, handedDescriptor) < 0)
    {
        _exit(127);
    }
}

[[noreturn]] void becomeDaemon(pid_t parent, int addressPipe, int log, const char* configArgument)
{
    prepareChild(parent, addressPipe, log);
    execlp("dbus-daemon", "dbus-daemon", configArgument, "--nofork", "--nopidfile", "--nosyslog",
           "--print-address=3", static_cast<char*>(nullptr));
    _exit(127);
}

/** The launcher wants to be told its own number along with the socket, which only a shell between
 *  fork and exec can do without touching the heap. */
[[noreturn]] void becomeBroker(pid_t parent, int listener, int log, const char* configArgument)
{
    prepareChild(parent, listener, log);
    execlp("sh", "sh", "-c",
           "LISTEN_FDS=1 LISTEN_PID=$$ exec dbus-broker-launch --scope=user \"$0\"", configArgument,
           static_cast<char*>(nullptr));
    _exit(127);
}

int listenAt(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0 ||
        bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        listen(listener, SOMAXCONN) < 0)
    {
        failWithErrno("listen at " + path);
    }
    return listener;
}

/** The first line that comes out of `pipe`; empty when it ends or the time runs out before. */
std::string readLine(int pipe)
{
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    std::string line;
    while (line.find('\n') == std::string::npos)
    {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd ready{pipe, POLLIN, 0};
        const int polled = left.count() > 0 ? poll(&ready, 1, static_cast<int>(left.count())) : 0;
        if (polled < 0 && errno == EINTR)
        {
            continue;
        }
        char buffer[256];
        const ssize_t got = polled > 0 ? read(pipe, buffer, sizeof buffer) : 0;
        if (got <= 0)
        {
            return "";
        }
        line.append(buffer, static_cast<std::size_t>(got));
    }
    return line.substr(0, line.find('\n'));
}

std::string textOf(const std::string& file)
{
    std::ifstream stream(file);
    std::string text(std::istreambuf_iterator<char>(stream), {});
    return text.empty() ? "is it installed?" : text;
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

PrivateBus::PrivateBus(unsigned matchRulesPerConnection)
    : folder_(makeTemporaryFolder()), ownsFolder_(true)
{
    startOrCleanUp(matchRulesPerConnection);
}

PrivateBus::PrivateBus(std::string folder) : folder_(std::move(folder))
{
    startOrCleanUp(manyMatchRules);
}

PrivateBus::~PrivateBus()
{
    cleanUp();
}

void PrivateBus::startOrCleanUp(unsigned matchRules)
{
    try
    {
        start(matchRules);
    }
    catch (...)
    {
        cleanUp();
        throw;
    }
}

void PrivateBus::cleanUp()
{
    kill();
    if (ownsFolder_)
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
}

void PrivateBus::start(unsigned matchRules)
{
    const std::string file = folder_ + "/bus.conf";
    std::ofstream config(file);
    config << configuration(folder_, matchRules);
    config.close();
    if (!config)
    {
        throw Error("private bus: cannot write " + file);
    }
    wantsBroker() ? startBroker("--config-file=" + file) : startDaemon("--config-file=" + file);
}

void PrivateBus::startDaemon(const std::string& configArgument)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0)
    {
        failWithErrno("make a pipe");
    }
    const std::string logFile = folder_ + "/daemon.log";
    const int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0)
    {
        becomeDaemon(parent, ends[1], log, configArgument.c_str());
    }
    const int forkError = errno;
    close(ends[1]);
    close(log);
    address_ = pid_ > 0 ? readLine(ends[0]) : "";
    close(ends[0]);
    if (pid_ < 0)
    {
        errno = forkError;
        failWithErrno("start dbus-daemon");
    }
    if (address_.empty())
    {
        throw Error("private bus: dbus-daemon did not start: " + textOf(logFile));
    }
}

/** Who connects before the broker is up waits in the socket's queue; when the broker ends without
 *  having come up, nobody holds the socket any more and the connection breaks. */
void PrivateBus::startBroker(const std::string& configArgument)
{
    const std::string path = socketIn(folder_);
    const int listener = listenAt(path);
    const std::string logFile = folder_ + "/daemon.log";
    const int log = open(logFile.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0)
    {
        becomeBroker(parent, listener, log, configArgument.c_str());
    }
    const int forkError = errno;
    close(listener);
    close(log);
    if (pid_ < 0)
    {
        errno = forkError;
        failWithErrno("start dbus-broker");
    }
    address_ = "unix:path=" + escapeForAddress(path);
}

void PrivateBus::kill()
{
    if (pid_ <= 0)
    {
        return;
    }
    ::kill(pid_, SIGKILL);
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR)
    {
    }
    pid_ = -1;
}

} // namespace sim
