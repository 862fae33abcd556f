#pragma once

// The demo as a child of a test, on a pipe or on a terminal of its own.
//
// All waits are bounded. Main thread only.

#include "child/child.hpp"
#include "kit/bus_test.hpp"
#include "sim/value.hpp"

#include <filesystem>
#include <functional>
#include <string>

namespace demo
{

struct Outcome
{
    /** Minus the number of the signal when one ended it. */
    int status = -1;
    std::string output;

    bool says(const std::string& text) const
    {
        return output.find(text) != std::string::npos;
    }
};

/** Runs the demo from a shell, standard error where standard output is, and reads all of it; the
 *  arguments may redirect standard output. */
Outcome runDemo(const std::string& arguments);

/** A folder for temporary files that goes with its owner. */
class TemporaryFolder
{
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const
    {
        return path_;
    }

  private:
    std::filesystem::path path_;
};

/** A demo that runs, with a folder for temporary files of its own. */
class RunningDemo
{
  public:
    struct Terminal
    {
        unsigned short columns = 80;
    };

    explicit RunningDemo(const std::string& arguments);
    RunningDemo(const std::string& arguments, Terminal terminal);

    /** Kills it if it still runs. */
    ~RunningDemo();
    RunningDemo(const RunningDemo&) = delete;
    RunningDemo& operator=(const RunningDemo&) = delete;

    pid_t pid() const
    {
        return child_.pid();
    }

    /** Waits until it has printed this; false when it ended before. */
    bool waitFor(const std::string& text);

    /** All that it printed, once it has closed its output. */
    std::string rest();

    const std::string& output() const
    {
        return output_;
    }

    void signal(int number)
    {
        child_.signal(number);
    }

    /** What a person types at its terminal. */
    void type(const std::string& keys) const;

    /** Nobody reads its output any more. */
    void closeOutput()
    {
        streams_.read.reset();
    }

    /** Its wait status; -1 when the time ran out. */
    int waitForEnd()
    {
        return child_.waitForEnd(kit::patience).value_or(-1);
    }

    /** True when nothing is left in its folder for temporary files. */
    bool folderIsEmpty() const;

    /** How many processes have to do with that folder: the demo, its bus, its daemon. */
    std::size_t processes() const;

    /** Waits until there are this many; false when the time ran out. */
    bool waitForProcesses(std::size_t count) const;

  private:
    TemporaryFolder folder_;
    child::Pipe streams_;
    child::Child child_;
    std::string output_;
};

/** A copy of an inventory that a test may tamper with. */
class Copy
{
  public:
    explicit Copy(const std::string& name);

    void tamper(const std::string& file, const std::function<void(sim::Json&)>& change) const;

    std::string folder() const
    {
        return folder_.path().string();
    }

  private:
    TemporaryFolder folder_;
};

} // namespace demo
