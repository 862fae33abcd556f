/*
 * A fuzz target: a function that takes any bytes whatever and ends the process when what it tests
 * does something that it must not do. Built for libFuzzer, which invents the bytes, and as a
 * program of the unit suite, which runs the files of a corpus.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// The name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/** Ends the process when the condition does not hold: that is how a target finds something. */
inline void require(bool condition, const char* what)
{
    if (!condition)
    {
        std::fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}
