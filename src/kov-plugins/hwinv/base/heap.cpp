#include "base/heap.hpp"

#include <malloc.h>

namespace
{

// The library's own first value. It would grow up to 64 MB with the blocks that are freed, and the
// end of a thread's heap is given back by this rule alone. A value that was set stays, and so does
// the size from which on a block is mapped by itself.
constexpr int mostAtTheEnd = 128 * 1024;

} // namespace

void limitFreeHeap()
{
    mallopt(M_TRIM_THRESHOLD, mostAtTheEnd);
}

void giveBackFreeHeap()
{
    malloc_trim(0);
}
