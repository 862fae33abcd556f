/*
 * What the SIGINT handler takes of the process that it interrupts: no heap memory, no stream, no
 * errno. It runs with the real log, whose lines go to a file.
 *
 * Heap calls are counted by functions that stand in for the C library's. The sanitizers put their
 * own there, so nothing is counted under them. Streams cannot be counted from outside; instead
 * another thread holds the locks of all three, and a handler that used one would never return.
 */
#include "base/log.hpp"
#include "base/recovery_request.hpp"
#include "faults/counts.hpp"
#include "frame/shutdown.hpp"
#include "frame/startup.hpp"
#include "intake/message_queue.hpp"
#include "unit/platform/child.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <future>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace
{

thread_local bool counting = false;
thread_local long heapCalls = 0;

constexpr bool counted = !faults::threadSanitizer && !faults::addressSanitizer;

/** What a call of the heap costs: nothing but the count. */
void noteHeapCall()
{
    heapCalls += counting ? 1 : 0;
}

} // namespace

#if !FAULTS_SANITIZED
extern "C"
{
    void* __libc_malloc(std::size_t size);
    void* __libc_calloc(std::size_t count, std::size_t size);
    void* __libc_realloc(void* memory, std::size_t size);
    void __libc_free(void* memory);

    void* malloc(std::size_t size)
    {
        noteHeapCall();
        return __libc_malloc(size);
    }

    void* calloc(std::size_t count, std::size_t size)
    {
        noteHeapCall();
        return __libc_calloc(count, size);
    }

    void* realloc(void* memory, std::size_t size)
    {
        noteHeapCall();
        return __libc_realloc(memory, size);
    }

    void free(void* memory)
    {
        noteHeapCall();
        __libc_free(memory);
    }
}
#endif

namespace
{

/** Holds the locks of the standard streams in a thread of its own. */
class HeldStreams
{
  public:
    HeldStreams()
        : holder_(
              [this]
              {
                  for (FILE* stream : {stdin, stdout, stderr})
                  {
                      flockfile(stream);
                  }
                  held_.set_value();
                  release_.get_future().wait();
                  for (FILE* stream : {stdin, stdout, stderr})
                  {
                      funlockfile(stream);
                  }
              })
    {
        held_.get_future().wait();
    }

    ~HeldStreams()
    {
        release_.set_value();
        holder_.join();
    }

    HeldStreams(const HeldStreams&) = delete;
    HeldStreams& operator=(const HeldStreams&) = delete;

  private:
    std::promise<void> held_;
    std::promise<void> release_;
    std::thread holder_; // the last: it uses the others
};

/** Interrupts this thread so often; the number of heap calls meanwhile, and whether errno stayed.
 */
struct Taken
{
    long heapCalls = 0;
    bool errnoKept = true;
};

Taken interrupt(int times)
{
    Taken taken;
    heapCalls = 0;
    counting = true;
    for (int i = 0; i < times; ++i)
    {
        errno = ENOTTY;
        raise(SIGINT);
        taken.errnoKept = taken.errnoKept && errno == ENOTTY;
    }
    counting = false;
    taken.heapCalls = heapCalls;
    return taken;
}

TEST(HandlerFaults, C5TheHandlerTakesNoHeapNoStreamAndNoErrno)
{
    const int times = faults::rounds(1000, 60'000);
    ASSERT_TRUE(installSignalHandler(UTIL_SITE));
    const Descriptor file = makeFile();
    const Descriptor kept{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
    Taken taken;
    alarm(120); // a handler that waits for a stream would wait for ever
    {
        const HeldStreams held;
        dup2(file.get(), STDERR_FILENO);
        taken = interrupt(times);
        dup2(kept.get(), STDERR_FILENO);
    }
    alarm(0);

    EXPECT_TRUE(taken.errnoKept);
    EXPECT_EQ(taken.heapCalls, 0);
    EXPECT_EQ(linesOf(contentOf(file)).size(), 5U * static_cast<std::size_t>(times));
    EXPECT_TRUE(stopRequested);
}

TEST(HandlerFaults, C5TheHeapIsCounted)
{
    if (!counted)
    {
        GTEST_SKIP() << "a sanitizer has put its own heap in the place of the counting one";
    }
    heapCalls = 0;
    counting = true;
    const std::string text(1000, 'x');
    counting = false;
    EXPECT_GT(heapCalls, 0);
    EXPECT_EQ(text.size(), 1000U);
}

} // namespace
