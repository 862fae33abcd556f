/*
 * A mutex and a condition variable that clang's thread-safety analysis can follow.
 *
 * Thin: std::mutex and std::condition_variable underneath, nothing added at run time. A failing
 * primitive throws std::system_error.
 */
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
    #define THREAD_ANNOTATION(x) __attribute__((x))
#else
    #define THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(x) THREAD_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) THREAD_ANNOTATION(guarded_by(x))
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))

class CAPABILITY("mutex") Mutex
{
  public:
    void lock() ACQUIRE()
    {
        mutex_.lock();
    }

    void unlock() RELEASE()
    {
        mutex_.unlock();
    }

  private:
    friend class ConditionVariable;
    std::mutex mutex_;
};

/** Holds a Mutex for a scope. */
class SCOPED_CAPABILITY MutexLock
{
  public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex)
    {
        mutex_.lock();
    }

    ~MutexLock() RELEASE()
    {
        mutex_.unlock();
    }

    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

  private:
    Mutex& mutex_;
};

class ConditionVariable
{
  public:
    /** May return without a notification. */
    void wait(Mutex& mutex) REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        Release keep{lock};
        condition_.wait(lock);
    }

    /** May return before the deadline, with or without a notification. */
    void waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) REQUIRES(mutex)
    {
        std::unique_lock<std::mutex> lock(mutex.mutex_, std::adopt_lock);
        Release keep{lock};
        condition_.wait_until(lock, deadline);
    }

    void notifyOne() noexcept
    {
        condition_.notify_one();
    }

    void notifyAll() noexcept
    {
        condition_.notify_all();
    }

  private:
    /** The caller's lock goes on holding the mutex, also when a wait throws. */
    struct Release
    {
        std::unique_lock<std::mutex>& lock;
        ~Release()
        {
            lock.release();
        }
    };

    std::condition_variable condition_;
};
