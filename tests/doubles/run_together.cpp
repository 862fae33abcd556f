#include "doubles/run_together.hpp"

#include <atomic>
#include <thread>

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
