/*
 * Whether everything that the daemon needs is well on a live bus.
 *
 * Reads only. Thread: the one that owns the connection.
 */
#pragma once

#include "inspect/machine.hpp"

#include <string>
#include <vector>

namespace inspect
{

struct Symptom
{
    std::string check; // a name that programs may rely on
    bool well = true;
    std::string sentence;
};

/** Throws sim::BusError when the bus itself fails. */
std::vector<Symptom> examineHealth(sd_bus* bus);

} // namespace inspect
