#pragma once

// What a running server goes through, told on the bus step by step: a line for what happens, then
// the associations concerned, read back from the bus.
// Main thread only.

#include "scene.hpp"

#include <ostream>

namespace hwinv_demo
{

/** Plays the story of the inventory two-socket-2u; returns how many steps did not end as told.
 *  REQUIRES: the scene has settled with both services. */
int playStory(Scene& scene, std::ostream& out);

/** Starts the daemon without one of the services ("smbios" or "kovd"), then has that service come
 * up with all its objects at once and one message that cannot be read: the daemon asks for a
 * resync, which finds the rest. Returns when the resync is done and settled; throws sim::Timeout.
 */
void startLate(Scene& scene, const std::string& lateService, std::ostream& out);

} // namespace hwinv_demo
