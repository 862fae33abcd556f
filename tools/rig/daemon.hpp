#pragma once

// The real daemon as a child process, its log in the hands of whoever started it.
//
// A thread drains the child's standard error all the time, so that the daemon never waits for its
// reader. Destruction kills the child; should this process end without it, the kernel does.
// One thread starts, signals and destroys it; its log may be read by any thread.

#include "child/child.hpp"
#include "rig/log.hpp"

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace rig
{

/** The well-known name that the daemon takes. */
inline constexpr const char* daemonName = "com.vexa.kesto.kovdSupportService";

struct DaemonOptions
{
    std::string program;

    /** Starts `program` somewhere else, such as in a sandbox; none when empty. It gets the daemon's
     *  environment and program as env(1) does, hands its own standard error on, writes the daemon's
     *  process id as a line to its own standard output, and ends as the daemon does. */
    std::string launcher = {};

    /** Its DBUS_SYSTEM_BUS_ADDRESS. */
    std::string address;

    /** Its DLOG_LEVEL: 9 for everything. */
    int logLevel = 9;

    /** More of its environment, each NAME=VALUE; these win. */
    std::vector<std::string> environment;

    /** A file that gets a copy of the log; none when empty. */
    std::string logFile;
};

class Daemon
{
  public:
    /** Starts it; throws sim::Error. */
    explicit Daemon(const DaemonOptions& options);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    pid_t pid() const
    {
        return pid_;
    }

    /** The lines read so far. */
    const Log& log() const
    {
        return log_;
    }

    /** Everything that the daemon has written up to now is in log() when this returns. */
    void catchUp() const;

    /** Sends a signal; does nothing when the daemon has ended. */
    void signal(int number);

    /** True as long as the process has not ended by itself or by kill(). */
    bool running()
    {
        return child_.running();
    }

    /** Waits for the process to end by itself and for the rest of its log. Its wait status; nothing
     *  when the time ran out before it ended. */
    std::optional<int> waitForEnd(std::chrono::milliseconds limit);

    /** Ends the process now. */
    void kill();

    /** Whether an emulator runs it, because it was built for another machine. Known once it has
     *  written a line. */
    bool emulated() const;

    /** Waits until it has this many threads; false when the time ran out. */
    bool waitForThreads(std::size_t count, std::chrono::milliseconds limit) const;

    /** Its own: an emulator's thread is not counted. */
    std::size_t threads() const;

  private:
    child::Child start(const DaemonOptions& options);
    pid_t launchedPid();
    void drain();
    bool readWhatIsThere() const;

    mutable std::mutex readMutex_; // held from a read to its append: bytes stay in their order
    mutable Log log_;
    mutable std::vector<char> buffer_;

    child::Descriptor pipe_;
    child::Descriptor told_;     // what a launcher writes
    child::Descriptor launched_; // the daemon, when it is not the child
    child::Child child_;         // the daemon or its launcher
    pid_t pid_;                  // the daemon's
    child::Descriptor copy_;
    std::thread reader_;
};

} // namespace rig
