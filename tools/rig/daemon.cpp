#include "rig/daemon.hpp"

#include "sim/error.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <string_view>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace rig
{
namespace
{

using Clock = std::chrono::steady_clock;

/** Room for what the daemon writes while the reader does not get its turn. */
constexpr int pipeSize = 1 << 20;

constexpr std::chrono::milliseconds betweenLooks{2};

/** What a launcher may take to start the daemon, and to end behind it. */
constexpr std::chrono::seconds launchLimit{30};

/** Ours, with what of it is meant for the daemon set or taken away. */
std::vector<std::string> environmentFor(const DaemonOptions& options)
{
    std::vector<std::string> environment{
        "DBUS_SYSTEM_BUS_ADDRESS=" + options.address,
        "DLOG_LEVEL=" + std::to_string(options.logLevel),
        "JOURNAL_STREAM",
        "NOTIFY_SOCKET",
    };
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());
    return environment;
}

/** Its own environment stays ours: what is preloaded into the daemon must not get into it. */
std::vector<std::string> launcherCommand(const DaemonOptions& options)
{
    std::vector<std::string> command{options.launcher};
    for (const std::string& variable : environmentFor(options))
    {
        if (variable.find('=') != std::string::npos)
        {
            command.push_back(variable);
        }
    }
    command.push_back(options.program);
    return command;
}

child::Descriptor openCopy(const std::string& file)
{
    if (file.empty())
    {
        return child::Descriptor{};
    }
    child::Descriptor copy{open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644)};
    if (copy.get() < 0)
    {
        throw sim::Error("cannot write " + file + ": " + std::strerror(errno));
    }
    return copy;
}

} // namespace

Daemon::Daemon(const DaemonOptions& options)
    : buffer_(pipeSize), child_(start(options)),
      pid_(options.launcher.empty() ? child_.pid() : launchedPid()),
      copy_(openCopy(options.logFile)), reader_([this] { drain(); })
{
}

Daemon::~Daemon()
{
    kill();
    reader_.join();
}

child::Child Daemon::start(const DaemonOptions& options)
try
{
    child::Pipe pipe = child::makePipe();
    fcntl(pipe.read.get(), F_SETFL, O_NONBLOCK);
    fcntl(pipe.read.get(), F_SETPIPE_SZ, pipeSize);
    pipe_ = std::move(pipe.read);
    const int log = pipe.write.get();
    if (!options.launcher.empty())
    {
        child::Pipe told = child::makePipe();
        told_ = std::move(told.read);
        return child::Child({.command = launcherCommand(options),
                             .streams = {.output = told.write.get(), .error = log}});
    }
    // It prints nothing; a copy of our standard output would keep whoever reads that waiting.
    return child::Child({.command = {options.program},
                         .environment = environmentFor(options),
                         .streams = {.output = log, .error = log}});
}
catch (const std::system_error& error)
{
    throw sim::Error(error.what());
}

/** Known from the launcher; when the daemon has ended since, nothing can be sent to it. */
pid_t Daemon::launchedPid()
{
    std::string told;
    child::readUntil(told_.get(), told, "\n", launchLimit);
    const pid_t pid = std::atoi(told.c_str());
    if (pid <= 0)
    {
        const auto reason = child::readSome(pipe_.get(), child::Clock::now());
        throw sim::Error("the launcher did not start the daemon: " + reason.value_or(told));
    }
    launched_ = child::Descriptor{static_cast<int>(syscall(SYS_pidfd_open, pid, 0))};
    return pid;
}

void Daemon::signal(int number)
{
    if (launched_.get() >= 0)
    {
        syscall(SYS_pidfd_send_signal, launched_.get(), number, nullptr, 0);
    }
    else if (pid_ == child_.pid())
    {
        child_.signal(number);
    }
}

void Daemon::kill()
{
    if (pid_ != child_.pid())
    {
        signal(SIGKILL);
        child_.waitForEnd(launchLimit);
    }
    child_.kill();
}

void Daemon::drain()
{
    do
    {
        pollfd ready{pipe_.get(), POLLIN, 0};
        poll(&ready, 1, -1);
    } while (readWhatIsThere());
    log_.end();
}

/** False when the daemon will write no more. */
bool Daemon::readWhatIsThere() const
{
    const std::lock_guard lock(readMutex_);
    while (true)
    {
        const ssize_t got = read(pipe_.get(), buffer_.data(), buffer_.size());
        if (got < 0 && errno == EINTR)
        {
            continue;
        }
        if (got <= 0)
        {
            return got < 0 && errno == EAGAIN;
        }
        const std::string_view bytes(buffer_.data(), static_cast<std::size_t>(got));
        [[maybe_unused]] const ssize_t copied =
            copy_.get() < 0 ? 0
                            : write(copy_.get(), bytes.data(), bytes.size()); // worth no failure
        log_.append(bytes);
    }
}

void Daemon::catchUp() const
{
    readWhatIsThere();
}

std::optional<int> Daemon::waitForEnd(std::chrono::milliseconds limit)
{
    const auto status = child_.waitForEnd(limit);
    if (status)
    {
        log_.waitForEnd(limit); // a moment later, when the reader had its turn
    }
    return status;
}

bool Daemon::emulated() const
{
    std::error_code ended;
    const auto program =
        std::filesystem::read_symlink("/proc/" + std::to_string(pid()) + "/exe", ended);
    return program.filename().string().starts_with("qemu-");
}

std::size_t Daemon::threads() const
{
    const std::size_t emulators = emulated() ? 1 : 0;
    std::error_code ended;
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(pid()) + "/task",
                                                    ended);
    const auto all = static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
    return std::max(all, emulators) - emulators;
}

bool Daemon::waitForThreads(std::size_t count, std::chrono::milliseconds limit) const
{
    const auto deadline = Clock::now() + limit;
    while (threads() != count)
    {
        if (Clock::now() > deadline)
        {
            return false;
        }
        // Nobody tells when a thread of another process ends.
        std::this_thread::sleep_for(betweenLooks);
    }
    return true;
}

} // namespace rig
