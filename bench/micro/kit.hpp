/*
 * What the micro-benchmarks share: objects as both services publish them, and messages without a
 * bus. A message that cannot be made ends the process. Main thread only.
 */
#pragma once

#include "store/property_map.hpp"

#include <sdbusplus/message.hpp>

#include <string>

namespace micro
{

/** What a search compares. */
PropertyMap smbiosSlot(unsigned number, unsigned identifier);
PropertyMap kovdSlot(unsigned number, unsigned identifier);

std::string smbiosPath(unsigned number);
std::string kovdPath(unsigned number);

/** An InterfacesAdded of the platform's slot of that number, ready to be read. */
sdbusplus::message_t slotSignal(unsigned number);

/** Puts the read position at the begin. */
void rewind(sdbusplus::message_t& message);

/** Stores the SMBIOS slots 1 to `slots`, and no others. */
void keepOnlySmbiosSlots(unsigned slots);

} // namespace micro
