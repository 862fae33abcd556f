#include "store/message_queue.hpp"

#include <utility>

MessageQueue kovdMessageQueue;
MessageQueue smbiosMessageQueue;

void pushRecord(MessageQueue& queue, SignalRecord&& record)
{
    MutexLock lock(queue.mutex);
    queue.records.push_back(std::move(record));
    queue.condition.notifyOne();
}
