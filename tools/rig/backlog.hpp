#pragma once

// Whether the daemon's main loop still has associations to write.
//
// Calls on the daemon's name cannot tell: the loop answers them before it goes on with the next
// unit of work. But while units wait there is a byte in the pipe that wakes the loop, and the last
// unit takes it along; who then calls the daemon is answered when that unit has run.
//
// Any thread. Nothing throws; a process that is gone has no backlog.

#include <sys/types.h>

namespace rig
{

/** True while units wait behind the one that runs. */
bool hasBacklog(pid_t daemon);

} // namespace rig
