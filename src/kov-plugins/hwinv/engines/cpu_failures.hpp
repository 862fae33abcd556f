/*
 * The two ways in which the processor and cache engine speaks of a failure.
 *
 * Both are called in a catch block and log what was thrown, in the name of the operation at `site`.
 * No lock; any thread. Never throw.
 */
#pragma once

#include "base/log.hpp"

void operationFailed(const Site& site);
void searchFailed(const Site& site);
