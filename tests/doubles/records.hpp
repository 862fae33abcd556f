/*
 * Signal records as tests write, compare and print them.
 *
 * Any thread; takes the queue's own lock.
 */
#pragma once

#include "intake/message_queue.hpp"

#include <ostream>
#include <string>
#include <vector>

SignalRecord addedRecord(const std::string& path, InterfaceMap interfaces);
SignalRecord removedRecord(const std::string& path, std::vector<std::string> interfaces);
SignalRecord changedRecord(const std::string& path, const std::string& interface,
                           ReceivedProperties properties);

/** What waits in the queue, in order; takes it away. */
std::vector<SignalRecord> takeRecords(MessageQueue& queue);

void setStop(MessageQueue& queue);
bool isStopped(MessageQueue& queue);

bool operator==(const SignalRecord& left, const SignalRecord& right);
std::ostream& operator<<(std::ostream& out, const SignalRecord& record);
