/*
 * The executor under numbers that no start-up reaches: no unit is lost or doubled, each producer's
 * order is kept, and nobody waits. What a few units do is in tests/unit/platform.
 */
#include "child/pipe.hpp"
#include "faults/counts.hpp"
#include "infrautils/oneway_channel.hpp"
#include "unit/platform/child.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>
#include <sdeventplus/event.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <iostream>
#include <random>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using infrautils::OneWayChannel;

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int producers = 5;
constexpr auto patience = 10min;

/** Units on their way; told by the data's destructor as well as by what has run. */
std::atomic<long> alive{0};

struct Item
{
    Item(int from, int which) : producer(from), number(which)
    {
        alive++;
    }

    ~Item()
    {
        alive--;
    }

    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    const int producer;
    const int number;
    Clock::time_point queued{};
    bool wakes = false; // the loop had nothing to do when it was queued
};

/** What has arrived on the loop's thread. */
struct Arrivals
{
    std::array<int, producers> next{};
    std::atomic<long> ran{0};
    long wrong = 0; // lost, doubled or out of order
    std::vector<Clock::duration> wakeUps;
};

int arrive(void* context, void* data, unsigned long /*size*/)
{
    auto& arrivals = *static_cast<Arrivals*>(context);
    const auto& item = *static_cast<Item*>(data);
    if (item.wakes)
    {
        arrivals.wakeUps.push_back(Clock::now() - item.queued);
    }
    int& next = arrivals.next.at(static_cast<std::size_t>(item.producer));
    arrivals.wrong += item.number == next ? 0 : 1;
    ++next;
    ++arrivals.ran;
    return 0;
}

int send(std::unique_ptr<Item> item, infrautils::UnitFunction function = arrive)
{
    return OneWayChannel_Execute(function, item.release(), sizeof(Item), 1);
}

/** Standard error in a file without a name for the life of the object, so that it takes any number
 *  of lines. */
class ErrorsToFile
{
  public:
    ErrorsToFile() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)), file_(makeFile())
    {
        dup2(file_.get(), STDERR_FILENO);
    }

    ~ErrorsToFile()
    {
        dup2(kept_.get(), STDERR_FILENO);
    }

    std::vector<std::string> lines() const
    {
        return linesOf(contentOf(file_));
    }

  private:
    Descriptor kept_;
    Descriptor file_;
};

class ExecutorFaults : public testing::Test
{
  protected:
    ExecutorFaults()
    {
        EXPECT_EQ(OneWayChannel::getInstance().RegisterEventLoop(loop, &arrivals, {}), 0);
    }

    /** Runs the loop until so many units have run. */
    void runUntil(long count)
    {
        const auto deadline = Clock::now() + patience;
        while (arrivals.ran < count && Clock::now() < deadline)
        {
            loop.run(std::chrono::seconds{1});
        }
    }

    void expectEachOnce(int perProducer)
    {
        EXPECT_EQ(arrivals.ran, static_cast<long>(producers) * perProducer);
        EXPECT_EQ(arrivals.wrong, 0);
        for (const int next : arrivals.next)
        {
            EXPECT_EQ(next, perProducer);
        }
        EXPECT_EQ(alive, 0);
    }

    sdeventplus::Event loop = sdeventplus::Event::get_new();
    Arrivals arrivals;
};

// ---- nobody waits ----

/** How often this thread has given up its processor to wait for something. */
long waitsOfThisThread()
{
    rusage usage{};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

/** The longest of the calls that queue a producer's units. A call that never waited was at most
 *  interrupted by other programs, however long it took. */
Clock::duration longestOf(int producer, int units)
{
    Clock::duration longest{};
    for (int number = 0; number < units; ++number)
    {
        auto item = std::make_unique<Item>(producer, number);
        const long waits = waitsOfThisThread();
        const auto begin = Clock::now();
        EXPECT_EQ(send(std::move(item)), 0);
        const auto took = Clock::now() - begin;
        longest = waitsOfThisThread() == waits ? longest : std::max(longest, took);
    }
    return longest;
}

/** Five producers queue before the loop runs; the longest of all their calls. */
Clock::duration fillBeforeTheLoopRuns(int perProducer)
{
    std::array<Clock::duration, producers> longest{};
    {
        std::vector<std::jthread> others;
        for (int producer = 1; producer < producers; ++producer)
        {
            others.emplace_back(
                [&longest, producer, perProducer] {
                    longest.at(static_cast<std::size_t>(producer)) =
                        longestOf(producer, perProducer);
                });
        }
        longest[0] = longestOf(0, perProducer);
    }
    return *std::max_element(longest.begin(), longest.end());
}

TEST_F(ExecutorFaults, C6HundredThousandUnitsBeforeTheLoopRunsBlockNobody)
{
    constexpr int perProducer = 20'000;
    // Who waits for the mutex waits as long as other programs keep its holder off the processor. A
    // round without that shows what the call itself does.
    constexpr int tries = 10;
    auto least = Clock::duration::max();
    for (int round = 0; round < tries && least > 10ms; ++round)
    {
        arrivals.next = {};
        arrivals.ran = 0;
        least = std::min(least, fillBeforeTheLoopRuns(perProducer));
        EXPECT_EQ(arrivals.ran, 0);
        runUntil(static_cast<long>(producers) * perProducer);
        expectEachOnce(perProducer);
    }
    if (faults::whole()) // beside other tests the mutex's holder waits for its turn
    {
        EXPECT_LE(least, FAULTS_SANITIZED ? 100ms : 10ms);
    }
    std::cout << "[ MEASURED ] longest wait "
              << std::chrono::duration_cast<std::chrono::microseconds>(least).count() << " us\n";
}

// ---- what units do wrong ----

int fail(void* context, void* data, unsigned long size)
{
    arrive(context, data, size);
    return -1;
}

int throwBusError(void* context, void* data, unsigned long size)
{
    arrive(context, data, size);
    throw sdbusplus::exception::SdBusError(ENOENT, "a call");
}

int throwStandard(void* context, void* data, unsigned long size)
{
    arrive(context, data, size);
    throw std::runtime_error("of no use");
}

int throwNumber(void* context, void* data, unsigned long size)
{
    arrive(context, data, size);
    throw 1;
}

TEST_F(ExecutorFaults, C7UnitsThatThrowOrFailCostOnlyThemselves)
{
    constexpr std::array functions{arrive, fail, throwBusError, throwStandard, throwNumber};
    const int each = faults::rounds(1000, 20'000);
    const ErrorsToFile errors;
    for (int number = 0; number < each; ++number)
    {
        for (std::size_t kind = 0; kind < functions.size(); ++kind)
        {
            const auto producer = static_cast<int>(kind);
            ASSERT_EQ(send(std::make_unique<Item>(producer, number), functions.at(kind)), 0);
        }
    }
    runUntil(static_cast<long>(producers) * each);
    expectEachOnce(each);

    std::array<long, 4> seen{}; // bus error, standard, number, anything else
    for (const auto& line : errors.lines())
    {
        const bool ours = line.starts_with("1 300 oneway_channel.");
        const bool standard = line.ends_with(": exception in a unit of work: of no use");
        const bool bus = line.find(": exception in a unit of work: a call: ") != std::string::npos;
        const bool number = line.ends_with(": unknown exception in a unit of work");
        ++seen.at(!ours ? 3 : bus ? 0 : standard ? 1 : number ? 2 : 3);
    }
    EXPECT_EQ(seen, (std::array<long, 4>{each, each, each, 0}));
}

// ---- each exactly once ----

/** How many units may wait when a producer queues the next one. Now and then it is so few that the
 *  loop is about to go to sleep, or sleeps. */
long mostWaiting(std::minstd_rand& random)
{
    constexpr long many = 2000;
    return random() % 32 == 0 ? static_cast<long>(random() % 8) : many;
}

void produce(int producer, int units, const Arrivals& arrivals, std::atomic<long>& sent)
{
    const auto deadline = Clock::now() + patience;
    std::minstd_rand random{static_cast<unsigned>(producer + 1)};
    for (int number = 0; number < units && Clock::now() < deadline; ++number)
    {
        const long most = mostWaiting(random);
        while (alive > most && Clock::now() < deadline)
        {
            std::this_thread::yield();
        }
        auto item = std::make_unique<Item>(producer, number);
        item->wakes = sent.fetch_add(1) == arrivals.ran;
        item->queued = Clock::now();
        EXPECT_EQ(send(std::move(item)), 0);
    }
}

TEST_F(ExecutorFaults, C8NoWakeUpIsLost)
{
    const int perProducer = faults::rounds(2000, 200'000);
    const int repeats = faults::rounds(1, 20);
    for (int repeat = 0; repeat < repeats && !HasFailure(); ++repeat)
    {
        arrivals.next = {};
        arrivals.ran = 0;
        std::atomic<long> sent{0};
        std::vector<std::jthread> threads;
        for (int producer = 0; producer < producers; ++producer)
        {
            threads.emplace_back([&, producer] { produce(producer, perProducer, arrivals, sent); });
        }
        runUntil(static_cast<long>(producers) * perProducer);
        threads.clear();
        expectEachOnce(perProducer);
    }
    auto& wakeUps = arrivals.wakeUps;
    ASSERT_FALSE(wakeUps.empty());
    const auto place = wakeUps.begin() + static_cast<std::ptrdiff_t>(wakeUps.size() * 99 / 100);
    std::nth_element(wakeUps.begin(), place, wakeUps.end());
    const auto slow = std::chrono::duration_cast<std::chrono::microseconds>(*place);
    std::cout << "[ MEASURED ] " << repeats << " times "
              << static_cast<long>(producers) * perProducer << " units, " << wakeUps.size()
              << " wake-ups, 99 of 100 within " << slow.count() << " us\n";
    if (faults::whole() && !faults::threadSanitizer && !faults::addressSanitizer)
    {
        EXPECT_LE(slow, 5ms);
    }
}

// ---- forks ----

int queueAndFork(void* context, void* data, unsigned long size)
{
    arrive(context, data, size);
    const auto& item = *static_cast<Item*>(data);
    if (item.producer == 0)
    {
        send(std::make_unique<Item>(1, item.number)); // the mutex is free while a unit runs
    }
    const pid_t child = fork();
    if (child == 0)
    {
        _exit(OneWayChannel::instance.load() == nullptr ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

TEST_F(ExecutorFaults, C9AUnitForksAndQueues)
{
    const int forks = faults::rounds(20, 200);
    const ErrorsToFile errors;
    for (int number = 0; number < forks; ++number)
    {
        send(std::make_unique<Item>(0, number), queueAndFork);
    }
    runUntil(2L * forks);
    EXPECT_EQ(arrivals.ran, 2L * forks);
    EXPECT_EQ(arrivals.wrong, 0);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(errors.lines().size(), static_cast<std::size_t>(forks)) << "one line in each child";
}

/** Forks so often; every child has to find that it has no channel, and to end. */
void forkAndWait(int forks, long& failed)
{
    for (int i = 0; i < forks; ++i)
    {
        const pid_t child = fork();
        if (child == 0)
        {
            alarm(60);
            const bool none = OneWayChannel::instance.load() == nullptr &&
                              send(std::make_unique<Item>(0, 0)) == -1;
            _exit(none ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        failed += status == 0 ? 0 : 1;
    }
}

TEST_F(ExecutorFaults, C9ForksOfAnotherThreadLoseNoUnitOfTheParent)
{
    const int forks = faults::rounds(50, 1000);
    constexpr long most = 1000; // a child copies and frees what waits
    const ErrorsToFile errors;
    std::atomic<bool> forked{false};
    long failed = 0;
    long queued = 0;
    std::jthread forker(
        [&]
        {
            forkAndWait(forks, failed);
            forked = true;
        });
    std::jthread producer(
        [&]
        {
            while (!forked)
            {
                if (alive < most)
                {
                    EXPECT_EQ(send(std::make_unique<Item>(0, static_cast<int>(queued++))), 0);
                }
            }
        });
    while (!forked)
    {
        loop.run(std::chrono::milliseconds{1});
    }
    forker.join();
    producer.join();
    runUntil(queued);

    EXPECT_EQ(failed, 0);
    EXPECT_EQ(arrivals.ran, queued);
    EXPECT_EQ(arrivals.wrong, 0);
    EXPECT_EQ(alive, 0);
    const auto lines = errors.lines();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(forks));
    for (const auto& line : lines)
    {
        EXPECT_EQ(withoutSourceLine(line),
                  "4 300 oneway_channel.LINE.~OneWayChannel: Destructor. fork happened? "
                  "(NOT Recommended to fork with multiple threads)");
    }
    std::cout << "[ MEASURED ] " << forks << " forks while " << queued << " units were queued\n";
}

} // namespace
