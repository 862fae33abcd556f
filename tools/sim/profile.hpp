#pragma once

// Who a simulated service is: its bus name, where its object managers sit, and what every object of
// it carries besides its own interfaces.
// Constant after start-up.

#include "sim/objects.hpp"

#include <string>
#include <vector>

namespace sim
{

struct Profile
{
    std::string busName;

    /** An object manager sits exactly at each of these paths and lists what lies below it. */
    std::vector<std::string> managerPaths;

    /** Interfaces that each object has from its beginning, with their first values. Exactly their
     *  properties may be changed from outside by Properties.Set. */
    Interfaces everyObject;
};

/** The SMBIOS service: one object manager, nothing may be set. */
Profile smbiosProfile();

/** The platform's inventory service: object managers for board and chassis, and settable
 *  associations, empty at first, on every object. */
Profile kovdProfile();

} // namespace sim
