/*
 * Whoever allocates gets the memory from the allocator behind this one: the C library's, or a
 * sanitizer's, which goes on seeing every block. Freeing needs no function here.
 *
 * The loader's own needs come before the allocator behind is known; they are served from a small
 * block that is never given back.
 */
#include "doubles/failing_allocation.hpp"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>

// A sanitizer allocates before it can look at anybody's code.
#define BEFORE_ANY_CHECK __attribute__((no_sanitize("address", "thread", "undefined")))

namespace
{

thread_local bool armed = false;
thread_local bool happened = false;
thread_local std::size_t toSpare = 0;
thread_local std::size_t toFail = 0;

BEFORE_ANY_CHECK bool failsNow()
{
    if (!armed || failing_allocation::uncounted != 0)
    {
        return false;
    }
    if (toSpare != 0)
    {
        --toSpare;
        return false;
    }
    happened = true;
    armed = --toFail != 0;
    return true;
}

using Malloc = void* (*)(std::size_t);
using Calloc = void* (*)(std::size_t, std::size_t);
using Realloc = void* (*)(void*, std::size_t);

struct Behind
{
    Malloc malloc = nullptr;
    Calloc calloc = nullptr;
    Realloc realloc = nullptr;
};

Behind behind;
bool looking = false;

BEFORE_ANY_CHECK const Behind& allocatorBehind()
{
    if (behind.realloc == nullptr && !looking)
    {
        looking = true;
        behind.malloc = reinterpret_cast<Malloc>(dlsym(RTLD_NEXT, "malloc"));
        behind.calloc = reinterpret_cast<Calloc>(dlsym(RTLD_NEXT, "calloc"));
        behind.realloc = reinterpret_cast<Realloc>(dlsym(RTLD_NEXT, "realloc"));
        looking = false;
    }
    return behind;
}

alignas(std::max_align_t) char early[4096];
std::size_t earlyUsed = 0;

/** Zeroed, for a start-up that allocates once or twice. */
BEFORE_ANY_CHECK void* earlyMemory(std::size_t size)
{
    const std::size_t whole =
        (size + alignof(std::max_align_t) - 1) & ~(alignof(std::max_align_t) - 1);
    if (whole > sizeof early - earlyUsed)
    {
        std::abort();
    }
    void* const memory = early + earlyUsed;
    earlyUsed += whole;
    return memory;
}

BEFORE_ANY_CHECK void* allocate(std::size_t size)
{
    const Malloc real = allocatorBehind().malloc;
    return real != nullptr ? real(size) : earlyMemory(size);
}

} // namespace

extern "C"
{
    BEFORE_ANY_CHECK void* malloc(std::size_t size)
    {
        return failsNow() ? nullptr : allocate(size);
    }

    BEFORE_ANY_CHECK void* calloc(std::size_t count, std::size_t size)
    {
        if (failsNow())
        {
            return nullptr;
        }
        const Calloc real = allocatorBehind().calloc;
        return real != nullptr ? real(count, size) : earlyMemory(count * size);
    }

    BEFORE_ANY_CHECK void* realloc(void* memory, std::size_t size)
    {
        return failsNow() ? nullptr : allocatorBehind().realloc(memory, size);
    }
}

void* operator new(std::size_t size)
{
    void* const memory = failsNow() ? nullptr : allocate(size != 0 ? size : 1);
    if (memory == nullptr)
    {
        const failing_allocation::Uncounted room;
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void failing_allocation::arm(std::size_t spared, std::size_t failures)
{
    toSpare = spared;
    toFail = failures;
    happened = false;
    armed = true;
}

bool failing_allocation::disarm()
{
    armed = false;
    return happened;
}
