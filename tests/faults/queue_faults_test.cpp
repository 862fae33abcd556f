/*
 * A million records from five threads through one worker: none is lost or doubled, and each
 * thread's order is kept. The log stands for the worker's work: it says one line for each record.
 */
#include "dlog/dlog.hpp"
#include "faults/counts.hpp"
#include "intake/workers.hpp"
#include "store/store.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <iostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

int dlog_threshold = dlog::level::error;

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int producers = 5;
constexpr auto patience = 10min;

const std::string stem = "/xyz/openbmc_project/inventory/system/board/pcie/";
const std::string interface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";

/** What the worker has said, counted on its thread. */
struct Arrivals
{
    std::array<int, producers> next{};
    std::atomic<long> processed{0};
    std::atomic<long> wrong{0}; // lost, doubled, out of order or another line
};

Arrivals arrivals;
std::atomic<long> pushed{0};

/** "STEM/PRODUCER/NUMBER" of the record that the line is about. */
void arrive(std::string_view path)
{
    int producer = -1;
    int number = -1;
    if (path.starts_with(stem))
    {
        path.remove_prefix(stem.size());
        const auto [rest, error] =
            std::from_chars(path.data(), path.data() + path.size(), producer);
        std::from_chars(rest + 1, path.data() + path.size(), number);
    }
    const bool known = producer >= 0 && producer < producers;
    const bool right = known && arrivals.next.at(static_cast<std::size_t>(producer))++ == number;
    arrivals.wrong += right ? 0 : 1;
    ++arrivals.processed;
}

/** How many records may wait when the next one is pushed. Now and then it is so few that the worker
 *  is about to go to sleep, or sleeps. */
long mostWaiting(std::minstd_rand& random)
{
    constexpr long many = 2000;
    return random() % 32 == 0 ? static_cast<long>(random() % 8) : many;
}

void produce(int producer, int records)
{
    const auto deadline = Clock::now() + patience;
    std::minstd_rand random{static_cast<unsigned>(producer + 1)};
    for (int number = 0; number < records; ++number)
    {
        SignalRecord record;
        record.type = SignalType::PropertiesChanged;
        record.objectPath = stem + std::to_string(producer) + "/" + std::to_string(number);
        record.interfaceName = interface;
        const long most = mostWaiting(random);
        while (pushed - arrivals.processed > most && Clock::now() < deadline)
        {
            std::this_thread::yield();
        }
        ++pushed;
        pushRecord(kovdMessageQueue, std::move(record));
    }
}

void waitForRecords(long count)
{
    const auto deadline = Clock::now() + patience;
    while (arrivals.processed < count && Clock::now() < deadline)
    {
        std::this_thread::sleep_for(1ms); // the worker tells nobody; its count is looked at again
    }
}

void stopWorker()
{
    {
        MutexLock lock(kovdMessageQueue.mutex);
        kovdMessageQueue.stop = true;
    }
    kovdMessageQueue.condition.notifyAll();
}

TEST(QueueFaults, C8NoRecordIsLost)
{
    const int perProducer = faults::rounds(10'000, 200'000);
    const int repeats = faults::rounds(1, 20);
    std::jthread worker(processKovdMessagesInQueue);
    for (int repeat = 0; repeat < repeats && !HasFailure(); ++repeat)
    {
        arrivals.next = {};
        arrivals.processed = 0;
        pushed = 0;
        {
            std::vector<std::jthread> threads;
            for (int producer = 0; producer < producers; ++producer)
            {
                threads.emplace_back(produce, producer, perProducer);
            }
        }
        const long all = static_cast<long>(producers) * perProducer;
        waitForRecords(all);
        EXPECT_EQ(arrivals.processed, all);
        EXPECT_EQ(arrivals.wrong, 0);
        MutexLock lock(kovdMessageQueue.mutex);
        EXPECT_TRUE(kovdMessageQueue.records.empty());
    }
    stopWorker();
    std::cout << "[ MEASURED ] " << repeats << " times "
              << static_cast<long>(producers) * perProducer << " records\n";
}

} // namespace

/** Stands in for the platform's log. */
int dlog_printf(int /*level*/, int /*module*/, const char* format, ...)
{
    constexpr const char* expected = "%s.%d.%s: %s :Object path to be updated";
    if (std::strcmp(format, expected) != 0)
    {
        ++arrivals.wrong;
        return -1;
    }
    va_list values;
    va_start(values, format);
    va_arg(values, const char*);
    va_arg(values, int);
    va_arg(values, const char*);
    arrive(va_arg(values, const char*));
    va_end(values);
    return 0;
}
