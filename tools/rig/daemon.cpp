#include "rig/daemon.hpp"

#include "sim/error.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <string_view>
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
    : buffer_(pipeSize), child_(start(options)), copy_(openCopy(options.logFile)),
      reader_([this] { drain(); })
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
    // It prints nothing; a copy of our standard output would keep whoever reads that waiting.
    const int log = pipe.write.get();
    return child::Child({.command = {options.program},
                         .environment = environmentFor(options),
                         .streams = {.output = log, .error = log}});
}
catch (const std::system_error& error)
{
    throw sim::Error(error.what());
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
