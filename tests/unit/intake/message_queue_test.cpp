#include "doubles/records.hpp"
#include "intake/message_queue.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <vector>

namespace
{

using namespace std::chrono_literals;

SignalRecord recordOf(const std::string& path)
{
    SignalRecord record;
    record.objectPath = path;
    return record;
}

std::vector<std::string> pathsIn(MessageQueue& queue)
{
    std::vector<std::string> paths;
    for (const SignalRecord& record : takeRecords(queue))
    {
        paths.push_back(record.objectPath);
    }
    return paths;
}

using Paths = std::vector<std::string>;

TEST(pushRecord, appendsAtTheBack)
{
    MessageQueue queue;
    pushRecord(queue, recordOf("/b"));
    pushRecord(queue, recordOf("/a"));
    pushRecord(queue, recordOf("/b"));
    EXPECT_EQ(pathsIn(queue), (Paths{"/b", "/a", "/b"}));
}

TEST(pushRecord, isAcceptedByAStoppedQueue)
{
    MessageQueue queue;
    {
        MutexLock lock(queue.mutex);
        queue.stop = true;
    }
    pushRecord(queue, recordOf("/a"));
    EXPECT_EQ(pathsIn(queue), Paths{"/a"});
}

TEST(pushRecord, wakesWhoWaits)
{
    MessageQueue queue;
    std::promise<void> holdsTheLock;
    auto woken = std::async(std::launch::async,
                            [&]
                            {
                                MutexLock lock(queue.mutex);
                                holdsTheLock.set_value();
                                while (queue.records.empty())
                                {
                                    queue.condition.wait(queue.mutex);
                                }
                            });
    holdsTheLock.get_future().wait();
    // The lock is free again only once the other thread waits.
    pushRecord(queue, recordOf("/a"));
    const bool inTime = woken.wait_for(20s) == std::future_status::ready;
    EXPECT_TRUE(inTime);
    if (!inTime)
    {
        queue.condition.notifyAll(); // so that the test ends
    }
}

} // namespace
