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

Racers::Racers(std::size_t works)
{
    for (std::size_t number = 1; number < works; ++number)
    {
        threads_.emplace_back([this, number] { race(number); });
    }
}

Racers::~Racers()
{
    works_ = nullptr;
    ++round_;
    for (std::thread& thread : threads_)
    {
        thread.join();
    }
}

void Racers::run(const std::vector<std::function<void()>>& works)
{
    works_ = &works;
    running_ = threads_.size();
    ++round_; // go
    works.front()();
    while (running_ != 0)
    {
        std::this_thread::yield();
    }
}

void Racers::race(std::size_t number)
{
    for (std::size_t round = 1;; ++round)
    {
        while (round_ != round)
        {
            std::this_thread::yield();
        }
        if (works_ == nullptr)
        {
            return;
        }
        if (number < works_->size())
        {
            (*works_)[number]();
        }
        --running_;
    }
}
