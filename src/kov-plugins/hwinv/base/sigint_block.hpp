/*
 * Keeps SIGINT away from this thread for a scope; a signal that arrives meanwhile is delivered
 * when the scope ends.
 *
 * The handler takes the queue, recovery and fallback mutexes, so it must not interrupt code that
 * holds one of them; and libsystemd 252 fails a synchronous bus call with EINTR when any handler
 * runs during it. A thread started inside the scope is born with SIGINT blocked.
 *
 * Any thread; affects the calling thread alone. Scopes nest. Takes no lock.
 */
#pragma once

#include <csignal>

class SigintBlock
{
  public:
    SigintBlock() noexcept
    {
        sigset_t block;
        sigemptyset(&block);
        sigaddset(&block, SIGINT);
        pthread_sigmask(SIG_BLOCK, &block, &before_);
    }

    ~SigintBlock()
    {
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    SigintBlock(const SigintBlock&) = delete;
    SigintBlock& operator=(const SigintBlock&) = delete;

  private:
    sigset_t before_;
};
