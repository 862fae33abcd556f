#pragma once

// The remote control of a running simulator: a small D-Bus interface under a name of its own, so
// that it answers also while the simulated services are stopped.
//
// A request that cannot be carried out is answered with an error whose text is for a person.
// REQUIRES: the thread that owns the connection.

#include "simulator.hpp"

#include <systemd/sd-bus.h>

namespace hwinv_sim
{

inline constexpr const char* controlName = "com.vexa.hwinv.Simulator";
inline constexpr const char* controlPath = "/com/vexa/hwinv/simulator";
inline constexpr const char* controlInterface = "com.vexa.hwinv.Simulator1";

/** Puts the control object on the connection, for as long as that lives, and takes the name; throws
 *  sim::Error when another simulator has it. The simulator must outlive the connection. */
void offerControl(sd_bus* bus, Simulator& simulator);

} // namespace hwinv_sim
