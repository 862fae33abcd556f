#include "base/heap.hpp"

#include <malloc.h>

void giveBackFreeHeap()
{
    malloc_trim(0);
}
