/*
 * Idle heap: one timer for all threads.
 *
 *   any thread, note          starts the timer, unless a round is due already
 *   the loop, post source     follows the first event of any kind; a note like any other, then off
 *   the loop, timer           gives memory back and renews the post source: the round is over
 *
 * The timer belongs to the kernel and starts without waking anybody, so an event that comes alone
 * costs the loop one wake-up. The post source must not follow the timer's own event, or the two
 * would keep the loop awake for ever.
 *
 * A round takes the note back before it gives memory back, so what is freed later is noted anew. A
 * round that comes while somebody still works gives back less, and the end of that work is the next
 * note.
 *
 * Nobody asks first whether there is enough to give back. The library counts its free blocks one by
 * one, which takes ten times as long as giving them back; and what is resident does not change when
 * a block is freed, so it cannot tell either.
 *
 * The SIGINT handler may interrupt a round. It allocates nothing, and no other thread allocates
 * with a mutex held that the handler takes (frame/shutdown.cpp).
 */
#include "bus/idle_heap.hpp"

#include "base/heap.hpp"
#include "bus/connection.hpp"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <memory>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace
{

using Source = std::unique_ptr<sd_event_source, decltype(&sd_event_source_unref)>;

constexpr itimerspec once{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_nsec = 300'000'000}};

std::atomic<bool> roundIsDue = false;
std::atomic<int> timer = -1; // a descriptor, open for the life of the process

int onOwnWork(sd_event_source* /*post*/, void* /*nothing*/)
{
    noteHeapUse();
    return 0;
}

int onRound(sd_event_source* /*io*/, int file, std::uint32_t /*events*/, void* post)
{
    std::uint64_t expirations = 0;
    const int error = read(file, &expirations, sizeof expirations) < 0 ? errno : 0;
    roundIsDue = false;
    giveBackFreeHeap();
    // Off and on again: a source that is switched on is no longer marked, not even by this event.
    auto* const ownWork = static_cast<sd_event_source*>(post);
    sd_event_source_set_enabled(ownWork, SD_EVENT_OFF);
    sd_event_source_set_enabled(ownWork, SD_EVENT_ONESHOT);
    return error != EAGAIN && error != EINTR ? -error : 0;
}

void openTimer()
{
    if (timer < 0)
    {
        timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
        checkBusResult(timer < 0 ? -errno : 0, "timerfd_create");
    }
}

Source addOwnWork(sd_event* loop)
{
    sd_event_source* post = nullptr;
    checkBusResult(sd_event_add_post(loop, &post, onOwnWork, nullptr), "sd_event_add_post");
    Source source(post, sd_event_source_unref);
    checkBusResult(sd_event_source_set_enabled(post, SD_EVENT_ONESHOT),
                   "sd_event_source_set_enabled");
    return source;
}

Source addRounds(sd_event* loop, sd_event_source* ownWork)
{
    openTimer();
    sd_event_source* io = nullptr;
    checkBusResult(sd_event_add_io(loop, &io, timer, EPOLLIN, onRound, ownWork), "sd_event_add_io");
    return {io, sd_event_source_unref};
}

} // namespace

void giveBackHeapWhenIdle(sd_event* loop)
{
    const Source ownWork = addOwnWork(loop);
    const Source rounds = addRounds(loop, ownWork.get());
    for (const Source* source : {&ownWork, &rounds})
    {
        checkBusResult(sd_event_source_set_floating(source->get(), 1),
                       "sd_event_source_set_floating");
    }
    roundIsDue = false;
}

void noteHeapUse() noexcept
{
    if (!roundIsDue.load() && !roundIsDue.exchange(true))
    {
        timerfd_settime(timer, 0, &once, nullptr); // without a loop: no file
    }
}
