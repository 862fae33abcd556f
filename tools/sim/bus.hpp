#pragma once

// A private message bus: a dbus-daemon of one's own, with its own configuration and socket in a
// temporary folder.
//
// The folder is made in $TMPDIR, else in /tmp, whatever characters that path has. It may be as long
// as the path of a socket can be, which is 107 bytes.
//
// Everything is allowed on it (names, signals, monitoring) and its limits are far above what the
// tests and benches need. With HWINV_BUS=dbus-broker in the environment it is a dbus-broker, which
// needs a journal's socket and a session bus to be there; scripts/test --bus provides both.
// Destruction ends the daemon and removes the folder that it made. Should the thread that made the
// bus end without destruction, the kernel ends the daemon. One thread makes and destroys it;
// address() may be read by any thread.

#include "child/child.hpp"

#include <cstddef>
#include <optional>
#include <string>

namespace sim
{

/** Makes a folder of one's own in $TMPDIR, else in /tmp, for a bus; throws Error. */
std::string makeTemporaryFolder();

/** Whether a private bus is a dbus-broker: a launcher and its broker, in place of one daemon. */
bool usesBroker();

/** What a bus refuses. dbus-broker's launcher hears the policy and goes by limits of its own. */
struct BusOptions
{
    /** More than anybody asks for. */
    static constexpr unsigned manyMatchRules = 50000;

    unsigned matchRulesPerConnection = manyMatchRules;
    std::size_t bytesPerMessage = 134'217'728;

    /** What may wait in the bus for one connection, and of one connection. */
    std::size_t bytesPerConnection = 1'000'000'000;

    /** Rules for everybody, which win over those that allow everything. */
    std::string policy = {};
};

class PrivateBus
{
  public:
    /** Starts the daemon and waits until it listens; throws Error, at the latest after 10 s. */
    explicit PrivateBus(const BusOptions& options = {});

    /** The same in a folder that stays when the bus goes. */
    explicit PrivateBus(std::string folder);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /** What DBUS_SYSTEM_BUS_ADDRESS has to be for programs that shall use this bus. */
    const std::string& address() const
    {
        return address_;
    }

    /** Ends the daemon now (all connections break, and nobody can make one any more); destruction
     *  then only removes the folder. */
    void kill();

  private:
    PrivateBus(std::string folder, bool ownsFolder);
    void start(const BusOptions& options);
    void startDaemon(const std::string& configArgument);
    void startBroker(const std::string& configArgument);
    void endBroker();

    std::string folder_;
    bool ownsFolder_;
    std::string address_;
    std::optional<child::Child> daemon_;
};

} // namespace sim
