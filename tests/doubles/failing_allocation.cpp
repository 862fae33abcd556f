#include "doubles/failing_allocation.hpp"

#include <cstdlib>
#include <new>

namespace
{

thread_local bool armed = false;
thread_local std::size_t countdown = 0;

bool failsNow()
{
    if (!armed || countdown-- != 0)
    {
        return false;
    }
    armed = false;
    return true;
}

} // namespace

void* operator new(std::size_t size)
{
    void* memory = failsNow() ? nullptr : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr)
    {
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

void failing_allocation::arm(std::size_t spared)
{
    countdown = spared;
    armed = true;
}

bool failing_allocation::disarm()
{
    const bool failed = !armed;
    armed = false;
    return failed;
}
