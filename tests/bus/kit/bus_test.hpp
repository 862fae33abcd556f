#pragma once

// The fixture of all bus tests: a private bus, both simulated services and the real daemon.
//
// A test reads as a script of six verbs:
//
//   bus        each test has one of its own, and both services ready to start
//   daemon     startDaemon() runs the real program on it
//   publish    publish() puts a service with its objects on the bus; the services' own operations
//              (addObject, changeProperties, removeObject) say the rest
//   wait for   waitForLine(), waitForList(): a fact, or failure when the time runs out
//   settle     settle() returns when the daemon has worked off everything so far
//   end        the fixture kills what still runs, after a last look: the daemon must live, and
//              must have written nothing but log lines (a sanitizer's report is none)
//
// Main thread only.

#include "rig/daemon.hpp"
#include "rig/observer.hpp"
#include "sim/bus.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"
#include "sim/service.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kit
{

/** Longer than anything takes on a busy machine under a sanitizer; only failures wait for it. */
inline constexpr std::chrono::seconds patience{60};

using Lists = std::map<std::string, sim::Associations>;
using Texts = std::vector<std::string>;

/** The list of a platform object in an SMBIOS slot. */
sim::Associations inSlot(const std::string& smbiosSlot);

/** The list of the platform's counterpart of SMBIOS processor `cpu` with caches of these levels. */
sim::Associations ofProcessor(unsigned cpu, const std::vector<unsigned>& cacheLevels);

/** What the lists have to be when everything of makeInventory(slots, cpus) has paired. */
Lists listsOf(unsigned slots, unsigned cpus = 0);

/** The program under test: the one just built, or what HWINV_DAEMON names. */
std::string daemonProgram();

/** What starts it somewhere else than here, as HWINV_LAUNCHER names it (rig/daemon.hpp says what it
 *  has to do); empty when the daemon is a child of the test. */
std::string daemonLauncher();

/** The command that runs it with this environment (each NAME=VALUE), by the launcher when there is
 *  one. */
std::vector<std::string> daemonCommand(std::vector<std::string> environment);

class BusTest : public testing::Test
{
  protected:
    explicit BusTest(const sim::BusOptions& options = {});
    ~BusTest() override;

    void publish(const sim::InventoryCapture& inventory);
    void publish(sim::Service& service, const sim::Objects& objects = {});

    /** Starts the daemon at log level 9; its environment may hold more. */
    rig::Daemon& startDaemon(const std::vector<std::string>& environment = {}, int logLevel = 9);

    rig::Daemon& daemon();

    /** The test has made the daemon end. */
    void expectEnd()
    {
        mayEnd_ = true;
    }

    void settle();

    testing::AssertionResult waitForLine(const std::string& function, const std::string& text,
                                         std::size_t number = 1);
    testing::AssertionResult waitForList(const std::string& path, const sim::Associations& list);

    /** All lists that are not empty, read from the bus. */
    Lists lists();

    /** What a function has logged so far, in order. */
    Texts logged(const std::string& function) const;

    /** How often a function has logged a text so far. */
    std::size_t times(const std::string& function, const std::string& text) const;

    sim::PrivateBus bus;
    sim::Service smbios;
    sim::Service kovd;
    rig::Observer observer;

    void TearDown() override;

  private:
    std::unique_ptr<rig::Daemon> daemon_;
    bool mayEnd_ = false;
};

/** The last lines of a log, for failures. */
std::string tailOf(const rig::Log& log);

} // namespace kit
