/*
 * Shutdown: why a handler may take mutexes here.
 *
 * The handler takes four mutexes, one at a time, and wakes their waiters. That is safe only because
 * it never interrupts code that holds one of them: SIGINT is blocked in the five threads, so main
 * alone is interrupted, and main blocks it wherever it touches one (requestRecovery) or where an
 * interrupt would do other harm (synchronous bus calls, thread starts, the way out). The other
 * threads hold these mutexes only for short sections that never wait for main, so the handler waits
 * for them for moments at most. It allocates nothing, and each of its lines is one write.
 *
 * A second SIGINT sets and notifies everything again, which changes nothing.
 *
 * The threads are detached and outlive main. A return from main would destroy the objects that
 * they wait on while they wait, and exit would hang or crash. So the last thing that exit gets to
 * do is to end the process: the handler registered here runs before the destructors of all statics,
 * because it is registered after they were built.
 */
#include "shutdown.hpp"

#include "store/message_queue.hpp"
#include "store/recovery_request.hpp"
#include "trace.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

std::atomic<bool> stopRequested = false;

namespace
{

void set(bool& stop, Mutex& mutex) NO_THREAD_SAFETY_ANALYSIS
{
    MutexLock lock(mutex);
    stop = true;
}

} // namespace

void signal_handler(int /*signal*/)
{
    const int savedErrno = errno;
    UTIL_LOG(trace::error, "signal_handler invoked!\n");
    stopRequested = true;
    cleanUp();
    errno = savedErrno;
}

// Each flag is passed on by reference and written under its mutex, in set().
void cleanUp() NO_THREAD_SAFETY_ANALYSIS
{
    set(kovdMessageQueue.stop, kovdMessageQueue.mutex);
    kovdMessageQueue.condition.notifyAll();
    UTIL_LOG(trace::error, "cleaning up kovd queue");

    set(smbiosMessageQueue.stop, smbiosMessageQueue.mutex);
    smbiosMessageQueue.condition.notifyAll();
    UTIL_LOG(trace::error, "cleaning up smbios queue");

    set(recoveryStop, recoveryMutex);
    recoveryCondition.notifyOne();
    UTIL_LOG(trace::error, "cleaning up recovery thread");

    set(fallbackStop, fallbackMutex);
    fallbackCondition.notifyOne();
    UTIL_LOG(trace::error, "cleaning up fallback resync thread");
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
