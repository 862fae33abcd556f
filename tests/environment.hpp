#pragma once

// How large a random or repeated test is: small in the suite that everybody runs, as large as the
// environment says in a longer one.
//
// Any thread; throws std::invalid_argument and std::out_of_range for what is no number.

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

namespace environment
{

inline std::uint64_t number(const char* variable, std::uint64_t otherwise)
{
    const char* text = std::getenv(variable);
    return text == nullptr ? otherwise : std::stoull(text);
}

inline std::uint64_t rounds(std::uint64_t otherwise)
{
    return number("HWINV_ROUNDS", otherwise);
}

/** How many slots a large machine has. */
inline unsigned slots(unsigned otherwise)
{
    return static_cast<unsigned>(number("HWINV_SLOTS", otherwise));
}

/** Where random numbers begin: each run elsewhere, unless one is to be repeated. */
inline std::uint64_t seed()
{
    return number("HWINV_SEED", std::random_device{}());
}

} // namespace environment
