/*
 * How a unit of work reaches the loop.
 *
 * Units wait in a list; the pipe only wakes. A pipe that carried the units themselves, or one token
 * for each, would be full after 65,536 of them, and a producer that then waits for the loop, on the
 * loop's own thread before the loop has started, waits for ever. So the pipe is non-blocking and
 * holds one byte as long as the list is not empty:
 *
 *   producer, with the mutex held            loop's thread, with the mutex held
 *     list empty? write one byte               take the oldest unit
 *     append the unit                          list empty? read the byte
 *                                            then, the mutex free, run the unit
 *
 * Both sides change list and byte under the mutex, so a wake-up cannot be missed, and none comes
 * for an empty list. A pipe that refuses the byte with EAGAIN is full, which wakes the loop as
 * well. The loop watches the level of the pipe, not its changes: a byte that stays there wakes it
 * again, and a loop that is registered later finds the byte of what is queued already.
 *
 * One unit runs for each turn that the loop gives to the pipe. A unit may block for as long as a
 * method call may take, and until it returns the loop can serve nobody else. What has become ready
 * in the meantime must not wait for a second unit. So the pipe has a priority below the normal one,
 * and its turn comes when nobody else is ready: a message that a bus connection has read already,
 * while it waited for another one, counts as ready like one that is still in the socket. A peer
 * that floods us with messages would then stop the units altogether; after a number of iterations
 * without a unit, whether one waits or not, the next one goes at the normal priority, where it has
 * waited longest.
 *
 * A unit that fails costs only itself. Its result is not looked at, for it has said itself what
 * went wrong; what it throws becomes one line here.
 *
 * A unit's data is freed when the mutex is free again, in every case: its destructor is foreign
 * code. For the same reason a unit's list node is made before the mutex is taken. With the mutex
 * held nothing is allocated and nothing can throw, and it is never held for longer than one read or
 * write of the pipe.
 *
 * Signals: a handler must not queue units, for it could interrupt the holder of the mutex. The
 * holder waits for nothing that a handler has.
 *
 * Fork: the mutex is held across it, so that the child finds the list whole. The child has no loop;
 * its copy of the channel, units included, is freed at once, and the data's destructors run there
 * too. A unit may fork, for the mutex is free while it runs; in the child it returns into a loop
 * that refuses to go on. The handlers are registered once and stay registered in the child, where a
 * second set would lock the mutex twice. Not provided for: a fork while another thread creates the
 * channel.
 *
 * The channel is never destroyed at exit. Other threads outlive main and may still queue units;
 * those do not run.
 */
#include "infrautils/oneway_channel.hpp"

#include "dlog/dlog.hpp"

#include <systemd/sd-event.h>

#include <cerrno>
#include <cstdint>
#include <exception>
#include <fcntl.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>

namespace infrautils
{
namespace
{

constexpr int module = 300;
constexpr const char* file = "oneway_channel";

// How many messages, say, of a connection on the same loop may go before the next unit. So many
// hardly ever wait at once; a peer that sends more than that gets them handled more slowly.
constexpr int iterationsForOthers = 16;

constexpr std::int64_t behindOthers = SD_EVENT_PRIORITY_NORMAL + 1;

} // namespace

std::mutex oneWayChannelOperationMutex;
std::atomic<OneWayChannel*> OneWayChannel::instance{nullptr};
std::mutex OneWayChannel::initCriticalSection;

OneWayChannel& OneWayChannel::getInstance()
{
    OneWayChannel* channel = instance.load();
    if (channel != nullptr)
    {
        return *channel;
    }
    const std::lock_guard lock{initCriticalSection};
    channel = instance.load();
    if (channel == nullptr)
    {
        channel = new OneWayChannel;
        registerForkHandlers();
        instance.store(channel);
    }
    return *channel;
}

OneWayChannel::OneWayChannel()
{
    int ends[2];
    const int result = pipe2(ends, O_NONBLOCK | O_CLOEXEC);
    if (result != 0)
    {
        dlog_printf(dlog::level::error, module, "%s.%d.%s: Pipe creation failed : %d", file,
                    __LINE__, __func__, result);
        throw std::runtime_error("Error in pipe creation OneWayChannel");
    }
    readEnd_ = ends[0];
    writeEnd_ = ends[1];
}

// Only ever in the child of a fork.
OneWayChannel::~OneWayChannel()
{
    dlog_printf(
        dlog::level::warning, module,
        "%s.%d.%s: Destructor. fork happened? (NOT Recommended to fork with multiple threads)",
        file, __LINE__, __func__);
    source_.reset();
    callback_ = nullptr;
    pending_.clear();
    close(readEnd_);
    close(writeEnd_);
}

// REQUIRES: initCriticalSection held.
void OneWayChannel::registerForkHandlers()
{
    static bool registered = false;
    if (!registered)
    {
        // It fails only without memory, and a process that never forks does not need them.
        registered = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild) == 0;
    }
}

void OneWayChannel::beforeFork()
{
    oneWayChannelOperationMutex.lock();
}

void OneWayChannel::afterForkInParent()
{
    oneWayChannelOperationMutex.unlock();
}

void OneWayChannel::afterForkInChild()
{
    oneWayChannelOperationMutex.unlock();
    delete instance.load();
    instance.store(nullptr);
}

int OneWayChannel::RegisterEventLoop(sdeventplus::Event& loop, void* context, Callback callback)
{
    std::unique_ptr<sdeventplus::source::IO> source;
    {
        const std::lock_guard lock{oneWayChannelOperationMutex};
        source_.swap(source);
    }
    source.reset(); // A loop does not take the same descriptor twice.
    try
    {
        source = std::make_unique<sdeventplus::source::IO>(
            loop, readEnd_, EPOLLIN,
            [this](sdeventplus::source::IO&, int, std::uint32_t) { runOldest(); });
    }
    catch (const std::exception&)
    {
        return -1;
    }
    if (sd_event_source_set_prepare(source->get(), beforeIteration) < 0)
    {
        return -1;
    }
    stepBack(source->get());
    // The earlier callback, now in the parameter, goes when the mutex is free again.
    const std::lock_guard lock{oneWayChannelOperationMutex};
    source_.swap(source);
    callback_.swap(callback);
    context_ = context;
    return 0;
}

int executeUnit(UnitFunction function, OwnedData data, unsigned long size, int /*flag*/)
{
    try
    {
        OneWayChannel::Units unit;
        unit.push_back({function, std::move(data), size});
        const std::lock_guard lock{oneWayChannelOperationMutex};
        OneWayChannel* const channel = OneWayChannel::instance.load();
        return channel != nullptr ? channel->enqueue(unit) : -1;
    }
    catch (const std::exception&)
    {
        return -1;
    }
}

int OneWayChannel::enqueue(Units& unit)
{
    const bool hasFunction = unit.front().function != nullptr || callback_ != nullptr;
    if (source_ == nullptr || !hasFunction)
    {
        return -1;
    }
    if (pending_.empty() && !wakeLoop())
    {
        return -1;
    }
    pending_.splice(pending_.end(), unit);
    return 0;
}

bool OneWayChannel::wakeLoop() const
{
    ssize_t written;
    do
    {
        written = write(writeEnd_, "", 1);
    } while (written < 0 && errno == EINTR);
    return written == 1 || errno == EAGAIN;
}

// Behind others until they have had their iterations.
void OneWayChannel::stepBack(sd_event_source* source)
{
    iterationsWithoutUnit_ = 0;
    sd_event_source_set_priority(source, behindOthers);
}

// The loop calls this in each iteration, before it looks for what is ready.
int OneWayChannel::beforeIteration(sd_event_source* source, void* /*userdata*/)
{
    OneWayChannel* const channel = instance.load();
    if (channel == nullptr || channel->iterationsWithoutUnit_ > iterationsForOthers)
    {
        return 0;
    }
    if (channel->iterationsWithoutUnit_ == iterationsForOthers)
    {
        sd_event_source_set_priority(source, SD_EVENT_PRIORITY_NORMAL);
    }
    ++channel->iterationsWithoutUnit_;
    return 0;
}

void OneWayChannel::runOldest()
{
    stepBack(source_->get());
    Units unit;
    {
        const std::lock_guard lock{oneWayChannelOperationMutex};
        takeOldest(unit);
    }
    if (!unit.empty())
    {
        runUnit(unit.front()); // which may fork: the child comes back without a channel
    }
}

void OneWayChannel::takeOldest(Units& unit)
{
    if (!pending_.empty())
    {
        unit.splice(unit.end(), pending_, pending_.begin());
    }
    if (pending_.empty())
    {
        emptyPipe();
    }
}

void OneWayChannel::emptyPipe() const
{
    // One read takes all there is: our byte. Bytes of a stranger would only cost further turns.
    char bytes[64];
    ssize_t got;
    do
    {
        got = read(readEnd_, bytes, sizeof bytes);
    } while (got < 0 && errno == EINTR);
}

void OneWayChannel::runUnit(const Unit& unit) noexcept
{
    try
    {
        if (unit.function != nullptr)
        {
            unit.function(context_, unit.data.get(), unit.size);
        }
        else
        {
            callback_(context_, unit.data.get(), unit.size);
        }
    }
    catch (const std::exception& e)
    {
        dlog_printf(dlog::level::error, module, "%s.%d.%s: exception in a unit of work: %s", file,
                    __LINE__, __func__, e.what());
    }
    catch (...)
    {
        dlog_printf(dlog::level::error, module, "%s.%d.%s: unknown exception in a unit of work",
                    file, __LINE__, __func__);
    }
}

} // namespace infrautils
