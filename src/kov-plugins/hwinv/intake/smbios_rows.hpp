/*
 * Which insert takes which SMBIOS object, in discovery and for changed properties alike. Constant
 * after start-up.
 */
#pragma once

#include "base/names.hpp"
#include "intake/rows.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"

#include <array>

inline constexpr std::array smbiosRows{
    InsertRow{names::smbiosSlotPath, names::smbiosSlotInterface, InsertSMBIOSPCIeSlotObj},
    InsertRow{names::smbiosCpuPath, names::smbiosCpuInterface, InsertSMBIOSCPUObj},
    InsertRow{names::smbiosCachePath, names::smbiosCacheInterface, InsertSMBIOSCacheObj},
};
