#pragma once

// How the libraries that are preloaded into the daemon are told what to do: what goes into its
// environment. Their sources, warp.cpp and failing_calls.cpp, say what they do.
//
// Any thread; no shared state.

#include <csignal>
#include <string>
#include <vector>

namespace kit
{

/** Calls of the daemon that fail. */
struct FailingCall
{
    std::string function; // pthread_create, pipe, epoll_ctl, epoll_wait, sigaction, malloc
    int error;
    unsigned first = 1;
    unsigned times = 1; // 0: all that follow
    bool mainOnly = false;
    bool whenArmed = false; // counted from armSignal() on
};

struct Preloads
{
    /** How many times as fast the daemon's steady clock runs. */
    unsigned warp = 1;

    /** One of so many timed waits returns when half of its time is left; 0 for none. */
    unsigned early = 0;

    std::vector<FailingCall> failing = {};
};

/** The environment that they need. */
std::vector<std::string> environmentOf(const Preloads& preloads);

/** The signal from which on the calls that wait for it are counted. */
inline int armSignal()
{
    return SIGRTMIN + 3;
}

} // namespace kit
