/*
 * What the targets have in place of the platform's libraries: a log that formats each line and
 * drops it, an executor that frees each unit, and a store that starts each run empty.
 *
 * One thread.
 */
#pragma once

namespace world
{

/** Empties every map, pair table, list and queue, and takes a request for recovery back. */
void reset();

} // namespace world
