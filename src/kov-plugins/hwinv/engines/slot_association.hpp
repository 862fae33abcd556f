/*
 * The one association that the PCIe engine writes: ("chassis", "pcieslot", the SMBIOS slot).
 *
 * Any thread; takes the executor's lock.
 */
#pragma once

#include "base/log.hpp"
#include "store/types.hpp"

#include <string>

/** The list for any platform object that belongs to this SMBIOS slot. */
AssociationList slotAssociationList(const std::string& smbiosPath);

/**
 * Hands that list for the platform object to the main loop. A refused hand-over is logged at `site`
 * and changes nothing for the caller: nothing is retried.
 */
void sendSlotAssociation(const Site& site, const std::string& kovdPath,
                         const std::string& smbiosPath);
