/* The queues, and what both workers do alike: wait, pop in order, give up a record, stop. */
#include "compare/differences.hpp"
#include "unit/intake/worker_kit.hpp"

#include <sdbusplus/exception.hpp>

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace
{

using sdbusplus::exception::SdBusError;

constexpr std::chrono::seconds bound{60};

Lines pathsOf(const Records& records)
{
    Lines paths;
    for (const auto& record : records)
    {
        paths.push_back(record.objectPath);
    }
    return paths;
}

class pushRecord : public FreshStore
{
};

TEST_F(pushRecord, appendsAtTheBack)
{
    MessageQueue queue;
    ::pushRecord(queue, removedRecord("/b", {"x"}));
    ::pushRecord(queue, removedRecord("/a", {}));
    ::pushRecord(queue, removedRecord("/c", {}));
    EXPECT_EQ(takeRecords(queue), (Records{removedRecord("/b", {"x"}), removedRecord("/a", {}),
                                           removedRecord("/c", {})}));
}

TEST_F(pushRecord, movesTheRecord)
{
    MessageQueue queue;
    SignalRecord record = removedRecord(std::string(1000, 'x'), {std::string(1000, 'y')});
    const char* const path = record.objectPath.data();
    const std::string* const names = record.removedInterfaces.data();
    ::pushRecord(queue, std::move(record));
    const Records queued = takeRecords(queue);
    ASSERT_EQ(queued.size(), 1U);
    EXPECT_EQ(queued[0].objectPath.data(), path);
    EXPECT_EQ(queued[0].removedInterfaces.data(), names);
}

TEST_F(pushRecord, stillAppendsToAStoppedQueue)
{
    MessageQueue queue;
    setStop(queue);
    ::pushRecord(queue, removedRecord("/a", {}));
    EXPECT_EQ(takeRecords(queue).size(), 1U);
    EXPECT_TRUE(isStopped(queue));
}

TEST_F(pushRecord, leavesTheOtherQueueAlone)
{
    ::pushRecord(kovdMessageQueue, removedRecord("/a", {}));
    EXPECT_EQ(takeRecords(smbiosMessageQueue), Records{});
    EXPECT_EQ(takeRecords(kovdMessageQueue).size(), 1U);
}

/** Lets a thread wait until a line has been logged so many times. */
class LineCounter
{
  public:
    void count(const LogLine&)
    {
        {
            const std::lock_guard lock(mutex_);
            ++lines_;
        }
        changed_.notify_all();
    }

    bool await(std::size_t lines)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, bound, [&] { return lines_ >= lines; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t lines_ = 0;
};

/** The worker in a thread of its own, which ends with the test, also when that fails. */
class RunningWorker
{
  public:
    explicit RunningWorker(const Worker& worker)
        : queue_(worker.queue), done_(std::async(std::launch::async, worker.body))
    {
    }

    ~RunningWorker()
    {
        setStop(queue_);
    }

    RunningWorker(const RunningWorker&) = delete;
    RunningWorker& operator=(const RunningWorker&) = delete;

    bool endsOnceStopped()
    {
        setStop(queue_);
        return done_.wait_for(bound) == std::future_status::ready;
    }

  private:
    MessageQueue& queue_;
    std::future<void> done_;
};

class EitherWorker : public FreshStore, public testing::WithParamInterface<const Worker*>
{
  protected:
    const Worker& worker = *GetParam();

    SignalRecord update(const std::string& name) const
    {
        return worker.update(name);
    }

    /** Throws at the line for that name, whenever it is logged. */
    template <class Throw>
    recorded_log::Hook failingAt(const std::string& name, Throw fail) const
    {
        return [text = worker.updateText(name), fail](const LogLine& line)
        {
            if (line.text == text)
            {
                fail();
            }
        };
    }

    std::string failureLine(const std::string& what) const
    {
        return worker.line(1, worker.failure + what);
    }
};

std::string nameOf(const testing::TestParamInfo<const Worker*>& info)
{
    return info.param->function;
}

INSTANTIATE_TEST_SUITE_P(Workers, EitherWorker, testing::Values(&smbiosWorker, &kovdWorker),
                         nameOf);

TEST_P(EitherWorker, processesInTheOrderOfArrival)
{
    work(worker, {update("/c"), update("/a"), update("/b"), update("/a")});
    EXPECT_EQ(allLines(worker), (Lines{worker.updateLine("/c"), worker.updateLine("/a"),
                                       worker.updateLine("/b"), worker.updateLine("/a")}));
    EXPECT_EQ(takeRecords(worker.queue), Records{});
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EitherWorker, popsFromItsOwnQueueAlone)
{
    MessageQueue& other =
        &worker.queue == &kovdMessageQueue ? smbiosMessageQueue : kovdMessageQueue;
    ::pushRecord(other, update("/other"));
    work(worker, {});
    EXPECT_EQ(allLines(worker), Lines{});
    EXPECT_EQ(takeRecords(other).size(), 1U);
}

TEST_P(EitherWorker, returnsAtOnceWhenStoppedWithRecordsQueued)
{
    ::pushRecord(worker.queue, update("/a"));
    ::pushRecord(worker.queue, update("/b"));
    setStop(worker.queue);
    worker.body();
    EXPECT_EQ(recorded_log::summary(), Lines{});
    EXPECT_EQ(takeRecords(worker.queue).size(), 2U);
    EXPECT_TRUE(isStopped(worker.queue));
}

TEST_P(EitherWorker, finishesTheRecordAtHandWhenStopped)
{
    ::pushRecord(worker.queue,
                 changedRecord(worker.path + "/a", worker.interface, keptByAnyInsert("finished")));
    ::pushRecord(worker.queue, update("/b"));
    recorded_log::setHook([&](const LogLine&) { setStop(worker.queue); });
    worker.body();
    EXPECT_EQ(utilLinesOf(worker.function), Lines{worker.updateLine("/a")});
    EXPECT_EQ(storedUnder(worker.path + "/a").size(), 1U);
    EXPECT_EQ(pathsOf(takeRecords(worker.queue)), Lines{worker.path + "/b"});
}

TEST_P(EitherWorker, leavesRecordsThatArriveAfterTheStop)
{
    setStop(worker.queue);
    ::pushRecord(worker.queue, update("/late"));
    worker.body();
    EXPECT_EQ(recorded_log::summary(), Lines{});
    EXPECT_EQ(pathsOf(takeRecords(worker.queue)), Lines{worker.path + "/late"});
}

TEST_P(EitherWorker, processesWithoutHoldingTheQueue)
{
    const auto pushMore = [&](const LogLine& line)
    {
        if (line.text == worker.updateText("/a"))
        {
            // In front of the record that ends the work.
            Records waiting = takeRecords(worker.queue);
            ::pushRecord(worker.queue, update("/b"));
            ::pushRecord(worker.queue, std::move(waiting.at(0)));
        }
    };
    work(worker, {update("/a")}, pushMore);
    EXPECT_EQ(allLines(worker), (Lines{worker.updateLine("/a"), worker.updateLine("/b")}));
}

TEST_P(EitherWorker, ignoresATypeThatIsNone)
{
    SignalRecord record = update("/a");
    record.type = static_cast<SignalType>(3);
    record.changedProperties = keptByAnyInsert("none");
    record.interfaces[worker.interface] = keptByAnyInsert("none");
    record.removedInterfaces = {worker.interface};
    work(worker, {record});
    EXPECT_EQ(allLines(worker), Lines{});
    EXPECT_EQ(storedUnder(record.objectPath), nothing);
}

TEST_P(EitherWorker, logsAStandardExceptionAndGoesOn)
{
    work(worker, {update("/bad"), update("/good")},
         failingAt("/bad", [] { throw std::runtime_error("out of order"); }));
    EXPECT_EQ(allLines(worker), (Lines{worker.updateLine("/bad"), failureLine(" err[out of order]"),
                                       worker.updateLine("/good")}));
    EXPECT_TRUE(takeRecoveryRequest());
    EXPECT_EQ(takeRecords(worker.queue), Records{});
}

TEST_P(EitherWorker, logsABusErrorAndGoesOn)
{
    work(worker, {update("/bad"), update("/good")},
         failingAt("/bad", [] { throw SdBusError(EIO, "read"); }));
    const std::string text = SdBusError(EIO, "read").what();
    EXPECT_EQ(allLines(worker), (Lines{worker.updateLine("/bad"), failureLine(" err[" + text + "]"),
                                       worker.updateLine("/good")}));
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(EitherWorker, logsAnythingElseThrownAndGoesOn)
{
    work(worker, {update("/bad"), update("/good")}, failingAt("/bad", [] { throw 1; }));
    EXPECT_EQ(allLines(worker),
              (Lines{worker.updateLine("/bad"), failureLine(""), worker.updateLine("/good")}));
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(EitherWorker, requestsRecoveryForEachRecordThatItGivesUp)
{
    std::vector<bool> requests;
    work(worker,
         {update("/good"), update("/bad"), update("/good"), update("/bad"), update("/good")},
         [&](const LogLine& line)
         {
             if (line.text == worker.updateText("/good"))
             {
                 requests.push_back(takeRecoveryRequest());
             }
             if (line.text == worker.updateText("/bad"))
             {
                 throw std::runtime_error("bad");
             }
         });
    EXPECT_EQ(requests, (std::vector<bool>{false, true, true}));
    EXPECT_FALSE(takeRecoveryRequest());
}

/** The insert itself catches what it meets; what it throws here comes from its own last line. */
TEST_P(EitherWorker, logsAnExceptionFromAnInsertOnce)
{
    const ReceivedProperties wrongTypes{{"SlotDesignation", true}, {"PCIeFQDD", true}};
    std::string insert;
    work(worker,
         {changedRecord(worker.path + "/bad", worker.interface, wrongTypes), update("/good")},
         [&](const LogLine& line)
         {
             if (line.level == 1 && line.function != worker.function)
             {
                 insert = line.function;
                 throw std::runtime_error("from the insert");
             }
         });
    EXPECT_EQ(insert.find("Insert"), 0U) << insert;
    EXPECT_EQ(ownLines(worker),
              (Lines{worker.updateLine("/bad"), failureLine(" err[from the insert]"),
                     worker.updateLine("/good")}));
    EXPECT_EQ(storedUnder(worker.path + "/bad"), nothing);
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(EitherWorker, leavesTheFailureOfAnInsertToTheInsert)
{
    const ReceivedProperties wrongTypes{{"SlotDesignation", true}, {"PCIeFQDD", true}};
    work(worker,
         {changedRecord(worker.path + "/bad", worker.interface, wrongTypes), update("/good")});
    EXPECT_EQ(ownLines(worker), (Lines{worker.updateLine("/bad"), worker.updateLine("/good")}));
    EXPECT_EQ(recorded_log::summary(1).size(), 4U); // one of them the insert's, one the end's
    EXPECT_TRUE(takeRecoveryRequest());
}

TEST_P(EitherWorker, sleepsUntilARecordArrives)
{
    LineCounter lines;
    recorded_log::setHook([&](const LogLine& line) { lines.count(line); });
    RunningWorker running(worker);
    for (std::size_t i = 1; i <= 3; ++i)
    {
        ::pushRecord(worker.queue, update("/a"));
        ASSERT_TRUE(lines.await(i));
    }
    ASSERT_TRUE(running.endsOnceStopped());
    EXPECT_EQ(recorded_log::count(worker.updateText("/a")), 3U);
}

TEST_P(EitherWorker, losesNoneOfTenThousandRecordsThatArriveMeanwhile)
{
    constexpr std::size_t total = 10000;
    LineCounter lines;
    recorded_log::setHook([&](const LogLine& line) { lines.count(line); });
    RunningWorker running(worker);
    std::jthread producer(
        [&]
        {
            for (std::size_t i = 0; i < total; ++i)
            {
                ::pushRecord(worker.queue, update("/" + std::to_string(i)));
            }
        });
    producer.join();
    ASSERT_TRUE(lines.await(total));
    ASSERT_TRUE(running.endsOnceStopped());

    Lines expected;
    for (std::size_t i = 0; i < total; ++i)
    {
        expected.push_back(worker.updateLine("/" + std::to_string(i)));
    }
    EXPECT_TRUE(sameSequence(recorded_log::summary(), expected));
    EXPECT_EQ(takeRecords(worker.queue), Records{});
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EitherWorker, stopsInTheMiddleOfAStreamWithTheRestUntouched)
{
    constexpr std::size_t total = 2000;
    LineCounter lines;
    recorded_log::setHook([&](const LogLine& line) { lines.count(line); });
    RunningWorker running(worker);
    std::jthread producer(
        [&]
        {
            for (std::size_t i = 0; i < total; ++i)
            {
                ::pushRecord(worker.queue, update("/" + std::to_string(i)));
            }
        });
    ASSERT_TRUE(lines.await(10));
    ASSERT_TRUE(running.endsOnceStopped());
    producer.join();

    const std::size_t processed = recorded_log::lines().size();
    const Records left = takeRecords(worker.queue);
    EXPECT_EQ(processed + left.size(), total);
    if (!left.empty())
    {
        EXPECT_EQ(left.front().objectPath, worker.path + "/" + std::to_string(processed));
    }
}

TEST(processSmbiosRecord, logsAtTheCallersSite)
{
    resetStore();
    processSmbiosRecord(Site{log_label::util, "caller"}, smbiosWorker.update("/a"));
    EXPECT_EQ(utilLines(), Lines{"1 caller: " + smbiosWorker.updateText("/a")});
}

TEST(processKovdRecord, logsAtTheCallersSite)
{
    resetStore();
    processKovdRecord(Site{log_label::util, "caller"}, kovdWorker.update("/a"));
    EXPECT_EQ(utilLines(), Lines{"1 caller: " + kovdWorker.updateText("/a")});
}

} // namespace
