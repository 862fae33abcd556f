/*
 * What a test of the recovery and fallback threads does: runs a body in a thread of its own, waits
 * for lines of the log, acts when one is written.
 */
#pragma once

#include "base/recovery_request.hpp"
#include "doubles/recorded_log.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <thread>

inline void stopRecovery()
{
    {
        MutexLock lock(recoveryMutex);
        recoveryStop = true;
    }
    recoveryCondition.notifyOne();
}

inline void stopFallback()
{
    {
        MutexLock lock(fallbackMutex);
        fallbackStop = true;
    }
    fallbackCondition.notifyOne();
}

inline bool isRecoveryRequested()
{
    MutexLock lock(recoveryMutex);
    return recoveryRequested;
}

/** Sees each line when it is written. Declare it before the threads that write. */
class LogWatch
{
  public:
    LogWatch()
    {
        recorded_log::setHook([this](const LogLine& line) { see(line); });
    }

    ~LogWatch()
    {
        recorded_log::setHook(nullptr);
    }

    LogWatch(const LogWatch&) = delete;
    LogWatch& operator=(const LogWatch&) = delete;

    /** Does this each time the line is written, in the thread that writes it. */
    void on(const std::string& text, std::function<void()> action)
    {
        const std::lock_guard lock(mutex_);
        actions_[text] = std::move(action);
    }

    /** False when the line has not been written so often within the bound. */
    bool await(const std::string& text, std::size_t times = 1,
               std::chrono::seconds bound = std::chrono::seconds{20})
    {
        std::unique_lock lock(mutex_);
        return written_.wait_for(lock, bound, [&] { return recorded_log::count(text) >= times; });
    }

  private:
    void see(const LogLine& line)
    {
        std::function<void()> action;
        {
            const std::lock_guard lock(mutex_);
            const auto found = actions_.find(line.text);
            action = found != actions_.end() ? found->second : nullptr;
        }
        written_.notify_all();
        if (action)
        {
            action();
        }
    }

    std::mutex mutex_;
    std::condition_variable written_;
    std::map<std::string, std::function<void()>> actions_;
};

/** A thread that is told to stop and awaited at the end of its scope. */
class StoppableThread
{
  public:
    StoppableThread(void (*body)(), void (*stop)())
        : stop_(stop), thread_(
                           [this, body]
                           {
                               body();
                               ended_.set_value();
                           })
    {
    }

    ~StoppableThread()
    {
        if (thread_.joinable())
        {
            stop_();
            thread_.join();
        }
    }

    StoppableThread(const StoppableThread&) = delete;
    StoppableThread& operator=(const StoppableThread&) = delete;

    /** Waits for the end that the body has to come to; a failure when it does not. */
    void join()
    {
        const auto bound = std::chrono::seconds{20};
        if (end_.wait_for(bound) != std::future_status::ready)
        {
            ADD_FAILURE() << "the thread does not end";
            stop_();
        }
        thread_.join();
    }

  private:
    void (*stop_)();
    std::promise<void> ended_;
    std::future<void> end_ = ended_.get_future();
    std::thread thread_; // the last: it uses the others
};
