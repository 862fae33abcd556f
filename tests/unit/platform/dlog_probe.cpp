/*
 * A program that logs, for tests of what then arrives on its standard error.
 *
 * Its first argument says what it does; each deed is described at its function. Answers go to
 * standard output.
 */
#include "dlog/dlog.hpp"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <signal.h>
#include <string>
#include <string_view>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;

constexpr int module = 357;

// A static of the program may log while it is built.
struct EarlyLine
{
    EarlyLine()
    {
        if (std::getenv("PROBE_EARLY") != nullptr)
        {
            dlog_printf(dlog::level::trace, module, "early");
        }
    }
} earlyLine;

// Logs one line at each level and prints the threshold and each result.
void levels(const Words&)
{
    std::cout << "threshold " << dlog_threshold;
    for (const int level : {1, 4, 5, 9})
    {
        const int result = dlog_printf(level, module, "level");
        std::cout << ' ' << (result > 0 && dlog_enabled(level)) << result;
    }
    std::cout << '\n';
}

// Logs each word as a value.
void values(const Words& words)
{
    for (const std::string& word : words)
    {
        dlog_printf(1, module, "%s", word.c_str());
    }
}

void newlines(const Words&)
{
    dlog_printf(1, module, "none");
    dlog_printf(1, module, "one\n");
    dlog_printf(1, module, "two\n\n");
    dlog_printf(1, module, "of a value: %s", "x\n");
    dlog_printf(1, module, "of both: %s\n", "x\n");
    dlog_printf(1, module, "nul%c.", 0);
}

// Logs a line of that many bytes in all, then a short one; prints the first one's result.
void longLine(const Words& words)
{
    const std::size_t size = std::stoul(words.at(0));
    const std::string text(size - std::string_view{"1 357 .\n"}.size(), 'x');
    std::cout << dlog_printf(1, module, "%s.", text.c_str()) << std::endl;
    dlog_printf(1, module, "after");
}

// The forms of a line with and without a site, at every level.
void sites(const Words&)
{
    for (const int level : {1, 4, 5, 9})
    {
        dlog_printf(level, module, "%s.%d.%s: at level %d\n", "base", 10 + level, "function",
                    level);
    }
    dlog_printf(1, 300, "no site\n");
    dlog_printf(1, 300, "%s.%d.%s: %s", "base", 7, "function", "a\nb");
}

// Prints whether errno outlives lines that are filtered, written and lost.
void keepsErrno(const Words&)
{
    errno = ENOTTY;
    dlog_printf(9, module, "filtered");
    const bool filtered = errno == ENOTTY;
    dlog_printf(1, module, "written");
    const bool written = errno == ENOTTY;
    dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    errno = ENOTTY;
    const int result = dlog_printf(1, module, "lost");
    std::cout << filtered << written << (errno == ENOTTY) << ' ' << result << '\n';
}

std::atomic<int> handled{0};

void logFromHandler(int)
{
    dlog_printf(1, module, "%s.%d.%s: handler", "base", 1, "logFromHandler");
    handled++;
}

// Logs until a handler that logs as well has interrupted it often; prints both counts.
void signals(const Words&)
{
    struct sigaction action = {};
    action.sa_handler = logFromHandler;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 100}, {0, 100}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const std::string tail(500, 'x');
    long logged = 0;
    while (handled < 300)
    {
        dlog_printf(1, module, "main %ld %s", logged++, tail.c_str());
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    std::cout << logged << ' ' << handled << '\n';
}

void logMany(int thread, int count)
{
    for (int i = 0; i < count; i++)
    {
        const std::string tail(static_cast<std::size_t>(i % 3000), static_cast<char>('a' + thread));
        dlog_printf(1, module, "thread %d %d %s.", thread, i, tail.c_str());
    }
}

// Four threads log lines of many lengths.
void threads(const Words& words)
{
    std::vector<std::jthread> running;
    for (int thread = 0; thread < 4; thread++)
    {
        running.emplace_back(logMany, thread, std::stoi(words.at(0)));
    }
}

// What a forger would have a program log: wherever it is cut, it looks like the start of a record.
std::string forgery(std::size_t size)
{
    std::string text;
    while (text.size() < size)
    {
        text += "1 1 ";
    }
    return text;
}

// Eight threads each log a long line and twenty short ones, so often. Prints how many were lost.
void storm(const Words& words)
{
    const int rounds = std::stoi(words.at(0));
    const std::string text = forgery(std::stoul(words.at(1)));
    std::atomic<int> lost{0};
    {
        std::vector<std::jthread> running;
        for (int thread = 0; thread < 8; thread++)
        {
            running.emplace_back(
                [&, thread]
                {
                    for (int i = 0; i < rounds; i++)
                    {
                        lost +=
                            dlog_printf(1, module, "long %d %d %s.", thread, i, text.c_str()) < 0;
                        for (int j = 0; j < 20; j++)
                        {
                            lost += dlog_printf(1, module, "short %d %d %d", thread, i, j) < 0;
                        }
                    }
                });
        }
    }
    std::cout << lost << '\n';
}

std::string line()
{
    std::string text;
    std::getline(std::cin, text);
    return text;
}

long millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// Logs to a reader that takes nothing, until a line is lost, and a thousand lines more. Prints how
// long the lost line took, how long the thousand, and how many of all were lost. Then logs one line
// each time it is told to.
void stall(const Words& words)
{
    const std::string text(std::stoul(words.at(0)), 'x');
    Clock::time_point start;
    int result = 0;
    do
    {
        start = Clock::now();
        result = dlog_printf(1, module, "%s", text.c_str());
    } while (result > 0);
    std::cout << millisecondsSince(start) << ' ';

    start = Clock::now();
    int lost = 1;
    for (int i = 0; i < 1000; i++)
    {
        lost += dlog_printf(1, module, "%s", text.c_str()) < 0;
    }
    std::cout << millisecondsSince(start) << ' ' << lost << std::endl;

    for (std::string told = line(); !told.empty(); told = line())
    {
        std::cout << dlog_printf(1, module, "%s", told.c_str()) << std::endl;
    }
}

const std::map<std::string, void (*)(const Words&)> deeds = {
    {"levels", levels}, {"values", values},    {"newlines", newlines}, {"long", longLine},
    {"sites", sites},   {"errno", keepsErrno}, {"signals", signals},   {"threads", threads},
    {"stall", stall},   {"storm", storm},
};

} // namespace

int main(int argc, char** argv)
{
    const Words words(argv + 1, argv + argc);
    deeds.at(words.at(0))(Words(words.begin() + 1, words.end()));
}
