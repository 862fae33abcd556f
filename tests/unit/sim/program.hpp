#pragma once

// Programs as a test runs them: one that ends by itself, and one that says when it is ready and
// runs until it is told to stop.
//
// All waits are bounded. Both see the bus of `address` as the system bus. What cannot be run throws
// std::system_error. Main thread only.

#include "child/child.hpp"

#include <string>
#include <vector>

struct Finished
{
    /** Minus the number of the signal when one ended it. */
    int status = -1;
    std::string out;
    std::string err;
};

/** Runs a program to its end, killing it after 20 s. */
Finished runProgram(const std::string& address, const std::vector<std::string>& command);

class RunningProgram
{
  public:
    /** Starts it and waits for the first line of its output. */
    RunningProgram(const std::string& address, const std::vector<std::string>& command);

    const std::string& firstLine() const
    {
        return firstLine_;
    }

    /** Sends a signal (none when 0) and waits for the end, killing it after 20 s; gives the exit
     *  status, or minus the number of the signal that ended it. */
    int end(int signal);

  private:
    child::Pipe out_;
    child::Child program_;
    std::string firstLine_;
};
