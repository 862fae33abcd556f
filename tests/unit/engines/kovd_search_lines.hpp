/* What the searches for platform objects are expected to log when they find something. */
#pragma once

#include "doubles/pcie_world.hpp"

#include <string>

namespace world
{

inline const std::string slotSearch = "5 IterateKOVDPCIeSlotObjs: ";
inline const std::string deviceSearch = "5 IterateKOVDPCIeSlotDeviceObjs: ";
inline const std::string twinSearch = "5 IterateKOVDPCIeSlotObjsChassisPath: ";

inline Lines slotSearchStarts(const std::string& smbiosPath)
{
    return {slotSearch + "SmbiosPath:" + smbiosPath,
            "9 IterateKOVDPCIeSlotObjs:  Finding association among kovd PCIe slot dbus objects"};
}

inline Lines slotPaired(const std::string& kovdPath, const std::string& smbiosPath)
{
    return {slotSearch + kovdPath + " :Associated Pcislot objpath",
            slotSearch + "Inserted in active associations",
            slotSearch + "smbios Path " + smbiosPath, slotSearch + "kovd Path " + kovdPath};
}

inline Lines devicePaired(const std::string& device, const std::string& smbiosPath,
                          const std::string& result)
{
    return {deviceSearch + "Association found " + device, deviceSearch + "smbios " + smbiosPath,
            deviceSearch + "kovd " + device, deviceSearch + result};
}

inline const std::string deviceAdded = "Association added successfully";
inline const std::string deviceRefused = "Not able to add association";

inline Lines twinPaired(const std::string& twin, const std::string& smbiosPath)
{
    return {twinSearch + "Associated Pcislotdevice objpath " + twin,
            twinSearch + "Association created successfully",
            twinSearch + "smbiosObjPath: " + smbiosPath, twinSearch + "kovdObjPath: " + twin};
}

inline Lines handOverFailed(const std::string& function, int result)
{
    return {"1 " + function +
            ": OneWayChannel_Execute failed, execRet = " + std::to_string(result)};
}

} // namespace world
