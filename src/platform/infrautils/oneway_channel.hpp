/*
 * The loop-thread executor: carries units of work from any thread to the thread of one event loop.
 *
 * A unit is a function and a heap object that it works on. Units run on the loop's thread, one at a
 * time, in the order in which they were queued, each exactly once. Queuing never waits for the
 * loop, however many units wait already and whether or not the loop runs yet. Between two units the
 * loop serves whoever else has become ready, so nobody waits for more than one unit.
 *
 * The executor owns a unit's data from the moment of the call, also when the call fails, and frees
 * it with its real type.
 *
 * Queuing: any thread; takes its own lock. Not in a signal handler. Registering: main thread only.
 * Errors are told by the result; only the first getInstance throws. What a unit throws is logged
 * and ends that unit alone.
 */
#pragma once

#include <sdeventplus/event.hpp>
#include <sdeventplus/source/io.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

namespace infrautils
{

/** The result tells how the work went; the executor does not look at it. */
using UnitFunction = int (*)(void* context, void* data, unsigned long size);

/** A unit's data together with the deleter of its real type. */
using OwnedData = std::unique_ptr<void, void (*)(void*)>;

/** Held while units are queued and taken, and across fork; never while one runs. */
extern std::mutex oneWayChannelOperationMutex;

/**
 * Queues a unit whose data has any type: the one function behind all OneWayChannel_Execute. Returns
 * what they return; never throws. A test program that is linked with a function of its own in this
 * one's place sees every unit.
 */
int executeUnit(UnitFunction function, OwnedData data, unsigned long size, int flag);

class OneWayChannel
{
  public:
    using Callback = std::function<int(void* context, void* data, unsigned long size)>;

    /**
     * The process's one channel, created at the first call. When its pipe cannot be created, that
     * is logged and thrown as std::runtime_error.
     * Any thread; takes its own lock.
     */
    static OneWayChannel& getInstance();

    /**
     * From now on the loop runs the units, each with that context. The callback, which may be
     * empty, runs the units that bring no function of their own. An earlier registration ends;
     * what is queued by then moves to the new loop.
     * Returns 0, or -1 when the loop does not take the channel: it is then without a loop.
     * Main thread only: the one that runs the loop.
     */
    int RegisterEventLoop(sdeventplus::Event& loop, void* context, Callback callback);

    /** Null until the first getInstance, and in the child of a fork. */
    static std::atomic<OneWayChannel*> instance;
    /** Held while the channel is created. */
    static std::mutex initCriticalSection;

    OneWayChannel(const OneWayChannel&) = delete;
    OneWayChannel& operator=(const OneWayChannel&) = delete;

  private:
    struct Unit
    {
        UnitFunction function;
        OwnedData data;
        unsigned long size;
    };

    using Units = std::list<Unit>;

    friend int executeUnit(UnitFunction, OwnedData, unsigned long, int);

    OneWayChannel();
    ~OneWayChannel();

    static void registerForkHandlers();
    static void beforeFork();
    static void afterForkInParent();
    static void afterForkInChild();

    // REQUIRES: oneWayChannelOperationMutex held.
    /** Takes the unit over when it returns 0. */
    int enqueue(Units& unit);
    /** False when the loop will not wake up. */
    bool wakeLoop() const;
    /** Moves the oldest unit; leaves the list empty when there is none. */
    void takeOldest(Units& unit);
    void emptyPipe() const;

    // The loop's thread only.
    /** When the loop finds the pipe readable. */
    void runOldest();
    void stepBack(sd_event_source* source);
    static int beforeIteration(sd_event_source* source, void* userdata);
    void runUnit(const Unit& unit) noexcept;

    int readEnd_ = -1;
    int writeEnd_ = -1;

    // Guarded by oneWayChannelOperationMutex. Only the loop's thread writes the first three, so it
    // reads them without.
    std::unique_ptr<sdeventplus::source::IO> source_;
    void* context_ = nullptr;
    Callback callback_;
    Units pending_;

    // The loop's thread only.
    int iterationsWithoutUnit_ = 0; // counts until others have had theirs
};

} // namespace infrautils

/**
 * Has function(context, data, size) called on the loop's thread, later; never waits for it.
 * The data comes from `new`. The flag has no meaning yet: 1.
 * Returns 0 when the unit is queued, -1 when it will never run: no loop is registered, or no memory
 * is left. In both cases the data is no longer the caller's.
 * Any thread; takes its own lock.
 */
template <class T>
int OneWayChannel_Execute(int (*function)(void*, void*, unsigned long), T* data, unsigned long size,
                          int flag)
{
    static_assert(std::is_object_v<T> && sizeof(T) > 0, "the data is freed with its real type");
    infrautils::OwnedData owned{data, [](void* object) { delete static_cast<T*>(object); }};
    return infrautils::executeUnit(function, std::move(owned), size, flag);
}

/** A void* has lost the type that it would be freed with. */
int OneWayChannel_Execute(int (*function)(void*, void*, unsigned long), void* data,
                          unsigned long size, int flag) = delete;
