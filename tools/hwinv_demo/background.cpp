#include "background.hpp"

#include "sim/error.hpp"

#include <fcntl.h>
#include <iostream>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace hwinv_demo
{
namespace
{

int awaitStatus(int fromChild, pid_t child)
{
    unsigned char status = 1;
    ssize_t got = 0;
    do
    {
        got = read(fromChild, &status, 1);
    } while (got < 0);
    close(fromChild);
    if (got == 1)
    {
        return status;
    }
    int ended = 0; // without a word: its own status is the answer
    waitpid(child, &ended, 0);
    return WIFEXITED(ended) ? WEXITSTATUS(ended) : 1;
}

} // namespace

/** Without release(): something was thrown, and whoever catches it wants to say so. */
Background::~Background()
{
    if (toParent_ == -1)
    {
        return;
    }
    printWhatWasSaid();
    dup2(output_, STDOUT_FILENO);
    dup2(errors_, STDERR_FILENO);
    close(toParent_);
}

std::optional<int> Background::enter()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
    {
        throw sim::Error("no pipe to a child can be made");
    }
    const pid_t child = fork();
    if (child < 0)
    {
        throw sim::Error("no child can be made");
    }
    if (child > 0)
    {
        close(ends[1]);
        return awaitStatus(ends[0], child);
    }
    close(ends[0]);
    toParent_ = ends[1];
    leaveTerminal();
    return std::nullopt;
}

void Background::release(int status)
{
    printWhatWasSaid();
    const auto byte = static_cast<unsigned char>(status);
    const ssize_t ignored = write(toParent_, &byte, 1); // a parent that is gone needs no status
    static_cast<void>(ignored);
    close(toParent_);
    close(output_);
    close(errors_);
    toParent_ = -1;
}

void Background::leaveTerminal()
{
    setsid();
    output_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    errors_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        dup2(nowhere, standard);
    }
    close(nowhere);
    standardBuffer_ = std::cout.rdbuf(said_.rdbuf());
}

void Background::printWhatWasSaid()
{
    std::cout.rdbuf(standardBuffer_);
    const std::string text = said_.str();
    std::string_view left = text;
    while (!left.empty())
    {
        const ssize_t written = write(output_, left.data(), left.size());
        if (written <= 0)
        {
            return; // nobody reads it
        }
        left.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace hwinv_demo
