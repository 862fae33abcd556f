#include "doubles/run_together.hpp"

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
