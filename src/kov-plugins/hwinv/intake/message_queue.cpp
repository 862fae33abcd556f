#include "intake/message_queue.hpp"

#include <utility>

MessageQueue kovdMessageQueue;
MessageQueue smbiosMessageQueue;

void pushRecord(MessageQueue& queue, SignalRecord&& record)
{
    std::list<SignalRecord> node;
    node.push_back(std::move(record));

    MutexLock lock(queue.mutex);
    queue.records.splice(queue.records.end(), node);
    queue.condition.notifyOne();
}
