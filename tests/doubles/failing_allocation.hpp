/*
 * Memory that runs out on request: linked into a test program, it stands in for the global
 * operator new and for malloc, calloc and realloc, those of the libraries included. Each thread has
 * a countdown of its own.
 *
 * What the doubles themselves allocate is not counted: in the shipped daemon a line of the log
 * takes no heap, and a hand-over is tested with the real executor.
 */
#pragma once

#include <cstddef>

namespace failing_allocation
{

/**
 * Behind the next `spared` allocations of this thread that many in a row fail: operator new throws
 * std::bad_alloc, the others return null. The room for what is thrown is not counted.
 */
void arm(std::size_t spared, std::size_t failures = 1);

/** True when at least one failure has happened; there will be none after this call. */
bool disarm();

inline thread_local int uncounted = 0;

/** This thread's allocations are neither counted nor do they fail, for a scope. Scopes nest. */
class Uncounted
{
  public:
    Uncounted()
    {
        ++uncounted;
    }

    ~Uncounted()
    {
        --uncounted;
    }

    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;
};

} // namespace failing_allocation
