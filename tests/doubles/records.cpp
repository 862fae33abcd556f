#include "doubles/records.hpp"

#include <gtest/gtest.h>

#include <iterator>
#include <utility>

SignalRecord addedRecord(const std::string& path, InterfaceMap interfaces)
{
    SignalRecord record;
    record.type = SignalType::InterfacesAdded;
    record.objectPath = path;
    record.interfaces = std::move(interfaces);
    return record;
}

SignalRecord removedRecord(const std::string& path, std::vector<std::string> interfaces)
{
    SignalRecord record;
    record.type = SignalType::InterfacesRemoved;
    record.objectPath = path;
    record.removedInterfaces = std::move(interfaces);
    return record;
}

SignalRecord changedRecord(const std::string& path, const std::string& interface,
                           ReceivedProperties properties)
{
    SignalRecord record;
    record.type = SignalType::PropertiesChanged;
    record.objectPath = path;
    record.interfaceName = interface;
    record.changedProperties = std::move(properties);
    return record;
}

std::vector<SignalRecord> takeRecords(MessageQueue& queue)
{
    MutexLock lock(queue.mutex);
    std::vector<SignalRecord> records(std::make_move_iterator(queue.records.begin()),
                                      std::make_move_iterator(queue.records.end()));
    queue.records.clear();
    return records;
}

void setStop(MessageQueue& queue)
{
    {
        MutexLock lock(queue.mutex);
        queue.stop = true;
    }
    queue.condition.notifyAll();
}

bool isStopped(MessageQueue& queue)
{
    MutexLock lock(queue.mutex);
    return queue.stop;
}

bool operator==(const SignalRecord& left, const SignalRecord& right)
{
    return left.type == right.type && left.objectPath == right.objectPath &&
           left.interfaceName == right.interfaceName && left.interfaces == right.interfaces &&
           left.removedInterfaces == right.removedInterfaces &&
           left.changedProperties == right.changedProperties;
}

std::ostream& operator<<(std::ostream& out, const SignalRecord& record)
{
    return out << "type " << static_cast<unsigned>(record.type) << ", path " << record.objectPath
               << ", interface " << record.interfaceName << ", added "
               << testing::PrintToString(record.interfaces) << ", removed "
               << testing::PrintToString(record.removedInterfaces) << ", changed "
               << testing::PrintToString(record.changedProperties);
}
