/*
 * What holds in the daemon's store at every moment, whatever has happened: said without any
 * knowledge of how it came about.
 *
 * Takes the store's locks, one after the other; nobody changes the store meanwhile.
 */
#pragma once

#include <string>
#include <vector>

namespace invariants
{

/**
 * A text for each that does not hold; it names the paths. Looks at the small machine's paths:
 *   - each map lists its paths in strictly ascending order and has an object for each;
 *   - the pair table is a bijection: each partner's partner is the path itself;
 *   - both sides of the processor-cache index hold the same pairs, each as often.
 */
std::vector<std::string> broken();

} // namespace invariants
