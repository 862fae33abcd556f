#pragma once

// The seven kinds of objects that the daemon keeps something of: what it keeps, under which type,
// and what its insert says of another type.
//
// Values only; any thread.

#include "sim/samples.hpp"

#include <string>
#include <vector>

namespace faults
{

/** A property that an insert keeps; its type is 's', 'q' or 'y'. */
struct Kept
{
    const char* name;
    char type;
};

struct Kind
{
    const char* name;
    bool ofSmbios;
    std::vector<Kept> kept;
    const char* insert;
    std::string wrongType; // what the insert says

    /** Object number n of this kind, as a healthy machine has it. */
    sim::Object (*make)(unsigned number);
};

const std::vector<Kind>& kinds();

/** Signal of a new object: `InterfacesAdded` of the manager that such an object is announced by. */
const char* managerOf(const Kind& kind);

/** The D-Bus types of the thirteen alternatives that the daemon can read, in their order. */
const std::vector<std::string>& knownTypes();

/** Some types that it cannot. */
const std::vector<std::string>& unknownTypes();

/** A value of any type, as empty as it can be. */
sim::Value emptyOf(const std::string& type);

/** The body of a message with that signature, every value as empty as it can be. */
sim::Json emptyBody(const std::string& signature);

} // namespace faults
