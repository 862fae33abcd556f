#pragma once

// Going to the background once there is something to leave running.
//
// The work is done in a child; the parent waits until the child says how it went and ends with that
// status, so that the command returns while the child goes on. What the child starts in turn never
// sees the terminal, or a pipe behind the command would wait for it to end. Main thread only,
// before any other is started.

#include <optional>
#include <sstream>

namespace hwinv_demo
{

class Background
{
  public:
    Background() = default;
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    /** In the child: nothing. In the parent: the status to end with, once the child has released it
     *  or has ended. Throws sim::Error when there can be no child. */
    std::optional<int> enter();

    /** In the child: prints what std::cout has taken meanwhile, lets the parent end with this
     * status and lets go of the terminal. */
    void release(int status);

  private:
    void leaveTerminal();
    void printWhatWasSaid();

    int toParent_ = -1;
    int output_ = -1; // the command's own, out of sight of the child's children
    int errors_ = -1;
    std::ostringstream said_;
    std::streambuf* standardBuffer_ = nullptr;
};

} // namespace hwinv_demo
