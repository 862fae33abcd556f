#include "guard.hpp"

#include "sim/bus.hpp"
#include "sim/error.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// Two events can wake the guard: a signal to stop, and the end of the child. Both are signals here,
// blocked from the beginning and taken one at a time, so neither can come at a bad moment. The
// child inherits the blocked signals and so do its threads: a Ctrl-C, which the terminal sends to
// both processes, cannot tear it apart while it works.
//
// Bus and daemon ask the kernel to be killed when the child ends. As a subreaper the guard then
// becomes their parent and can wait until they are gone.

namespace hwinv_demo
{
namespace
{

/** A folder that goes with its owner. */
class Folder
{
  public:
    Folder() : path_(sim::makeTemporaryFolder()) {}
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const
    {
        return path_;
    }

  private:
    std::string path_;
};

/** How a process has ended, or is to end. */
struct Ending
{
    int status = 1;
    int signal = 0;
};

sigset_t watchedSignals()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD})
    {
        sigaddset(&set, signal);
    }
    return set;
}

Ending endingOf(int waitStatus)
{
    if (WIFSIGNALED(waitStatus))
    {
        return {1, WTERMSIG(waitStatus)};
    }
    return {WEXITSTATUS(waitStatus), 0};
}

std::optional<int> stayedWith(int fromChild)
{
    unsigned char status = 0;
    return read(fromChild, &status, 1) == 1 ? std::optional<int>(status) : std::nullopt;
}

Ending waitForEnd(pid_t child, int fromChild)
{
    const sigset_t watched = watchedSignals();
    while (true)
    {
        const int signal = sigwaitinfo(&watched, nullptr);
        int waitStatus = 0;
        if (signal == SIGCHLD && waitpid(child, &waitStatus, WNOHANG) == child)
        {
            return endingOf(waitStatus);
        }
        if (signal == SIGCHLD || signal < 0)
        {
            continue; // another child of the child's, or a debugger's stop
        }
        const auto status = stayedWith(fromChild);
        return status ? Ending{*status, 0} : Ending{1, signal};
    }
}

/** Ends every process that came from the child, also those that did not ask the kernel for it. */
void endAllChildren()
{
    const std::string own = std::to_string(getpid());
    do
    {
        std::ifstream children("/proc/" + own + "/task/" + own + "/children");
        for (pid_t child = 0; children >> child;)
        {
            kill(child, SIGKILL);
        }
    } while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR);
}

/** Ends this process by the signal, so that whoever waits for it sees what happened. */
void dieOf(int signal)
{
    std::signal(signal, SIG_DFL);
    raise(signal);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
}

[[noreturn]] void beChild(const std::function<int(const Guard&)>& work, const Guard& guard,
                          pid_t parent)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
    {
        _exit(1);
    }
    _exit(work(guard));
}

Ending watch(const std::function<int(const Guard&)>& work, const std::string& folder)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
    {
        throw sim::Error("no pipe to a child can be made");
    }
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0)
    {
        beChild(work, Guard(folder, ends[1]), parent);
    }
    close(ends[1]);
    if (child < 0)
    {
        close(ends[0]);
        throw sim::Error("no child can be made");
    }
    const Ending ending = waitForEnd(child, ends[0]);
    close(ends[0]);
    endAllChildren();
    return ending;
}

} // namespace

void Guard::stay(int status) const
{
    const auto byte = static_cast<unsigned char>(status);
    [[maybe_unused]] const ssize_t written = write(toGuard_, &byte, 1); // without a guard: no child
}

int runGuarded(const std::function<int(const Guard&)>& work)
{
    const sigset_t watched = watchedSignals();
    sigprocmask(SIG_BLOCK, &watched, nullptr);
    Ending ending;
    {
        const Folder folder;
        ending = watch(work, folder.path());
    }
    if (ending.signal != 0)
    {
        dieOf(ending.signal);
    }
    return ending.status;
}

} // namespace hwinv_demo
