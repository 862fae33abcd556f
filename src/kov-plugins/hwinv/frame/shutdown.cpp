/*
 * Shutdown: why a handler may take mutexes here.
 *
 * The handler takes four mutexes, one at a time, and wakes their waiters. That is safe only because
 * it never interrupts code that holds one of them: SIGINT is blocked in the five threads, so main
 * alone is interrupted, and main blocks it wherever it touches one (requestRecovery) or where an
 * interrupt would do other harm (synchronous bus calls, thread starts, the way out). The other
 * threads hold these mutexes only for short sections that never wait for main, so the handler waits
 * for them for moments at most. That rules out the heap as well: the interrupted main may hold the
 * lock of any arena (it trims them all), so a thread that allocated with one of these mutexes held
 * would wait for main, and the handler on main for that thread. The handler itself allocates
 * nothing, and each of its lines is one write.
 *
 * A second SIGINT sets and notifies everything again, which changes nothing.
 *
 * The threads are detached and outlive main. A return from main would destroy the objects that
 * they wait on while they wait, and exit would hang or crash. So the last thing that exit gets to
 * do is to end the process: the handler registered here runs before the destructors of all statics,
 * because it is registered after they were built.
 */
#include "frame/shutdown.hpp"

#include "base/log.hpp"
#include "base/recovery_request.hpp"
#include "intake/message_queue.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

std::atomic<bool> stopRequested = false;

namespace
{

void stopWorker(MessageQueue& queue)
{
    {
        MutexLock lock(queue.mutex);
        queue.stop = true;
    }
    queue.condition.notifyAll();
}

void stopRecovery()
{
    {
        MutexLock lock(recoveryMutex);
        recoveryStop = true;
    }
    recoveryCondition.notifyOne();
}

void stopFallback()
{
    {
        MutexLock lock(fallbackMutex);
        fallbackStop = true;
    }
    fallbackCondition.notifyOne();
}

} // namespace

void signal_handler(int /*signal*/)
{
    const int savedErrno = errno;
    UTIL_LOG(level::error, "signal_handler invoked!\n");
    stopRequested = true;
    cleanUp();
    errno = savedErrno;
}

void cleanUp()
{
    stopWorker(kovdMessageQueue);
    UTIL_LOG(level::error, "cleaning up kovd queue");
    stopWorker(smbiosMessageQueue);
    UTIL_LOG(level::error, "cleaning up smbios queue");
    stopRecovery();
    UTIL_LOG(level::error, "cleaning up recovery thread");
    stopFallback();
    UTIL_LOG(level::error, "cleaning up fallback resync thread");
}

void endProcessWithMain()
{
    std::atexit(
        []
        {
            std::fflush(nullptr);
            _exit(EXIT_SUCCESS);
        });
}
