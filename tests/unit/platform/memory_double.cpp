#include "memory_double.hpp"

#include <cstdlib>
#include <new>

thread_local bool noMemory = false;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return noMemory ? nullptr : std::malloc(size);
}

void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
