/*
 * For a build that helgrind runs (scripts/test --helgrind), in front of every source: helgrind does
 * not see that an atomic operation of one thread comes before that of another one. Where the C++
 * library relies on it, in the last release of a shared object, the library says so by these macros
 * of its own.
 */
#pragma once

#include <valgrind/helgrind.h>

#define _GLIBCXX_SYNCHRONIZATION_HAPPENS_BEFORE(address) ANNOTATE_HAPPENS_BEFORE(address)
#define _GLIBCXX_SYNCHRONIZATION_HAPPENS_AFTER(address) ANNOTATE_HAPPENS_AFTER(address)
