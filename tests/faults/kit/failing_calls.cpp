// A library to preload: calls of the C library that fail when they are told to.
//
// HWINV_FAIL holds rules, each "FUNCTION:FIRST:TIMES:ERRNO:WHO:WHEN", with ';' between them:
//
//   FUNCTION   pthread_create, pipe (as the daemon calls it, with flags; a sanitizer looks at
//   memory
//              through the other one), epoll_ctl, epoll_wait, sigaction or malloc (which stands for
//              calloc and realloc, too; a sanitizer's own cannot be made to fail)
//   FIRST      the call that fails first, counted from 1
//   TIMES      how many calls in a row fail; 0 for all that follow
//   ERRNO      its number; epoll_wait, sigaction and the like also return their mark of failure
//   WHO        any, or main: only the calls of the first thread are counted
//   WHEN       now: counted from the start; armed: from the first SIGRTMIN+3 on
//
// Any thread; takes no lock and no memory.

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace
{

struct Rule
{
    std::array<char, 24> function{};
    std::atomic<long> left{0}; // calls until the first that fails
    long times = 0;
    int error = 0;
    bool mainOnly = false;
    bool whenArmed = false;
};

constexpr std::size_t mostRules = 8;

std::array<Rule, mostRules> rules;
std::size_t ruleCount = 0;
std::atomic<bool> armed{false};

template <typename Function>
Function next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool applies(const Rule& rule, const char* function)
{
    return std::strcmp(rule.function.data(), function) == 0 && (!rule.whenArmed || armed) &&
           (!rule.mainOnly || gettid() == getpid());
}

/** The errno with which this call fails; 0 when it is to succeed. */
int failureOf(const char* function)
{
    for (std::size_t i = 0; i < ruleCount; ++i)
    {
        Rule& rule = rules[i];
        if (applies(rule, function))
        {
            const long left = rule.left.fetch_sub(1);
            if (left <= 1 && (rule.times == 0 || left > 1 - rule.times))
            {
                return rule.error;
            }
        }
    }
    return 0;
}

/** True when the call is to fail, errno then says why. */
bool fails(const char* function)
{
    const int error = failureOf(function);
    if (error != 0)
    {
        errno = error;
    }
    return error != 0;
}

void readRule(const char* text)
{
    Rule& rule = rules[ruleCount];
    long first = 0;
    char who[8] = "";
    char when[8] = "";
    if (std::sscanf(text, "%23[a-z_]:%ld:%ld:%d:%7[a-z]:%7[a-z]", rule.function.data(), &first,
                    &rule.times, &rule.error, who, when) != 6)
    {
        std::fprintf(stderr, "failing_calls: cannot read the rule %s\n", text);
        std::abort();
    }
    rule.left = first;
    rule.mainOnly = std::strcmp(who, "main") == 0;
    rule.whenArmed = std::strcmp(when, "armed") == 0;
    ++ruleCount;
}

void arm(int /*signal*/)
{
    armed = true;
}

__attribute__((constructor)) void begin()
{
    const char* text = std::getenv("HWINV_FAIL");
    while (text != nullptr && *text != '\0' && ruleCount < mostRules)
    {
        readRule(text);
        text = std::strchr(text, ';');
        text = text == nullptr ? nullptr : text + 1;
    }
    struct sigaction action
    {
    };
    action.sa_handler = arm;
    static const auto real =
        next<int (*)(int, const struct sigaction*, struct sigaction*)>("sigaction");
    real(SIGRTMIN + 3, &action, nullptr);
}

} // namespace

extern "C"
{
    int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                       void* argument) noexcept
    {
        static const auto real =
            next<int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>(
                "pthread_create");
        const int error = failureOf("pthread_create"); // it says so itself, not in errno
        return error != 0 ? error : real(thread, attributes, body, argument);
    }

    int pipe2(int* ends, int flags) noexcept
    {
        static const auto real = next<int (*)(int*, int)>("pipe2");
        return fails("pipe") ? -1 : real(ends, flags);
    }

    int epoll_ctl(int epoll, int operation, int file, epoll_event* event) noexcept
    {
        static const auto real = next<int (*)(int, int, int, epoll_event*)>("epoll_ctl");
        return fails("epoll_ctl") ? -1 : real(epoll, operation, file, event);
    }

    int epoll_wait(int epoll, epoll_event* events, int most, int milliseconds)
    {
        static const auto real = next<int (*)(int, epoll_event*, int, int)>("epoll_wait");
        return fails("epoll_wait") ? -1 : real(epoll, events, most, milliseconds);
    }

    int epoll_pwait2(int epoll, epoll_event* events, int most, const timespec* time,
                     const sigset_t* mask)
    {
        static const auto real =
            next<int (*)(int, epoll_event*, int, const timespec*, const sigset_t*)>("epoll_pwait2");
        return fails("epoll_wait") ? -1 : real(epoll, events, most, time, mask);
    }

    int timerfd_create(int clock, int flags) noexcept
    {
        static const auto real = next<int (*)(int, int)>("timerfd_create");
        return fails("timerfd_create") ? -1 : real(clock, flags);
    }

    int sigaction(int number, const struct sigaction* action, struct sigaction* former) noexcept
    {
        static const auto real =
            next<int (*)(int, const struct sigaction*, struct sigaction*)>("sigaction");
        return fails("sigaction") ? -1 : real(number, action, former);
    }

#if !defined(SANITIZED_PROGRAM)
    void* __libc_malloc(std::size_t size) noexcept;
    void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
    void* __libc_realloc(void* memory, std::size_t size) noexcept;

    void* malloc(std::size_t size) noexcept
    {
        return fails("malloc") ? nullptr : __libc_malloc(size);
    }

    void* calloc(std::size_t count, std::size_t size) noexcept
    {
        return fails("malloc") ? nullptr : __libc_calloc(count, size);
    }

    void* realloc(void* memory, std::size_t size) noexcept
    {
        return fails("malloc") ? nullptr : __libc_realloc(memory, size);
    }
#endif
}
