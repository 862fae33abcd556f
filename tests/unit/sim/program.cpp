#include "program.hpp"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

using std::string;
using std::vector;

namespace
{

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds limit(20);

struct Pipe
{
    int read = -1;
    int write = -1;

    Pipe()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) < 0)
        {
            throw std::runtime_error("no pipe");
        }
        read = ends[0];
        write = ends[1];
    }
};

pid_t start(const string& address, const vector<string>& command, int out, int err)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    vector<char*> arguments;
    for (const string& argument : command)
    {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0)
    {
        dup2(out, STDOUT_FILENO);
        if (err >= 0)
        {
            dup2(err, STDERR_FILENO);
        }
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    return pid;
}

/** One more piece of output; false at its end or when the time has run out. */
bool readMore(int from, string& text, Clock::time_point deadline)
{
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd ready{from, POLLIN, 0};
    if (poll(&ready, 1, static_cast<int>(std::max<long>(left.count(), 0))) <= 0)
    {
        return false;
    }
    char buffer[4096];
    const ssize_t got = read(from, buffer, sizeof buffer);
    text.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    return got > 0;
}

int waitForEnd(pid_t pid)
{
    const auto deadline = Clock::now() + limit;
    int status = 0;
    while (waitpid(pid, &status, WNOHANG) == 0)
    {
        if (Clock::now() >= deadline)
        {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return -1;
        }
        poll(nullptr, 0, 1); // waitpid knows no time limit
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

Finished runProgram(const string& address, const vector<string>& command)
{
    const Pipe out;
    const Pipe err;
    const pid_t pid = start(address, command, out.write, err.write);
    close(out.write);
    close(err.write);
    const auto deadline = Clock::now() + limit;
    Finished result;
    // What these programs print fits into a pipe, so one can be read after the other.
    while (readMore(out.read, result.out, deadline))
    {
    }
    while (readMore(err.read, result.err, deadline))
    {
    }
    close(out.read);
    close(err.read);
    result.status = waitForEnd(pid);
    return result;
}

RunningProgram::RunningProgram(const string& address, const vector<string>& command)
{
    const Pipe out;
    pid_ = start(address, command, out.write, -1);
    close(out.write);
    out_ = out.read;
    const auto deadline = Clock::now() + limit;
    while (firstLine_.find('\n') == string::npos && readMore(out_, firstLine_, deadline))
    {
    }
    firstLine_.resize(std::min(firstLine_.find('\n'), firstLine_.size()));
}

RunningProgram::~RunningProgram()
{
    end(SIGKILL);
    close(out_);
}

int RunningProgram::end(int signal)
{
    if (pid_ <= 0)
    {
        return -1;
    }
    if (signal != 0)
    {
        kill(pid_, signal);
    }
    const int status = waitForEnd(pid_);
    pid_ = -1;
    return status;
}
