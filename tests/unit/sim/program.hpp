#pragma once

// Programs as a test runs them: one that ends by itself, and one that says when it is ready and
// runs until it is told to stop.
//
// All waits are bounded. Both see the bus of `address` as the system bus.
// Main thread only.

#include <string>
#include <vector>

struct Finished
{
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

    /** Kills it if it still runs. */
    ~RunningProgram();
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;

    const std::string& firstLine() const
    {
        return firstLine_;
    }

    /** Sends a signal (none when 0) and waits for the end; gives the exit status, -1 when it did
     * not end by itself. */
    int end(int signal);

  private:
    pid_t pid_ = -1;
    int out_ = -1;
    std::string firstLine_;
};
