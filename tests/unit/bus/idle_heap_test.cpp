/* When memory is given back, and that nothing wakes a loop that is idle. */
#include "base/heap.hpp"
#include "bus/idle_heap.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace
{

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

std::atomic<int> rounds = 0;

} // namespace

/* In place of base/heap: counts. */
void limitFreeHeap() {}

void giveBackFreeHeap()
{
    ++rounds;
}

namespace
{

class giveBackHeapWhenIdle : public testing::Test
{
  protected:
    giveBackHeapWhenIdle()
    {
        rounds = 0;
        sd_event* loop = nullptr;
        EXPECT_GE(sd_event_new(&loop), 0);
        loop_.reset(loop);
        ::giveBackHeapWhenIdle(loop);
    }

    ~giveBackHeapWhenIdle() override
    {
        close(work_);
    }

    /** The loop gets work of its own, which another call of dispatch() takes away. */
    void addWork()
    {
        EXPECT_GE(sd_event_add_io(loop_.get(), nullptr, work_, EPOLLIN, onWork, nullptr), 0);
        eventfd_write(work_, 1);
    }

    /** Lets the loop dispatch what comes within the time; how many events that were. */
    int dispatch(std::chrono::microseconds within)
    {
        int events = 0;
        const auto deadline = Clock::now() + within;
        auto left = within;
        while (left > 0us &&
               sd_event_run(loop_.get(), static_cast<std::uint64_t>(left.count())) > 0)
        {
            ++events;
            left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now());
        }
        return events;
    }

    /** Runs the loop until so many rounds have been; how long it took. */
    std::chrono::milliseconds awaitRounds(int wanted)
    {
        const auto start = Clock::now();
        while (rounds < wanted && Clock::now() < start + 20s)
        {
            sd_event_run(loop_.get(), 1'000'000);
        }
        EXPECT_EQ(rounds, wanted);
        return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
    }

  private:
    static int onWork(sd_event_source* /*source*/, int file, std::uint32_t /*events*/, void*)
    {
        eventfd_t value = 0;
        return eventfd_read(file, &value);
    }

    std::unique_ptr<sd_event, decltype(&sd_event_unref)> loop_{nullptr, sd_event_unref};
    int work_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

/** Longer than two rounds. */
constexpr auto idle = 700ms;

TEST_F(giveBackHeapWhenIdle, leavesALoopWithoutWorkAsleep)
{
    EXPECT_EQ(dispatch(idle), 0);
    EXPECT_EQ(rounds, 0);
}

TEST_F(giveBackHeapWhenIdle, givesBackOnceAfterANoteAndSleepsAgain)
{
    noteHeapUse();
    EXPECT_GE(awaitRounds(1), 290ms);
    EXPECT_EQ(dispatch(idle), 0);
    EXPECT_EQ(rounds, 1);
}

TEST_F(giveBackHeapWhenIdle, givesBackOnceForManyNotes)
{
    std::thread other(
        []
        {
            for (int i = 0; i < 1000; ++i)
            {
                noteHeapUse();
            }
        });
    other.join();
    noteHeapUse();
    awaitRounds(1);
    EXPECT_EQ(dispatch(idle), 0);
    EXPECT_EQ(rounds, 1);
}

TEST_F(giveBackHeapWhenIdle, givesBackAfterTheLoopsOwnWork)
{
    addWork();
    EXPECT_EQ(dispatch(100ms), 2); // the work and the note
    awaitRounds(1);
    EXPECT_EQ(dispatch(idle), 0);
    EXPECT_EQ(rounds, 1);
}

TEST_F(giveBackHeapWhenIdle, givesBackAgainAfterEachNote)
{
    for (int round = 1; round <= 3; ++round)
    {
        noteHeapUse();
        awaitRounds(round);
    }
    EXPECT_EQ(dispatch(idle), 0);
    EXPECT_EQ(rounds, 3);
}

TEST_F(giveBackHeapWhenIdle, wakesTheLoopThatCameLast)
{
    noteHeapUse();
    sd_event* loop = nullptr;
    ASSERT_GE(sd_event_new(&loop), 0);
    const std::unique_ptr<sd_event, decltype(&sd_event_unref)> next(loop, sd_event_unref);
    ::giveBackHeapWhenIdle(loop);
    noteHeapUse();
    const auto deadline = Clock::now() + 20s;
    while (rounds < 1 && Clock::now() < deadline)
    {
        sd_event_run(loop, 1'000'000);
    }
    EXPECT_EQ(rounds, 1);
}

} // namespace
