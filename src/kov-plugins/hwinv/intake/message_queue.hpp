/*
 * A signal as the workers see it, and the two queues that carry it to them.
 *
 * Who pushes: the subscription thread alone. Who pops: one worker per queue. Order: first in,
 * first out. Bound: none; a push never waits for room. Stopped: a push is still accepted, but
 * nothing is popped any more, and what waits is left where it is.
 *
 * With the mutex held nothing is allocated and nothing is freed: records move as whole list nodes.
 * The SIGINT handler takes this mutex, and the code that it interrupts may hold the heap's lock.
 */
#pragma once

#include "base/mutex.hpp"
#include "store/types.hpp"

#include <cstdint>
#include <list>
#include <string>
#include <vector>

enum class SignalType : std::uint32_t
{
    InterfacesAdded = 0,
    InterfacesRemoved = 1,
    PropertiesChanged = 2,
};

/** A field that does not apply to the type stays empty. */
struct SignalRecord
{
    SignalType type{};
    std::string objectPath;
    std::string interfaceName;                  // PropertiesChanged
    InterfaceMap interfaces;                    // InterfacesAdded
    std::vector<std::string> removedInterfaces; // InterfacesRemoved
    ReceivedProperties changedProperties;       // PropertiesChanged
};

struct MessageQueue
{
    std::list<SignalRecord> records GUARDED_BY(mutex); // pushed at the back, popped at the front
    Mutex mutex;
    ConditionVariable condition;
    bool stop GUARDED_BY(mutex) = false; // never cleared
};

extern MessageQueue kovdMessageQueue;
extern MessageQueue smbiosMessageQueue;

/** Appends the record and wakes the worker. Any thread; takes the queue's lock. */
void pushRecord(MessageQueue& queue, SignalRecord&& record);
