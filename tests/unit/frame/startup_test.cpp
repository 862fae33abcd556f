/* The steps of main that need no bus. */
#include "doubles/failing_allocation.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/util_lines.hpp"
#include "frame/shutdown.hpp"
#include "frame/startup.hpp"
#include "infrautils/oneway_channel.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

int sigactionError = 0;

int registrationResult = 0;
const void* registeredLoop = nullptr;
void* registeredContext = &registrationResult;
bool registeredCallback = true;

} // namespace

/* The C library's, which does not fail for SIGINT. */
extern "C" int __sigaction(int, const struct sigaction*, struct sigaction*);

extern "C" int sigaction(int number, const struct sigaction* action,
                         struct sigaction* before) noexcept
{
    if (sigactionError != 0)
    {
        errno = sigactionError;
        return -1;
    }
    return __sigaction(number, action, before);
}

/* The executor's registration. */
namespace infrautils
{

OneWayChannel::OneWayChannel() = default;
OneWayChannel::~OneWayChannel() = default;

OneWayChannel& OneWayChannel::getInstance()
{
    static OneWayChannel channel;
    return channel;
}

int OneWayChannel::RegisterEventLoop(sdeventplus::Event& loop, void* context, Callback callback)
{
    registeredLoop = loop.get();
    registeredContext = context;
    registeredCallback = callback != nullptr;
    return registrationResult;
}

} // namespace infrautils

namespace
{

bool interruptBlocked()
{
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    return sigismember(&blocked, SIGINT) == 1;
}

class Startup : public FreshStore
{
  protected:
    Startup()
    {
        sigactionError = 0;
        registrationResult = 0;
        pthread_sigmask(SIG_SETMASK, nullptr, &mask_);
        __sigaction(SIGINT, nullptr, &action_);
    }

    ~Startup() override
    {
        pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        __sigaction(SIGINT, &action_, nullptr);
    }

  private:
    sigset_t mask_;
    struct sigaction action_;
};

const Site site{"kov_hwinv_util", "main"};

class installSignalHandler : public Startup
{
};

TEST_F(installSignalHandler, installsTheHandlerWithNoFlagAndAnEmptyMask)
{
    EXPECT_TRUE(::installSignalHandler(site));
    struct sigaction now;
    ASSERT_EQ(__sigaction(SIGINT, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, &signal_handler);
    constexpr unsigned flags = static_cast<unsigned>(SA_RESTART | SA_SIGINFO | SA_NODEFER) |
                               static_cast<unsigned>(SA_RESETHAND) | SA_ONSTACK;
    EXPECT_EQ(static_cast<unsigned>(now.sa_flags) & flags, 0U);
    sigset_t nothing;
    sigemptyset(&nothing);
    for (int number = 1; number < SIGRTMIN; ++number)
    {
        EXPECT_EQ(sigismember(&now.sa_mask, number), 0) << number;
    }
    EXPECT_EQ(utilLines(), Lines{});
}

TEST_F(installSignalHandler, saysWhyItCannot)
{
    sigactionError = EINVAL;
    EXPECT_FALSE(::installSignalHandler(site));
    EXPECT_EQ(utilLines(), Lines{"1 main: sigaction error: Invalid argument\n"});
}

class registerExecutor : public Startup
{
  protected:
    sdeventplus::Event loop = sdeventplus::Event::get_new();
};

TEST_F(registerExecutor, takesTheLoopWithoutContextAndCallback)
{
    ::registerExecutor(site, loop);
    EXPECT_EQ(registeredLoop, loop.get());
    EXPECT_EQ(registeredContext, nullptr);
    EXPECT_FALSE(registeredCallback);
    EXPECT_EQ(utilLines(), Lines{"5 main: OneWayChannel Registration success"});
}

TEST_F(registerExecutor, saysThatItIsRefusedAndGoesOn)
{
    registrationResult = -1;
    ::registerExecutor(site, loop);
    EXPECT_EQ(utilLines(), Lines{"1 main: DBusService OneWayChannel Registration failed"});
}

class startThread : public Startup
{
  protected:
    /** The lines of a thread with this body, once it has ended. */
    static Lines linesOfThread(void (*body)())
    {
        ::startThread({"The test's thread has ended: %s", "The test's thread has ended"}, body)
            .join();
        return utilLines();
    }
};

TEST_F(startThread, blocksTheInterruptInTheThreadAlone)
{
    static bool blocked;
    blocked = false;
    ASSERT_FALSE(interruptBlocked());
    EXPECT_EQ(linesOfThread([] { blocked = interruptBlocked(); }), Lines{});
    EXPECT_TRUE(blocked);
    EXPECT_FALSE(interruptBlocked());
}

TEST_F(startThread, logsAStandardExceptionThatLeavesTheBody)
{
    EXPECT_EQ(linesOfThread([] { throw std::runtime_error("the reason"); }),
              Lines{"1 startThread: The test's thread has ended: the reason"});
}

TEST_F(startThread, logsAnythingElseThatLeavesTheBody)
{
    EXPECT_EQ(linesOfThread([] { throw 1; }), Lines{"1 startThread: The test's thread has ended"});
}

bool allocationFailed = false;

/** Memory is gone until the log asks for the text; the log itself takes none. */
struct OutOfMemory : std::exception
{
    // The room for the exception itself has been taken by now.
    OutOfMemory()
    {
        failing_allocation::arm(0);
    }

    const char* what() const noexcept override
    {
        allocationFailed = failing_allocation::disarm();
        return "out of memory";
    }
};

TEST_F(startThread, logsWithoutHeapMemory)
{
    const auto runOutOfMemory = [] { throw OutOfMemory(); };
    allocationFailed = true;
    EXPECT_EQ(linesOfThread(runOutOfMemory),
              Lines{"1 startThread: The test's thread has ended: out of memory"});
    EXPECT_FALSE(allocationFailed);
}

TEST_F(startThread, logsNothingOfABodyThatReturns)
{
    EXPECT_EQ(linesOfThread([] {}), Lines{});
}

class leave : public Startup
{
};

TEST_F(leave, givesTheStatusAndBlocksTheInterrupt)
{
    for (const int status : {0, -1})
    {
        EXPECT_EQ(::leave(status), status);
        EXPECT_TRUE(interruptBlocked());
    }
}

} // namespace
