#include "child/child.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

// Between fork and exec the child may do only what is safe in the copy of a process that has other
// threads: no memory is taken there, everything is made before. A pipe that exec closes tells the
// parent what went wrong: an errno when there was no exec, the end alone when there was.

namespace child
{
namespace
{

using std::chrono::milliseconds;

constexpr std::chrono::seconds startLimit{10};
constexpr std::chrono::seconds endLimit{10};

std::string_view nameOf(std::string_view variable)
{
    return variable.substr(0, variable.find('='));
}

std::vector<std::string> environmentWith(const std::vector<std::string>& changes)
{
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
    {
        environment.emplace_back(*variable);
    }
    for (const std::string& change : changes)
    {
        std::erase_if(environment, [&](const std::string& variable)
                      { return nameOf(variable) == nameOf(change); });
        if (change.find('=') != std::string::npos)
        {
            environment.push_back(change);
        }
    }
    return environment;
}

/** For exec, which changes none of the texts. */
std::vector<char*> pointersTo(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (const std::string& text : texts)
    {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

/** In the child. All three are copied out of the way first: each may be one of the numbers that
 *  they are to have. */
bool setStreams(const Streams& streams)
{
    int sources[] = {streams.input, streams.output, streams.error};
    for (int& source : sources)
    {
        if (source >= 0 && (source = fcntl(source, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) < 0)
        {
            return false;
        }
    }
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
    {
        if (sources[stream] == closed)
        {
            close(stream);
        }
        else if (sources[stream] >= 0 && dup2(sources[stream], stream) < 0)
        {
            return false;
        }
    }
    return true;
}

/** In the child. */
bool setGroup(Group group)
{
    switch (group)
    {
        case Group::ours:
            return true;
        case Group::own:
            return setpgid(0, 0) == 0;
        case Group::ownTerminal:
            return setsid() >= 0 && ioctl(STDIN_FILENO, TIOCSCTTY, 0) == 0;
    }
    return false;
}

/** In the child; returns only when the program cannot be run, errno says why. A file that is no
 *  program is no script for a shell either, so execvpe gets no path. */
void run(char* const* arguments, char* const* environment)
{
    if (std::strchr(arguments[0], '/') != nullptr)
    {
        execve(arguments[0], arguments, environment);
        return;
    }
    execvpe(arguments[0], arguments, environment);
}

/** In the child. */
[[noreturn]] void become(const Options& options, char* const* arguments, char* const* environment,
                         int report, pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, options.endSignal);
    if (getppid() != parent)
    {
        _exit(127);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    report = fcntl(report, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (setStreams(options.streams) && setGroup(options.group))
    {
        run(arguments, environment);
    }
    const int reason = errno;
    [[maybe_unused]] const ssize_t written = write(report, &reason, sizeof reason);
    _exit(127);
}

[[noreturn]] void fail(int reason, const std::string& attempted)
{
    throw std::system_error(reason, std::generic_category(), attempted);
}

/** Returns when the child has become the program. */
void waitForExec(int report, const std::string& program)
{
    const std::string attempted = "cannot run " + program;
    const auto answer = readSome(report, Clock::now() + startLimit, sizeof(int));
    if (!answer)
    {
        fail(ETIMEDOUT, attempted);
    }
    if (!answer->empty())
    {
        int reason = 0;
        std::memcpy(&reason, answer->data(), std::min(answer->size(), sizeof reason));
        fail(reason, attempted);
    }
}

} // namespace

Child::Child(const Options& options) : endSignal_(options.endSignal)
{
    try
    {
        start(options);
    }
    catch (...)
    {
        kill();
        throw;
    }
}

void Child::start(const Options& options)
{
    const auto variables = environmentWith(options.environment);
    const auto arguments = pointersTo(options.command);
    const auto environment = pointersTo(variables);
    Pipe report = makePipe();
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0)
    {
        become(options, arguments.data(), environment.data(), report.write.get(), parent);
    }
    if (pid_ < 0)
    {
        fail(errno, "cannot fork");
    }
    end_ = Descriptor{static_cast<int>(syscall(SYS_pidfd_open, pid_, 0))};
    if (end_.get() < 0)
    {
        fail(errno, "cannot open a pidfd");
    }
    report.write.reset();
    waitForExec(report.read.get(), options.command.front());
}

Child::~Child()
{
    if (endSignal_ != SIGKILL)
    {
        signal(endSignal_);
        waitForEnd(endLimit);
    }
    kill();
}

bool Child::reap(int options)
{
    int status = 0;
    pid_t ended = 0;
    do
    {
        ended = waitpid(pid_, &status, options);
    } while (ended < 0 && errno == EINTR);
    if (ended != 0)
    {
        status_ = status;
    }
    return status_.has_value();
}

bool Child::running()
{
    return pid_ > 0 && !status_ && !reap(WNOHANG);
}

void Child::signal(int number)
{
    if (running())
    {
        ::kill(pid_, number);
    }
}

std::optional<int> Child::waitForEnd(milliseconds limit)
{
    if (!status_ && waitReadable(end_.get(), Clock::now() + limit))
    {
        reap(0);
    }
    return status_;
}

int Child::finish(milliseconds limit)
{
    if (!waitForEnd(limit))
    {
        kill();
    }
    return WIFEXITED(*status_) ? WEXITSTATUS(*status_) : -WTERMSIG(*status_);
}

void Child::kill()
{
    if (running())
    {
        ::kill(pid_, SIGKILL);
        reap(0);
    }
}

} // namespace child
