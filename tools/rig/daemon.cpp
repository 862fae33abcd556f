#include "rig/daemon.hpp"

#include "sim/error.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rig
{
namespace
{

using Clock = std::chrono::steady_clock;

/** Room for what the daemon writes while the reader does not get its turn. */
constexpr int pipeSize = 1 << 20;

constexpr std::chrono::milliseconds betweenLooks{2};

/** What of our own environment would speak to the daemon. */
constexpr std::array<std::string_view, 4> keptBack{
    "DBUS_SYSTEM_BUS_ADDRESS=",
    "DLOG_LEVEL=",
    "JOURNAL_STREAM=",
    "NOTIFY_SOCKET=",
};

std::vector<std::string> environmentFor(const DaemonOptions& options)
{
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
    {
        const std::string_view text = *variable;
        const auto isName = [&](std::string_view name) { return text.starts_with(name); };
        if (std::ranges::none_of(keptBack, isName))
        {
            environment.emplace_back(text);
        }
    }
    environment.push_back("DBUS_SYSTEM_BUS_ADDRESS=" + options.address);
    environment.push_back("DLOG_LEVEL=" + std::to_string(options.logLevel));
    environment.insert(environment.end(), options.environment.begin(), options.environment.end());
    return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
    {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/** In the child, between fork and exec: only calls that are safe there. */
[[noreturn]] void become(const char* program, char* const* environment, int log, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
    {
        _exit(127);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // It prints nothing; a copy of our standard output would keep whoever reads that waiting.
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    char* const arguments[] = {const_cast<char*>(program), nullptr};
    execve(program, arguments, environment);
    _exit(127);
}

[[noreturn]] void fail(const std::string& attempted)
{
    throw sim::Error("cannot " + attempted + ": " + std::strerror(errno));
}

int openCopy(const std::string& file)
{
    if (file.empty())
    {
        return -1;
    }
    const int copy = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (copy < 0)
    {
        fail("write " + file);
    }
    return copy;
}

} // namespace

Daemon::Daemon(const DaemonOptions& options) : buffer_(pipeSize)
{
    if (access(options.program.c_str(), X_OK) < 0)
    {
        fail("run the daemon " + options.program);
    }
    copy_ = openCopy(options.logFile);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) < 0)
    {
        fail("make a pipe");
    }
    pipe_ = ends[0];
    fcntl(pipe_, F_SETFL, O_NONBLOCK);
    fcntl(pipe_, F_SETPIPE_SZ, pipeSize);
    start(options, ends[1]);
    close(ends[1]);
    if (pid_ < 0)
    {
        close(pipe_);
        fail("start the daemon");
    }
    reader_ = std::thread([this] { drain(); });
}

Daemon::~Daemon()
{
    kill();
    reader_.join();
    close(pipe_);
    if (copy_ >= 0)
    {
        close(copy_);
    }
}

void Daemon::start(const DaemonOptions& options, int log)
{
    auto environment = environmentFor(options);
    const auto variables = pointersTo(environment);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0)
    {
        become(options.program.c_str(), variables.data(), log, parent);
    }
}

void Daemon::drain()
{
    do
    {
        pollfd ready{pipe_, POLLIN, 0};
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
        const ssize_t got = read(pipe_, buffer_.data(), buffer_.size());
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
            copy_ < 0 ? 0 : write(copy_, bytes.data(), bytes.size()); // worth no failure
        log_.append(bytes);
    }
}

void Daemon::catchUp() const
{
    readWhatIsThere();
}

bool Daemon::reap(int options)
{
    int status = 0;
    pid_t ended = 0;
    do
    {
        ended = waitpid(pid_, &status, options);
    } while (ended < 0 && errno == EINTR);
    if (ended == pid_)
    {
        status_ = status;
    }
    return status_.has_value();
}

bool Daemon::running()
{
    return !status_ && !reap(WNOHANG);
}

void Daemon::signal(int number)
{
    if (running())
    {
        ::kill(pid_, number);
    }
}

std::optional<int> Daemon::waitForEnd(std::chrono::milliseconds limit)
{
    // The end of its log is the end of the process, or a moment before it.
    if (log_.waitForEnd(limit) && !status_)
    {
        reap(0);
    }
    return status_;
}

void Daemon::kill()
{
    if (running())
    {
        ::kill(pid_, SIGKILL);
        reap(0);
    }
}

bool Daemon::emulated() const
{
    std::error_code ended;
    const auto program =
        std::filesystem::read_symlink("/proc/" + std::to_string(pid_) + "/exe", ended);
    return program.filename().string().starts_with("qemu-");
}

std::size_t Daemon::threads() const
{
    const std::size_t emulators = emulated() ? 1 : 0;
    std::error_code ended;
    const std::filesystem::directory_iterator tasks("/proc/" + std::to_string(pid_) + "/task",
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
