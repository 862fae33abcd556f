/*
 * Hop: the road that the daemon's design demands, and nothing on it.
 *
 * A signal is received by the subscription thread on a connection of its own, goes through a queue
 * to a worker, from there through a list with a pipe that wakes the main loop, and becomes a
 * synchronous Set on the main thread. At start-up main reads what both services have on a third
 * connection, keeps nothing, and hands as many Sets to its loop as it was told. There is one worker
 * for each service, as in the daemon; that of the SMBIOS service has nothing to do.
 *
 * What the daemon takes longer than this is its own work: reading, keeping, matching, logging.
 */
#include "least.hpp"

#include <systemd/sd-event.h>

#include <cerrno>
#include <condition_variable>
#include <fcntl.h>
#include <list>
#include <mutex>
#include <sys/epoll.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace
{

using Paths = std::list<std::string>;

/** From one thread to another; any thread. */
class Queue
{
  public:
    /** True when it was empty before. */
    bool push(std::string path)
    {
        Paths node;
        node.push_back(std::move(path));
        const std::lock_guard lock(mutex_);
        const bool wasEmpty = paths_.empty();
        paths_.splice(paths_.end(), node);
        filled_.notify_one();
        return wasEmpty;
    }

    /** Waits for one. */
    Paths await()
    {
        std::unique_lock lock(mutex_);
        filled_.wait(lock, [&] { return !paths_.empty(); });
        Paths next;
        next.splice(next.end(), paths_, paths_.begin());
        return next;
    }

    Paths takeAll()
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(paths_, {});
    }

  private:
    std::mutex mutex_;
    std::condition_variable filled_;
    Paths paths_;
};

Queue announced;
Queue idle;
Queue toBeSet;
int wakeUp[2];

void handToMain(std::string path)
{
    if (toBeSet.push(std::move(path)))
    {
        const char token = 0;
        [[maybe_unused]] const ssize_t written = write(wakeUp[1], &token, 1);
    }
}

int onAdded(sd_bus_message* signal, void* /*nothing*/, sd_bus_error* /*error*/)
{
    announced.push(least::announcedPath(signal));
    return 0;
}

int onOther(sd_bus_message* /*signal*/, void* /*nothing*/, sd_bus_error* /*error*/)
{
    return 0;
}

void subscribe()
{
    const least::Bus bus = least::openBus();
    sd_event* loop = nullptr;
    least::require(sd_event_new(&loop), "make a loop");
    least::require(sd_bus_attach_event(bus.get(), loop, SD_EVENT_PRIORITY_NORMAL), "attach");
    bool first = true;
    for (const char* rule : least::rules())
    {
        least::require(
            sd_bus_add_match(bus.get(), nullptr, rule, first ? onAdded : onOther, nullptr),
            "add a match");
        first = false;
    }
    least::require(sd_event_loop(loop), "run a loop");
}

void work(Queue& queue)
{
    while (true)
    {
        handToMain(std::move(queue.await().front()));
    }
}

int onWakeUp(sd_event_source* /*source*/, int pipe, std::uint32_t /*events*/, void* userdata)
{
    char tokens[64];
    [[maybe_unused]] const ssize_t drained = read(pipe, tokens, sizeof tokens);
    auto* const bus = static_cast<sd_bus*>(userdata);
    for (const std::string& path : toBeSet.takeAll())
    {
        const least::Message call = least::associationCall(bus, path.c_str());
        sd_bus_message* reply = nullptr;
        least::require(sd_bus_call(bus, call.get(), 0, nullptr, &reply), "send a Set");
        sd_bus_message_unref(reply);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const unsigned sets = least::startUpSets(argc, argv);
    const least::Bus bus = least::openBus();
    least::takeName(bus.get());
    sd_event* loop = nullptr;
    least::require(sd_event_default(&loop), "make a loop");
    least::require(sd_bus_attach_event(bus.get(), loop, SD_EVENT_PRIORITY_NORMAL), "attach");
    least::require(pipe2(wakeUp, O_NONBLOCK | O_CLOEXEC) < 0 ? -errno : 0, "make a pipe");
    least::require(sd_event_add_io(loop, nullptr, wakeUp[0], EPOLLIN, onWakeUp, bus.get()),
                   "watch the pipe");

    std::thread(work, std::ref(idle)).detach();
    std::thread(work, std::ref(announced)).detach();
    std::thread(subscribe).detach();
    {
        const least::Bus discovery = least::openBus();
        least::readInventories(discovery.get());
    }
    for (unsigned i = 0; i < sets; ++i)
    {
        handToMain(least::anyObject);
    }
    return least::require(sd_event_loop(loop), "run the loop");
}
