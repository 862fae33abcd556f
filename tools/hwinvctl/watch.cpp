// The verb "watch": a line for each association that changes, until somebody ends it.
//
// SIGINT and SIGTERM are blocked but in the wait itself, so none is lost between a look at the flag
// and the wait. A reader that goes away, as in "hwinvctl watch | head", shows as an error on
// standard output, and that ends the watch as well as a signal does.

#include "inspect/machine.hpp"
#include "inspect/watcher.hpp"
#include "inspect/words.hpp"
#include "program/program.hpp"
#include "sim/error.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace hwinvctl
{
namespace
{

volatile std::sig_atomic_t ended = 0;

void onEnd(int /*signal*/)
{
    ended = 1;
}

/** Blocks the signals that end the watch; the mask for the wait lets them in. */
sigset_t prepareSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = onEnd;
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    for (const int signal : {SIGINT, SIGTERM})
    {
        sigaction(signal, &action, nullptr);
        sigaddset(&blocked, signal);
    }
    std::signal(SIGPIPE, SIG_IGN);
    sigprocmask(SIG_BLOCK, &blocked, &before);
    sigdelset(&before, SIGINT);
    sigdelset(&before, SIGTERM);
    return before;
}

/** Date and time of day, as in 2026-11-21T17:08:09.123. */
std::string now()
{
    using namespace std::chrono;
    const auto time = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(time);
    const auto rest = duration_cast<milliseconds>(time.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    char whole[40];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    std::snprintf(whole, sizeof whole, "%s.%03d", text, static_cast<int>(rest));
    return whole;
}

void print(const Common& common, const inspect::AssociationChange& change)
{
    if (wantsJson(common))
    {
        const sim::Json json{{"time", now()},
                             {"path", change.path},
                             {"before", inspect::tuplesOf(change.before)},
                             {"after", inspect::tuplesOf(change.after)}};
        std::cout << json.dump() << std::endl; // one object a line, whatever the form
        return;
    }
    std::cout << now().substr(std::string_view("2026-11-21T").size()) << ' '
              << inspect::shortPath(change.path) << ": "
              << inspect::partnerText(change.before, "nothing") << " -> "
              << inspect::partnerText(change.after, "nothing") << std::endl;
}

/** Works off what has come; false when the bus is gone. */
bool process(sd_bus* bus)
{
    int result = 1;
    while (result > 0)
    {
        result = sd_bus_process(bus, nullptr);
    }
    return result >= 0 && sd_bus_is_open(bus) > 0;
}

timespec timeLeft(sd_bus* bus)
{
    std::uint64_t until = UINT64_MAX;
    sd_bus_get_timeout(bus, &until);
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const auto nowMicroseconds = static_cast<std::uint64_t>(time.tv_sec) * 1'000'000 +
                                 static_cast<std::uint64_t>(time.tv_nsec) / 1'000;
    constexpr std::uint64_t longest = 3'600'000'000;
    const std::uint64_t left =
        until <= nowMicroseconds ? 0 : std::min(longest, until - nowMicroseconds);
    return {static_cast<std::time_t>(left / 1'000'000),
            static_cast<long>(left % 1'000'000 * 1'000)};
}

/** Waits for the bus, a signal, or the end of the reader; false when nobody reads any more. */
bool wait(sd_bus* bus, const sigset_t& mask)
{
    const int wanted = sd_bus_get_events(bus);
    pollfd waited[] = {{sd_bus_get_fd(bus), static_cast<short>(wanted < 0 ? 0 : wanted), 0},
                       {STDOUT_FILENO, 0, 0}};
    const timespec left = timeLeft(bus);
    ::ppoll(waited, 2, &left, &mask);
    return (waited[1].revents & (POLLERR | POLLNVAL)) == 0;
}

} // namespace

int watch(const Common& common)
{
    if (!common.from.empty())
    {
        throw sim::UsageError("a capture does not change: watch looks at a bus");
    }
    const sigset_t mask = prepareSignals();
    const sim::Connection bus = openBus(common);
    const inspect::AssociationWatcher watcher(
        bus.get(), [&](const inspect::AssociationChange& change) { print(common, change); });
    if (!wantsJson(common))
    {
        std::cout << "Watching " << watcher.objects() << " platform objects; Ctrl-C ends it."
                  << std::endl;
    }
    while (ended == 0 && std::cout)
    {
        if (!process(bus.get()))
        {
            std::cerr << "hwinvctl: the bus has gone\n";
            return program::failed;
        }
        if (ended == 0 && !wait(bus.get(), mask))
        {
            break;
        }
    }
    std::cout.clear(); // that nobody reads any more is no failure here
    return program::done;
}

} // namespace hwinvctl
