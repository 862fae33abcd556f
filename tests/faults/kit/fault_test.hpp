#pragma once

// The fixture of the fault catalogue: that of the bus tests, and two questions after each fault.
//
//   healthy   is the daemon whole? It lives, has the threads that it should have, uses no processor
//             time when there is nothing to do, has kept no descriptor, and no library has
//             complained
//   canary    does it still do its work? The platform announces a slot that it never named before,
//             and exactly one Set with the one right list arrives within a second
//
// A case is named after its row of the catalogue: TEST_F(BusFaults, B3BusKilledWhileIdle). What it
// has measured it says with measured(); scripts/test --faults prints that beside the row.
//
// Main thread only.

#include "faults/kit/preload.hpp"
#include "kit/bus_test.hpp"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kit
{

/** Beside those of a sanitizer: main, the subscription, two workers, recovery, fallback. */
inline constexpr std::size_t allThreads = 6;
inline constexpr std::size_t threadsAfterFallback = 5;
inline constexpr std::size_t threadsAfterInterrupt = 2;

inline constexpr const char* shortTimeout = "SYSTEMD_BUS_TIMEOUT=2s";

/** True when this process was built with a sanitizer, and so was the daemon. */
bool sanitized();

/** True when the private buses are those of dbus-broker. */
bool onBroker();

/** A bound, as far as a sanitizer keeps it. */
std::chrono::milliseconds allowed(std::chrono::milliseconds limit);

/** "12.3 ms" */
std::string inMilliseconds(std::chrono::nanoseconds time);

/** Puts a figure beside the row in the output of the catalogue. */
void measured(const std::string& figure);

/** A slot of the SMBIOS service for each canary, numbered so; the platform does not know them. */
inline constexpr unsigned firstCanary = 9001;

class FaultTest : public BusTest
{
  protected:
    explicit FaultTest(const sim::BusOptions& options = {});

    /** The inventory, and the SMBIOS slots of so many canaries. */
    void publishWithCanaries(sim::InventoryCapture inventory, unsigned canaries = 3);

    /** Starts the daemon with libraries that make something fail, or its time run faster. */
    rig::Daemon& startWith(const Preloads& preloads, std::vector<std::string> environment = {},
                           int logLevel = 9);

    /** Starts it, waits until it has worked off everything, and notes what it is then. */
    void startSettled(const Preloads& preloads = {}, std::vector<std::string> environment = {},
                      int logLevel = 9);

    /** The descriptors that it has now are what a healthy one has later. */
    void noteDescriptors();

    /** And its unique name, which it must have got. */
    void noteState();

    enum class Descriptors
    {
        asBefore,
        noMore // a connection that the bus has ended is closed
    };

    /** Waits until the daemon has just so many, those of a sanitizer apart. */
    bool waitForThreads(std::size_t threads = allThreads);

    /** REQUIRES: noteDescriptors(), and nothing left to do for the daemon. Takes three seconds. */
    void expectHealthy(std::size_t threads = allThreads,
                       Descriptors descriptors = Descriptors::asBefore);

    /** REQUIRES: publishWithCanaries() with enough of them. `later` is the time-out of the call in
     *  which the main thread may be. */
    void expectCanary(std::chrono::milliseconds later = {});

    /** As noted. */
    const std::string& uniqueName() const
    {
        return uniqueName_;
    }

    /** The test has announced the next canary itself. */
    void skipCanary()
    {
        ++nextCanary_;
    }

    /** Waits until the daemon hears signals, also while its main thread is in a call. The platform
     *  must be there. */
    void waitUntilSubscribed();

    /** Under its unique name: a daemon may have lost the other one. */
    void settleUnderUniqueName();

    /** Sends what makes the daemon ask itself for a resync, and waits until that has ended. With a
     *  warped clock five seconds, and sixty more after the one before, pass in a moment. */
    void resync();

    /** Waits for the daemon's end, for what is allowed(limit). Its exit status, minus a signal's
     * number, or nothing when it is still there; a figure says how long it took. */
    std::optional<int> endedWithin(std::chrono::milliseconds limit);

    /** SIGINT; its five lines must come in their order. */
    void interrupt();

    /** How many lines of the whole log contain this text. */
    std::size_t linesWith(const std::string& text);

    /** How many writes of an association have failed. */
    std::size_t failedUnits()
    {
        return linesWith("exception in a unit of work: ");
    }

  private:
    void expectLittleWork();
    void expectDescriptors(Descriptors expected);
    void expectNoComplaint();

    std::vector<std::string> descriptors_;
    std::string uniqueName_;
    unsigned nextCanary_ = firstCanary;
    unsigned nextUnreadable_ = 1;
};

} // namespace kit
