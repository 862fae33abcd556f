#pragma once

// How often a test of the catalogue repeats itself: a few times in the suites that everybody runs,
// as often as a claim about it needs when HWINV_FAULTS=whole is in the environment.
//
// Any thread; no shared state.

#include <cstdlib>
#include <string>

// Which sanitizer this was compiled with: g++ tells by a macro, clang when it is asked.
#if defined(__has_feature)
    #define FAULTS_HAS(feature) __has_feature(feature)
#else
    #define FAULTS_HAS(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || FAULTS_HAS(thread_sanitizer)
    #define FAULTS_TSAN 1
#else
    #define FAULTS_TSAN 0
#endif
#if defined(__SANITIZE_ADDRESS__) || FAULTS_HAS(address_sanitizer)
    #define FAULTS_ASAN 1
#else
    #define FAULTS_ASAN 0
#endif
#define FAULTS_SANITIZED (FAULTS_TSAN || FAULTS_ASAN)

namespace faults
{

inline bool whole()
{
    const char* wanted = std::getenv("HWINV_FAULTS");
    return wanted != nullptr && std::string(wanted) == "whole";
}

/** `some` rounds, or `all` of them for the whole catalogue. */
inline int rounds(int some, int all)
{
    return whole() ? all : some;
}

/** ThreadSanitizer holds signals back until a thread is at a safe point, and a sanitizer's heap is
 *  not the one that ships: tests of either say so and pass. */
inline constexpr bool threadSanitizer = FAULTS_TSAN;
inline constexpr bool addressSanitizer = FAULTS_ASAN;

} // namespace faults
