/*
 * For races: all works start at the same moment, each in a thread of its own. Any thread.
 */
#pragma once

#include <functional>
#include <vector>

/** Returns when all have ended. */
void runTogether(const std::vector<std::function<void()>>& works);
