#pragma once

// Nothing stays behind, however the demonstration ends.
//
// The work with its bus, threads and daemon is done in a child. This process has one thread, waits
// for the child's end or for a signal that asks to stop, then ends the child and all that came
// from it, removes the folder that the bus had, and ends as the child did or as the signal says.
// Should this process be killed, the kernel ends the child and with it bus and daemon; only the
// folder is left then. Main thread only, before any other is started.

#include <functional>
#include <string>
#include <utility>

namespace hwinv_demo
{

/** What the child knows of its guard. */
class Guard
{
  public:
    Guard(std::string folder, int toGuard) : folder_(std::move(folder)), toGuard_(toGuard) {}

    /** Where all files of the demonstration belong. */
    const std::string& folder() const
    {
        return folder_;
    }

    /** From now on a signal that asks to stop is the wanted end; this is its status. */
    void stay(int status) const;

  private:
    std::string folder_;
    int toGuard_;
};

/** Runs `work` in a child and gives the status that it returns, or that it said to stay with.
 *  Does not return when a signal has ended it. `work` must not throw. Throws sim::Error when there
 *  can be no folder or no child. */
int runGuarded(const std::function<int(const Guard&)>& work);

} // namespace hwinv_demo
