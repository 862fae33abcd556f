/* The one association that the PCIe engine writes. No lock; any thread. */
#pragma once

#include "store/types.hpp"

#include <string>

/** The list for any platform object that belongs to this SMBIOS slot. */
AssociationList slotAssociationList(const std::string& smbiosPath);
