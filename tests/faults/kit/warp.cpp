// A library to preload: the steady clock of the program runs HWINV_WARP times as fast.
//
// From the moment the program starts, CLOCK_MONOTONIC shows that many times the time that has
// passed, and what waits on it waits that much shorter: timed waits on condition variables, poll
// and ppoll. So hours of a schedule pass in seconds, and the program cannot tell. Timers of the
// kernel and the wall clock keep their pace.
//
// With HWINV_EARLY=N each N-th timed wait on a condition variable returns when half of its time is
// left, as such a wait may at any time.
//
// Any thread; takes no lock.

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <poll.h>
#include <pthread.h>

namespace
{

using Nanoseconds = long long;

constexpr Nanoseconds second = 1'000'000'000;

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

Nanoseconds numberFrom(const char* variable, Nanoseconds otherwise)
{
    const char* text = std::getenv(variable);
    const Nanoseconds number = text == nullptr ? 0 : std::atoll(text);
    return number > 0 ? number : otherwise;
}

Nanoseconds toNumber(const timespec& time)
{
    return time.tv_sec * second + time.tv_nsec;
}

timespec toTime(Nanoseconds number)
{
    return {static_cast<time_t>(number / second), static_cast<long>(number % second)};
}

Nanoseconds realNow()
{
    static const auto real = next<int (*)(clockid_t, timespec*)>("clock_gettime");
    timespec time{};
    real(CLOCK_MONOTONIC, &time);
    return toNumber(time);
}

/** Both are fixed by the first look at the clock, which the program's loader takes. */
struct Warp
{
    Nanoseconds factor = numberFrom("HWINV_WARP", 1);
    Nanoseconds start = realNow();
};

const Warp& warp()
{
    static const Warp warp;
    return warp;
}

__attribute__((constructor)) void begin()
{
    warp();
}

Nanoseconds warped(Nanoseconds real)
{
    return warp().start + (real - warp().start) * warp().factor;
}

Nanoseconds unwarped(Nanoseconds time)
{
    return warp().start + (time - warp().start) / warp().factor;
}

bool wakesEarly()
{
    static const Nanoseconds every = numberFrom("HWINV_EARLY", 0);
    static std::atomic<Nanoseconds> waits{0};
    return every > 0 && ++waits % every == 0;
}

/** At least one where it was at least one, or a short wait would become a busy one. */
int shortened(int milliseconds)
{
    const auto less = static_cast<int>(milliseconds / warp().factor);
    return milliseconds > 0 && less == 0 ? 1 : less;
}

timespec shortened(const timespec& time)
{
    return toTime(toNumber(time) / warp().factor);
}

} // namespace

extern "C"
{
    int clock_gettime(clockid_t clock, timespec* time) noexcept
    {
        static const auto real = next<int (*)(clockid_t, timespec*)>("clock_gettime");
        const int result = real(clock, time);
        if (result == 0 && clock == CLOCK_MONOTONIC)
        {
            *time = toTime(warped(toNumber(*time)));
        }
        return result;
    }

    int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                               const timespec* deadline)
    {
        static const auto real =
            next<int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>(
                "pthread_cond_clockwait");
        if (clock != CLOCK_MONOTONIC)
        {
            return real(condition, mutex, clock, deadline);
        }
        const Nanoseconds realDeadline = unwarped(toNumber(*deadline));
        if (wakesEarly())
        {
            const timespec halfway = toTime(realDeadline - (realDeadline - realNow()) / 2);
            const int result = real(condition, mutex, clock, &halfway);
            return result == ETIMEDOUT ? 0 : result;
        }
        const timespec atDeadline = toTime(realDeadline);
        return real(condition, mutex, clock, &atDeadline);
    }

    int poll(pollfd* files, nfds_t count, int milliseconds)
    {
        static const auto real = next<int (*)(pollfd*, nfds_t, int)>("poll");
        return real(files, count, shortened(milliseconds));
    }

    int ppoll(pollfd* files, nfds_t count, const timespec* time, const sigset_t* mask)
    {
        static const auto real =
            next<int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
        if (time == nullptr)
        {
            return real(files, count, time, mask);
        }
        const timespec less = shortened(*time);
        return real(files, count, &less, mask);
    }

    // What a library that was built with checked calls calls instead.

    int __poll_chk(pollfd* files, nfds_t count, int milliseconds, std::size_t size)
    {
        static const auto real = next<int (*)(pollfd*, nfds_t, int, std::size_t)>("__poll_chk");
        return real(files, count, shortened(milliseconds), size);
    }

    int __ppoll_chk(pollfd* files, nfds_t count, const timespec* time, const sigset_t* mask,
                    std::size_t size)
    {
        static const auto real =
            next<int (*)(pollfd*, nfds_t, const timespec*, const sigset_t*, std::size_t)>(
                "__ppoll_chk");
        if (time == nullptr)
        {
            return real(files, count, time, mask, size);
        }
        const timespec less = shortened(*time);
        return real(files, count, &less, mask, size);
    }
}
