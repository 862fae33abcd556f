/*
 * Part of the daemon in a build that counts lines, and in no other: writes the counts whenever a
 * loop of the daemon has been idle for a moment. The tests end a daemon by SIGKILL, and what is not
 * written by then is lost.
 *
 * Stands in for the C library's epoll_wait, which libsystemd's loops wait in. Any thread; takes a
 * lock of its own.
 */
#include <mutex>
#include <sys/epoll.h>

// Of the compiler's own library.
extern "C" void __gcov_dump();
extern "C" void __gcov_reset();

namespace
{

constexpr int idleMilliseconds = 20;

std::mutex dumping;

void dump()
{
    const std::lock_guard lock(dumping);
    __gcov_dump();
    __gcov_reset();
}

} // namespace

extern "C" int epoll_wait(int file, epoll_event* events, int most, int timeout)
{
    if (timeout < 0)
    {
        const int ready = epoll_pwait(file, events, most, idleMilliseconds, nullptr);
        if (ready != 0)
        {
            return ready;
        }
        dump();
    }
    return epoll_pwait(file, events, most, timeout, nullptr);
}
