/*
 * The executor with a real loop and a real log, all in this process; what a fork or a missing
 * descriptor does to it happens in children.
 */
#include "child.hpp"
#include "doubles/seen_lines.hpp"
#include "infrautils/oneway_channel.hpp"
#include "kernel_double.hpp"
#include "memory_double.hpp"

#include <gtest/gtest.h>
#include <sdeventplus/exception.hpp>
#include <sdeventplus/source/io.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using infrautils::OneWayChannel;

namespace
{

// What the units of a test did; the context of their loop.
struct Log
{
    std::vector<int> ran;
    std::set<std::thread::id> threads;
    unsigned long size = 0;
};

std::atomic<int> alive{0};

// Data whose loss a test can see: in the count, and by the string also in a leak checker.
struct Data
{
    explicit Data(int n) : number(n), text(100, 'x')
    {
        alive++;
    }

    ~Data()
    {
        alive--;
    }

    Data(const Data&) = delete;
    Data& operator=(const Data&) = delete;

    int number;
    std::string text;
};

int run(void* context, void* data, unsigned long size)
{
    Log& log = *static_cast<Log*>(context);
    log.ran.push_back(static_cast<Data*>(data)->number);
    log.threads.insert(std::this_thread::get_id());
    log.size = size;
    return 0;
}

int runAndFail(void* context, void* data, unsigned long size)
{
    run(context, data, size);
    return -1;
}

int runAndThrow(void* context, void* data, unsigned long size)
{
    run(context, data, size);
    throw std::runtime_error("no\nluck");
}

int runAndThrowInt(void* context, void* data, unsigned long size)
{
    run(context, data, size);
    throw 1;
}

int queue(infrautils::UnitFunction function, int number)
{
    return OneWayChannel_Execute(function, new Data{number}, sizeof(Data), 1);
}

// A unit that queues its successor, as long as its number is not 0.
int runAndQueue(void* context, void* data, unsigned long size)
{
    run(context, data, size);
    const int number = static_cast<Data*>(data)->number;
    return number > 0 ? queue(runAndQueue, number - 1) : 0;
}

// Standard error in a pipe for the life of the object.
class LogCapture
{
  public:
    LogCapture() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)), pipe_(makePipe())
    {
        dup2(pipe_.write.get(), STDERR_FILENO);
        pipe_.write.reset();
    }

    ~LogCapture()
    {
        restore();
    }

    std::vector<std::string> lines()
    {
        restore();
        const std::vector<std::string> lines = linesOf(readAll(pipe_.read.get()));
        std::for_each(lines.begin(), lines.end(), sawLine);
        return lines;
    }

  private:
    void restore()
    {
        if (kept_.get() >= 0)
        {
            dup2(kept_.get(), STDERR_FILENO);
            kept_.reset();
        }
    }

    Descriptor kept_;
    Pipe pipe_;
};

// Runs the deed in a forked child. Returns whether it ended there without a failed expectation.
bool succeedsInChild(const std::function<void()>& deed)
{
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
    {
        alarm(60);
        deed();
        fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::set<int> openDescriptors()
{
    std::set<int> open;
    DIR* const directory = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(directory))
    {
        if (entry->d_name[0] != '.' && std::stoi(entry->d_name) != dirfd(directory))
        {
            open.insert(std::stoi(entry->d_name));
        }
    }
    closedir(directory);
    return open;
}

// No descriptor can be opened during its life. It ends before an exception is looked at: the
// sanitizers open some for that.
class NoMoreDescriptors
{
  public:
    NoMoreDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &enough_);
        const Descriptor lowestFree{dup(STDOUT_FILENO)};
        const rlimit none{static_cast<rlim_t>(lowestFree.get()), enough_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }

    ~NoMoreDescriptors()
    {
        setrlimit(RLIMIT_NOFILE, &enough_);
    }

  private:
    rlimit enough_{};
};

// Creates the channel; returns its pipe: read end, write end. Only where there is none yet.
std::pair<int, int> createdPipe()
{
    const std::set<int> before = openDescriptors();
    OneWayChannel::getInstance();
    std::vector<int> made;
    for (const int descriptor : openDescriptors())
    {
        if (!before.contains(descriptor))
        {
            made.push_back(descriptor);
        }
    }
    EXPECT_EQ(made.size(), 2U);
    const bool readFirst = (fcntl(made.at(0), F_GETFL) & O_ACCMODE) == O_RDONLY;
    return readFirst ? std::pair{made.at(0), made.at(1)} : std::pair{made.at(1), made.at(0)};
}

int bytesIn(int pipe)
{
    int count = -1;
    ioctl(pipe, FIONREAD, &count);
    return count;
}

std::vector<int> numbers(int first, int end)
{
    std::vector<int> all;
    for (int i = first; i < end; i++)
    {
        all.push_back(i);
    }
    return all;
}

// A second source on the loop of the executor: a message is one byte, one is handled in each turn.
class OtherSource
{
  public:
    OtherSource(const sdeventplus::Event& loop, std::string& order)
        : order_(order), pipe_(makePipe()),
          source_(loop, pipe_.read.get(), EPOLLIN,
                  [this](sdeventplus::source::IO&, int, std::uint32_t)
                  {
                      readSome(pipe_.read.get(), 1);
                      order_ += 'o';
                  })
    {
    }

    void send(int messages) const
    {
        const std::string bytes(static_cast<std::size_t>(messages), 'm');
        EXPECT_EQ(write(pipe_.write.get(), bytes.data(), bytes.size()), messages);
    }

  private:
    std::string& order_;
    Pipe pipe_;
    sdeventplus::source::IO source_;
};

// A loop of its own for each test; the process's one channel moves from loop to loop.
class Executor : public testing::Test
{
  protected:
    int registerLoop(OneWayChannel::Callback callback = {})
    {
        return OneWayChannel::getInstance().RegisterEventLoop(loop, &log, std::move(callback));
    }

    // Handles what there is to handle, without waiting.
    void settle() const
    {
        while (loop.run(std::chrono::microseconds{0}) > 0)
        {
        }
    }

    // Producer n has queued the numbers from n * perThread on.
    void expectEachProducersOrder(int threads, int perThread)
    {
        EXPECT_EQ(log.ran.size(), static_cast<std::size_t>(threads * perThread));
        std::vector<int> oneAfterTheOther;
        for (int thread = 0; thread < threads; ++thread)
        {
            std::copy_if(log.ran.begin(), log.ran.end(), std::back_inserter(oneAfterTheOther),
                         [=](int number) { return number / perThread == thread; });
        }
        EXPECT_TRUE(oneAfterTheOther == numbers(0, threads * perThread))
            << "lost, doubled or out of order";
        EXPECT_EQ(alive, aliveBefore);
    }

    sdeventplus::Event loop = sdeventplus::Event::get_new();
    Log log;
    int aliveBefore = alive;
};

template <class T>
concept Executable = requires(T* data)
{
    OneWayChannel_Execute(run, data, 0UL, 1);
};

static_assert(Executable<Data>);
static_assert(!Executable<void>);

} // namespace

TEST_F(Executor, RunsAUnitWithContextDataAndSize)
{
    ASSERT_EQ(registerLoop(), 0);
    EXPECT_EQ(OneWayChannel_Execute(run, new Data{7}, 12345UL, 1), 0);
    EXPECT_TRUE(log.ran.empty());
    settle();
    EXPECT_EQ(log.ran, std::vector<int>{7});
    EXPECT_EQ(log.size, 12345UL);
}

TEST_F(Executor, HoldsAHundredThousandUnitsBeforeTheLoopRuns)
{
    constexpr int count = 100'000;
    ASSERT_EQ(registerLoop(), 0);
    for (int i = 0; i < count; i++)
    {
        ASSERT_EQ(queue(run, i), 0);
    }
    EXPECT_EQ(alive, aliveBefore + count);
    settle();
    EXPECT_EQ(log.ran, numbers(0, count));
    EXPECT_EQ(alive, aliveBefore);
}

TEST_F(Executor, RunsTheUnitsOfSeveralThreadsOnTheLoopsThread)
{
    constexpr int perThread = 50'000;
    ASSERT_EQ(registerLoop(), 0);
    const auto produce = [](int first)
    {
        for (int i = first; i < first + perThread; i++)
        {
            queue(run, i);
        }
    };
    {
        std::jthread one{produce, 0};
        std::jthread two{produce, perThread};
        while (log.ran.size() < 2 * perThread)
        {
            ASSERT_GT(loop.run(std::chrono::minutes{1}), 0) << "no wake-up for a minute";
        }
    }
    settle();
    expectEachProducersOrder(2, perThread);
    EXPECT_EQ(log.threads, std::set{std::this_thread::get_id()});
}

TEST_F(Executor, HoldsTheUnitsOfSeveralThreadsBeforeTheLoopRuns)
{
    constexpr int threads = 5;
    constexpr int perThread = 20'000;
    ASSERT_EQ(registerLoop(), 0);
    const auto produce = [](int thread)
    {
        for (int i = 0; i < perThread; i++)
        {
            ASSERT_EQ(queue(run, thread * perThread + i), 0);
        }
    };
    {
        std::vector<std::jthread> others;
        for (int thread = 1; thread < threads; thread++)
        {
            others.emplace_back(produce, thread);
        }
        produce(0);
    }
    settle();
    expectEachProducersOrder(threads, perThread);
}

// Whenever a producer pauses, the loop may go to sleep, and a unit queued just then must wake it.
TEST_F(Executor, MissesNoWakeUpOfThreadsThatPause)
{
    constexpr int threads = 5;
    constexpr int perThread = 1000;
    ASSERT_EQ(registerLoop(), 0);
    const auto produce = [](int thread)
    {
        std::minstd_rand random{static_cast<unsigned>(thread)};
        for (int i = 0; i < perThread; i++)
        {
            EXPECT_EQ(queue(run, thread * perThread + i), 0);
            // Without giving the processor away: a busy machine would keep it.
            using Clock = std::chrono::steady_clock;
            const auto end = Clock::now() + std::chrono::microseconds{random() % 64};
            while (Clock::now() < end)
            {
            }
        }
    };
    {
        std::vector<std::jthread> producers;
        for (int thread = 0; thread < threads; thread++)
        {
            producers.emplace_back(produce, thread);
        }
        while (log.ran.size() < threads * perThread)
        {
            ASSERT_GT(loop.run(std::chrono::minutes{1}), 0) << "no wake-up for a minute";
        }
    }
    settle();
    expectEachProducersOrder(threads, perThread);
}

TEST_F(Executor, AFailingUnitStopsNoOther)
{
    ASSERT_EQ(registerLoop(), 0);
    LogCapture capture;
    queue(runAndFail, 0);
    queue(run, 1);
    settle();
    EXPECT_EQ(log.ran, numbers(0, 2));
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(Executor, AThrowingUnitCostsOnlyItself)
{
    ASSERT_EQ(registerLoop(), 0);
    LogCapture capture;
    queue(runAndThrow, 0);
    queue(runAndThrowInt, 1);
    queue(run, 2);
    settle();
    EXPECT_EQ(log.ran, numbers(0, 3));
    EXPECT_EQ(alive, aliveBefore);
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(withoutSourceLine(lines[0]),
              "1 300 oneway_channel.LINE.runUnit: exception in a unit of work: no\\nluck");
    EXPECT_EQ(withoutSourceLine(lines[1]),
              "1 300 oneway_channel.LINE.runUnit: unknown exception in a unit of work");
}

TEST_F(Executor, AUnitQueuedByAUnitRunsInTheNextRound)
{
    ASSERT_EQ(registerLoop(), 0);
    queue(runAndQueue, 2);
    loop.run(std::chrono::microseconds{0});
    EXPECT_EQ(log.ran, (std::vector<int>{2}));
    settle();
    EXPECT_EQ(log.ran, (std::vector<int>{2, 1, 0}));
}

// What ran, in order: 'u' a unit, 'o' a message of another source. A unit's number is how many
// messages arrive while it runs.
class ExecutorTurns : public Executor
{
  protected:
    ExecutorTurns() : other(loop, order)
    {
        EXPECT_EQ(registerLoop(
                      [this](void*, void* data, unsigned long)
                      {
                          order += 'u';
                          other.send(static_cast<Data*>(data)->number);
                          return successors-- > 0 ? queue(nullptr, 1) : 0;
                      }),
                  0);
    }

    std::string order;
    OtherSource other;
    int successors = 0; // how many units are queued by the unit before them
};

TEST_F(ExecutorTurns, WhatBecomesReadyDuringAUnitComesBeforeTheNext)
{
    std::string expected;
    for (int i = 0; i < 1000; i++)
    {
        queue(nullptr, 1);
        expected += "uo";
    }
    settle();
    EXPECT_EQ(order, expected);
}

TEST_F(ExecutorTurns, AllThatWaitsComesBeforeTheNextUnit)
{
    std::string expected;
    for (int messages : {0, 1, 2, 10, 16, 0, 3})
    {
        queue(nullptr, messages);
        expected += "u" + std::string(static_cast<std::size_t>(messages), 'o');
    }
    settle();
    EXPECT_EQ(order, expected);
}

TEST_F(ExecutorTurns, AUnitQueuedDuringTheLastOneComesAfterWhatWaits)
{
    std::string expected;
    successors = 1000;
    queue(nullptr, 1);
    for (int i = 0; i < 1001; i++)
    {
        expected += "uo";
    }
    settle();
    EXPECT_EQ(order, expected);
}

TEST_F(ExecutorTurns, AFloodOfMessagesSlowsUnitsButDoesNotStopThem)
{
    for (int i = 0; i < 10; i++)
    {
        queue(nullptr, 1000);
    }
    settle();
    EXPECT_EQ(std::count(order.begin(), order.end(), 'o'), 10'000);
    const std::size_t lastUnit = order.rfind('u');
    EXPECT_GE(lastUnit, 9U * 16) << "others had fewer turns than they should";
    EXPECT_LE(lastUnit, 10U * 20) << "units waited longer than they should";
}

TEST_F(Executor, OneReadEmptiesThePipe)
{
    ASSERT_EQ(registerLoop(), 0);
    for (int i = 0; i < 100; i++)
    {
        queue(run, i);
    }
    reads = 0;
    settle();
    EXPECT_EQ(log.ran, numbers(0, 100));
    EXPECT_EQ(reads, 1);
    EXPECT_EQ(loop.run(std::chrono::microseconds{0}), 0) << "idle, and yet something to do";
}

TEST_F(Executor, AUnitWithoutAFunctionIsTheCallbacks)
{
    ASSERT_EQ(registerLoop(run), 0);
    EXPECT_EQ(queue(nullptr, 3), 0);
    settle();
    EXPECT_EQ(log.ran, std::vector<int>{3});

    ASSERT_EQ(registerLoop(), 0);
    EXPECT_EQ(queue(nullptr, 4), -1);
    settle();
    EXPECT_EQ(log.ran, std::vector<int>{3});
    EXPECT_EQ(alive, aliveBefore);
}

TEST_F(Executor, FreesTheDataWhenThereIsNoMemory)
{
    ASSERT_EQ(registerLoop(), 0);
    Data* const data = new Data{0};
    noMemory = true;
    const int result = OneWayChannel_Execute(run, data, sizeof(Data), 1);
    noMemory = false;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(alive, aliveBefore);
    settle();
    EXPECT_TRUE(log.ran.empty());
}

TEST_F(Executor, WhatIsQueuedMovesToALaterLoop)
{
    ASSERT_EQ(registerLoop(), 0);
    queue(run, 0);
    sdeventplus::Event later = sdeventplus::Event::get_new();
    Log laterLog;
    ASSERT_EQ(OneWayChannel::getInstance().RegisterEventLoop(later, &laterLog, {}), 0);
    queue(run, 1);
    settle();
    EXPECT_TRUE(log.ran.empty());
    while (later.run(std::chrono::microseconds{0}) > 0)
    {
    }
    EXPECT_EQ(laterLog.ran, numbers(0, 2));
}

struct Move
{
    sdeventplus::Event to;
    Log log;
};

TEST_F(Executor, AUnitMayMoveTheChannelToAnotherLoop)
{
    Move move{sdeventplus::Event::get_new(), {}};
    ASSERT_EQ(OneWayChannel::getInstance().RegisterEventLoop(loop, &move, {}), 0);
    queue(
        [](void* context, void*, unsigned long)
        {
            Move& here = *static_cast<Move*>(context);
            return OneWayChannel::getInstance().RegisterEventLoop(here.to, &here.log, {});
        },
        0);
    queue(run, 1);
    settle();
    EXPECT_TRUE(move.log.ran.empty());
    while (move.to.run(std::chrono::microseconds{0}) > 0)
    {
    }
    EXPECT_EQ(move.log.ran, std::vector<int>{1});
    EXPECT_EQ(alive, aliveBefore);
}

TEST_F(Executor, ALoopThatCannotWatchThePipeLeavesTheChannelWithoutOne)
{
    ASSERT_EQ(registerLoop(), 0);
    epollIsFull = true;
    const int result = registerLoop();
    epollIsFull = false;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(queue(run, 0), -1);
    EXPECT_EQ(alive, aliveBefore);
    ASSERT_EQ(registerLoop(), 0);
    EXPECT_EQ(queue(run, 1), 0);
    settle();
    EXPECT_EQ(log.ran, std::vector<int>{1});
}

TEST_F(Executor, AFailedRegistrationLeavesTheChannelWithoutALoop)
{
    ASSERT_EQ(registerLoop(), 0);
    queue(run, 0);
    sdeventplus::Event ended = sdeventplus::Event::get_new();
    sd_event_exit(ended.get(), 0);
    ended.loop();
    EXPECT_EQ(OneWayChannel::getInstance().RegisterEventLoop(ended, nullptr, {}), -1);
    EXPECT_EQ(queue(run, 1), -1);
    EXPECT_EQ(alive, aliveBefore + 1);
    settle();
    EXPECT_TRUE(log.ran.empty());

    ASSERT_EQ(registerLoop(), 0);
    settle();
    EXPECT_EQ(log.ran, std::vector<int>{0});
}

// From here on each test forks, for what a fork does or for a process that has no channel yet.
class ExecutorInChild : public Executor
{
  protected:
    ExecutorInChild()
    {
        OneWayChannel::getInstance();
    }

    LogCapture capture; // every fork logs a line
};

TEST_F(ExecutorInChild, WithoutAChannelEveryUnitIsRefusedAndFreed)
{
    EXPECT_TRUE(succeedsInChild(
        [this]
        {
            EXPECT_EQ(queue(run, 0), -1);
            EXPECT_EQ(OneWayChannel::instance.load(), nullptr);
            EXPECT_EQ(alive, aliveBefore);
        }));
}

TEST_F(ExecutorInChild, WithoutARegisteredLoopEveryUnitIsRefusedAndFreed)
{
    EXPECT_TRUE(succeedsInChild(
        [this]
        {
            OneWayChannel::getInstance();
            EXPECT_EQ(queue(run, 0), -1);
            EXPECT_NE(registerLoop(), 0) << "a loop of the parent's should refuse the child";
            EXPECT_EQ(queue(run, 0), -1);
            EXPECT_EQ(alive, aliveBefore);
        }));
}

TEST_F(ExecutorInChild, PipeNeitherBlocksNorOutlivesExec)
{
    EXPECT_TRUE(succeedsInChild(
        []
        {
            const auto [readEnd, writeEnd] = createdPipe();
            for (const int end : {readEnd, writeEnd})
            {
                EXPECT_TRUE(fcntl(end, F_GETFL) & O_NONBLOCK);
                EXPECT_TRUE(fcntl(end, F_GETFD) & FD_CLOEXEC);
            }
        }));
}

TEST_F(ExecutorInChild, OneByteWakesForAnyNumberOfUnits)
{
    EXPECT_TRUE(succeedsInChild(
        [this]
        {
            const int readEnd = createdPipe().first;
            loop = sdeventplus::Event::get_new();
            ASSERT_EQ(registerLoop(), 0);
            for (int i = 0; i < 1000; i++)
            {
                queue(run, i);
            }
            EXPECT_EQ(bytesIn(readEnd), 1);
            settle();
            EXPECT_EQ(bytesIn(readEnd), 0);
            queue(run, 1000);
            EXPECT_EQ(bytesIn(readEnd), 1);
            settle();
            EXPECT_EQ(log.ran, numbers(0, 1001));
        }));
}

TEST_F(ExecutorInChild, AFullPipeIsAWakeUpToo)
{
    EXPECT_TRUE(succeedsInChild(
        [this]
        {
            const int writeEnd = createdPipe().second;
            loop = sdeventplus::Event::get_new();
            ASSERT_EQ(registerLoop(), 0);
            const std::string many(4096, '\0');
            while (write(writeEnd, many.data(), many.size()) > 0)
            {
            }
            EXPECT_EQ(queue(run, 0), 0);
            settle();
            EXPECT_EQ(queue(run, 1), 0);
            settle();
            EXPECT_EQ(log.ran, numbers(0, 2));
        }));
}

TEST_F(ExecutorInChild, AFailedPipeIsLoggedAndThrownAndMayBeTriedAgain)
{
    EXPECT_TRUE(succeedsInChild(
        []
        {
            LogCapture childCapture;
            std::string thrown;
            try
            {
                const NoMoreDescriptors none;
                OneWayChannel::getInstance();
            }
            catch (const std::runtime_error& e)
            {
                thrown = e.what();
            }
            EXPECT_EQ(OneWayChannel::instance.load(), nullptr);
            EXPECT_EQ(thrown, "Error in pipe creation OneWayChannel");
            const OneWayChannel& channel = OneWayChannel::getInstance();
            EXPECT_EQ(&channel, OneWayChannel::instance.load());
            const std::vector<std::string> lines = childCapture.lines();
            ASSERT_EQ(lines.size(), 1U);
            EXPECT_EQ(withoutSourceLine(lines[0]),
                      "1 300 oneway_channel.LINE.OneWayChannel: Pipe creation failed : -1");
        }));
}

TEST_F(ExecutorInChild, AForkTakesTheChannelFromTheChildAlone)
{
    ASSERT_EQ(registerLoop(), 0);
    for (int i = 0; i < 10; i++)
    {
        queue(run, i);
    }
    EXPECT_TRUE(succeedsInChild(
        [this]
        {
            EXPECT_EQ(OneWayChannel::instance.load(), nullptr);
            EXPECT_EQ(alive, aliveBefore) << "the child's copies of the units are gone";
        }));
    const std::vector<std::string> lines = capture.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(withoutSourceLine(lines[0]),
              "4 300 oneway_channel.LINE.~OneWayChannel: Destructor. fork happened? "
              "(NOT Recommended to fork with multiple threads)");

    EXPECT_EQ(alive, aliveBefore + 10);
    queue(run, 10);
    settle();
    EXPECT_EQ(log.ran, numbers(0, 11));
    EXPECT_EQ(alive, aliveBefore);
}

TEST_F(ExecutorInChild, AChildMayHaveAChannelOfItsOwnAndForkAgain)
{
    ASSERT_EQ(registerLoop(), 0);
    EXPECT_TRUE(succeedsInChild(
        [this]
        {
            loop = sdeventplus::Event::get_new();
            ASSERT_EQ(registerLoop(), 0);
            queue(run, 0);
            EXPECT_TRUE(succeedsInChild([] { EXPECT_EQ(queue(run, 0), -1); }));
            settle();
            EXPECT_EQ(log.ran, std::vector<int>{0});
        }));
}

// Forks. The child says on the pipe what it finds, and returns like its parent.
struct Forked
{
    Pipe pipe = makePipe();
    pid_t child = -1;
    bool mutexWasFree = false;
};

int forkInUnit(void* context, void*, unsigned long)
{
    Forked& forked = *static_cast<Forked*>(context);
    forked.mutexWasFree = infrautils::oneWayChannelOperationMutex.try_lock();
    if (forked.mutexWasFree)
    {
        infrautils::oneWayChannelOperationMutex.unlock();
    }
    queue([](void*, void*, unsigned long) { return 0; }, 0);
    forked.child = fork();
    if (forked.child == 0)
    {
        const bool none = OneWayChannel::instance.load() == nullptr && queue(run, 0) == -1;
        const std::string answer = none ? "none" : "a channel";
        return write(forked.pipe.write.get(), answer.data(), answer.size()) < 0 ? -1 : 0;
    }
    return 0;
}

TEST_F(ExecutorInChild, AUnitMayForkAndQueue)
{
    Forked forked;
    ASSERT_EQ(OneWayChannel::getInstance().RegisterEventLoop(loop, &forked, {}), 0);
    queue(forkInUnit, 0);
    queue(runAndFail, 0); // stands for what the child must not run
    bool childMayGoOn = false;
    try
    {
        loop.run(std::chrono::microseconds{0});
        childMayGoOn = forked.child == 0 && loop.run(std::chrono::microseconds{0}) > 0;
    }
    catch (const sdeventplus::SdEventError&)
    {
        // The loop is the parent's.
    }
    if (forked.child == 0)
    {
        _exit(childMayGoOn || alive != aliveBefore ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(forked.child, &status, 0), forked.child);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(forked.mutexWasFree);
    forked.pipe.write.reset();
    EXPECT_EQ(readAll(forked.pipe.read.get()), "none");

    ASSERT_EQ(registerLoop(), 0);
    settle();
    EXPECT_EQ(log.ran, std::vector<int>{0}) << "the parent has lost a unit";
    EXPECT_EQ(alive, aliveBefore);
}

// Queues without end, but not more than the forks below can copy and free in no time, and holds the
// mutex most of the time. It sleeps, so that other programs on the machine do not decide how long.
void keepBusy(const std::stop_token& stop)
{
    while (!stop.stop_requested())
    {
        if (alive < 1000)
        {
            queue(run, 0);
        }
        {
            const std::lock_guard lock{infrautils::oneWayChannelOperationMutex};
            std::this_thread::sleep_for(std::chrono::microseconds{200}); // held, whoever waits
        }
        // A thread that waits for the mutex needs a moment to wake up, or it comes too late for
        // seconds.
        std::this_thread::sleep_for(std::chrono::microseconds{100});
    }
}

void waitUntilMutexIsHeld()
{
    while (infrautils::oneWayChannelOperationMutex.try_lock())
    {
        infrautils::oneWayChannelOperationMutex.unlock();
        std::this_thread::yield();
    }
}

TEST_F(ExecutorInChild, AForkFindsTheMutexFreeAndTheListWholeWhileOthersQueue)
{
    ASSERT_EQ(registerLoop(), 0);
    std::jthread busy{keepBusy};
    for (int i = 0; i < 50; i++)
    {
        loop.run(std::chrono::microseconds{0}); // one round: there is always more
        waitUntilMutexIsHeld();
        ASSERT_TRUE(succeedsInChild([] { EXPECT_EQ(queue(run, 0), -1); }));
    }
}
