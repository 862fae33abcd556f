#include "doubles/run_together.hpp"

#include <chrono>
#include <fstream>
#include <string>
#include <unistd.h>

namespace
{

/** Waits until the thread sleeps in the kernel, but not for long. */
bool awaitAsleep(pid_t thread)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds{20};
    while (std::chrono::steady_clock::now() < deadline)
    {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string stat;
        std::getline(file, stat);
        const std::size_t name = stat.rfind(')'); // the state stands behind the name
        if (name != std::string::npos && stat.compare(name, 3, ") S") == 0)
        {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

} // namespace

bool runInto(Mutex& mutex, const std::function<void()>& work,
             const std::function<void()>& meanwhile)
{
    std::atomic<pid_t> working = 0;
    std::thread thread;
    bool asleep = false;
    {
        MutexLock lock(mutex);
        thread = std::thread(
            [&]
            {
                working = gettid();
                work();
            });
        while (working == 0)
        {
            std::this_thread::yield();
        }
        asleep = awaitAsleep(working);
        meanwhile();
    }
    thread.join();
    return asleep;
}

void runTogether(const std::vector<std::function<void()>>& works)
{
    std::atomic<std::size_t> waiting = works.size();
    std::vector<std::thread> threads;
    for (const auto& work : works)
    {
        threads.emplace_back(
            [&waiting, &work]
            {
                --waiting;
                while (waiting != 0)
                {
                    std::this_thread::yield();
                }
                work();
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

Racers::Racers(std::size_t works) : works_(works)
{
    for (std::size_t number = 1; number < works; ++number)
    {
        threads_.emplace_back([this, number] { race(number); });
    }
}

Racers::~Racers()
{
    round_ = nullptr;
    meet();
    for (std::thread& thread : threads_)
    {
        thread.join();
    }
}

void Racers::run(const std::vector<std::function<void()>>& works)
{
    round_ = &works;
    meet(); // the others wake up
    meet(); // and now all are awake
    works.front()();
    meet();
}

void Racers::race(std::size_t number)
{
    for (meet(); round_ != nullptr; meet())
    {
        meet();
        (*round_)[number]();
        meet();
    }
}

/** Returns when all threads are here. Awake at first, for on an idle machine that is soon. */
void Racers::meet()
{
    constexpr int patience = 20'000;

    const std::size_t before = meetings_;
    if (++arrived_ == works_)
    {
        arrived_ = 0;
        {
            const std::lock_guard lock(mutex_);
            ++meetings_;
        }
        met_.notify_all();
        return;
    }
    for (int turn = 0; turn < patience; ++turn)
    {
        if (meetings_ != before)
        {
            return;
        }
    }
    std::unique_lock lock(mutex_);
    met_.wait(lock, [&] { return meetings_ != before; });
}
