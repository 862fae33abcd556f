#pragma once

// The daemon on a bus that hands out any bytes: both services show one SMBIOS slot for each canary
// and nothing else, and a canary is the platform's slot that matches one of them.
//
// Main thread only.

#include "faults/fake_bus.hpp"
#include "faults/kit/fault_test.hpp"

#include <cstddef>
#include <string>

namespace faults
{

/** Who sends the signals: on this bus a client is whatever it says. */
inline constexpr const char* serviceConnection = ":1.50";

/** Main's and the subscription's; that of a discovery ends with it. */
inline constexpr std::size_t lastingConnections = 2;

class RawFaults : public kit::FaultTest
{
  protected:
    RawFaults();

    /** Starts the daemon on the fake bus, not on the real one. */
    void startOnFakeBus(const kit::Preloads& preloads = {});

    /** The same, and waits until it runs and has its eight match rules. */
    void startAndSubscribe(const kit::Preloads& preloads = {});

    /** A signal of a new object of the platform, with a body that is right. */
    static WireMessage addedSlot(unsigned number);

    /** Announces a slot; exactly one Set with the right list must come. False when nobody listens
     *  any more. */
    bool rawCanary();

    FakeBus fake;

  private:
    unsigned nextCanary_ = kit::firstCanary;
};

/** The signal with another body. */
std::string withBody(WireMessage signal, const std::string& signature, const std::string& body);

} // namespace faults
