/*
 * How a unit of work reaches the loop.
 *
 * Units wait in a list; the pipe only wakes. A pipe that carried the units themselves, or one token
 * for each, would be full after 65,536 of them, and a producer that then waits for the loop, on the
 * loop's own thread before the loop has started, waits for ever. So the pipe is non-blocking and
 * holds a byte or two:
 *
 *   producer, with the mutex held            loop's thread
 *     list empty? write one byte               pipe readable: read it empty
 *     append the unit                          with the mutex held: take the whole list
 *                                              run the units, the mutex free
 *
 * Nothing is missed. The loop empties the pipe before it takes the list: a unit queued in between
 * is taken along, with a byte left over that wakes the loop once for nothing; a unit queued
 * afterwards finds the list empty and writes its own byte. A pipe that refuses the byte with EAGAIN
 * is full of earlier ones, and one is enough. A unit that is queued by a running unit waits for the
 * next round, so the bus gets its turn in between; it gets none within a round, however long that
 * is.
 *
 * A unit that fails costs only itself. Its result is not looked at, for it has said itself what
 * went wrong; what it throws becomes one line here, because an exception that left the source's
 * callback would take the rest of the list with it.
 *
 * The data is freed outside the mutex in every case: its destructor is foreign code. For the same
 * reason a unit's list node is made before the mutex is taken; with it held, nothing is allocated
 * and nothing can throw, and it is never held for longer than one write to the pipe.
 *
 * Signals: a handler must not queue units, for it could interrupt the holder of the mutex. The
 * holder waits for nothing that a handler has.
 *
 * Fork: the mutex is held across it, so that the child finds the list whole. The child has no loop
 * thread; its copy of the channel, units included, is freed at once, and the data's destructors run
 * there too. The handlers are registered once and stay registered in the child, where a second set
 * would lock the mutex twice. Not provided for: a unit that forks (in the child it would return
 * into a channel that is gone) and a fork while another thread creates the channel.
 *
 * The channel is never destroyed at exit. Other threads outlive main and may still queue units;
 * those do not run.
 */
#include "infrautils/oneway_channel.hpp"

#include "dlog/dlog.hpp"

#include <cerrno>
#include <cstdint>
#include <exception>
#include <fcntl.h>
#include <malloc.h>
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

// malloc_trim walks the whole heap. A thousand units are about the first backlog that leaves more
// than a few hundred kilobytes behind.
constexpr std::size_t unitsWorthATrim = 1024;

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
        // It fails only without memory; a process that never forks is none the worse.
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
            [this](sdeventplus::source::IO&, int, std::uint32_t) { runPending(); });
    }
    catch (const std::exception&)
    {
        return -1;
    }
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

void OneWayChannel::runPending()
{
    drainPipe();
    Units units;
    {
        const std::lock_guard lock{oneWayChannelOperationMutex};
        units.swap(pending_);
    }
    while (!units.empty())
    {
        runUnit(units.front());
        units.pop_front();
        ranSinceTrim_++;
    }
    giveBackMemory();
}

void OneWayChannel::drainPipe() const
{
    char bytes[64];
    ssize_t got;
    do
    {
        got = read(readEnd_, bytes, sizeof bytes);
    } while (got > 0 || (got < 0 && errno == EINTR));
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

void OneWayChannel::giveBackMemory()
{
    if (ranSinceTrim_ < unitsWorthATrim)
    {
        return;
    }
    {
        const std::lock_guard lock{oneWayChannelOperationMutex};
        if (!pending_.empty())
        {
            return; // The next round gives back.
        }
    }
    malloc_trim(0);
    ranSinceTrim_ = 0;
}

} // namespace infrautils
