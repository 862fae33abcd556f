#pragma once

// A program as a child process, from its start to its end.
//
// The child belongs to its Child: destruction ends it and waits until it is gone. Should the
// thread that started it end before, the kernel ends the child. Its signal mask is empty. Other
// processes that it starts are its own affair.
//
// One thread starts it, uses it and destroys it; pid() may be called by any thread. Nothing else in
// this process may wait for the child, and SIGCHLD must not be ignored. Linux 5.3 or later.

#include "child/pipe.hpp"

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace child
{

/** In the place of a stream's descriptor: the stream of this process, or none. */
inline constexpr int inherited = -1;
inline constexpr int closed = -2;

/** Descriptors of this process, of which the program gets copies. They stay the caller's, who has
 * to close a pipe's writing end after the start, or will never read its end. */
struct Streams
{
    int input = inherited;
    int output = inherited;
    int error = inherited;
};

enum class Group
{
    ours,
    own,        // not reached by what a terminal sends to this process
    ownTerminal // a session of its own, ruled by the terminal that is its standard input
};

struct Options
{
    /** The program, then its arguments. A name without a slash is looked for in PATH. */
    std::vector<std::string> command;

    /** Changes of this process's environment: NAME=VALUE sets, NAME alone takes away. The last one
     *  of a name counts. */
    std::vector<std::string> environment = {};

    Streams streams = {};

    Group group = Group::ours;

    /** What ends it when its owner or the thread that started it does. After another one than
     *  SIGKILL its owner waits for at most 10 s, then kills it. */
    int endSignal = SIGKILL;
};

class Child
{
  public:
    /** Returns when the program runs; throws std::system_error when it cannot be run. */
    explicit Child(const Options& options);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const
    {
        return pid_;
    }

    /** False when it has ended, whoever or whatever ended it. */
    bool running();

    /** Sends a signal; does nothing when the child has ended. */
    void signal(int number);

    /** Its wait status; nothing when the limit comes before its end. */
    std::optional<int> waitForEnd(std::chrono::milliseconds limit);

    /** Waits for its end, kills it at the limit. Its exit status, or minus the number of the signal
     *  that ended it. */
    int finish(std::chrono::milliseconds limit);

    /** Kills it and waits until it is gone; does nothing when it has ended. */
    void kill();

  private:
    void start(const Options& options);
    bool reap(int options);

    pid_t pid_ = -1;
    int endSignal_;
    Descriptor end_; // can be read when the child has ended
    std::optional<int> status_;
};

} // namespace child
