/*
 * What the tests of the KOVD worker share: the names of its objects, and how it is set to work.
 *
 * Main thread only.
 */
#pragma once

#include "unit/intake/worker_kit.hpp"

#include <string>
#include <vector>

namespace kovd_objects
{

inline const std::string board = "/xyz/openbmc_project/inventory/system/board";
inline const std::string boardPcie = "/xyz/openbmc_project/inventory/system/board/pcie";
inline const std::string boardCpu = "/xyz/openbmc_project/inventory/system/board/cpu";
inline const std::string chassis = "/xyz/openbmc_project/inventory/system/chassis";
inline const std::string chassisPcie =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie";

inline const std::string slotInterface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
inline const std::string deviceInterface = "com.vexa.bmc.kovd.OEMPcieInventory";
inline const std::string itemInterface = "xyz.openbmc_project.Inventory.Item";
inline const std::string chassisInterface = "xyz.openbmc_project.Inventory.Item.PCIeDevice";

} // namespace kovd_objects

class KovdWork : public FreshStore
{
  protected:
    static void process(const SignalRecord& record)
    {
        recorded_log::clear();
        work(kovdWorker, {record});
    }

    static std::string line(int level, const std::string& text)
    {
        return kovdWorker.line(level, text);
    }

    static Lines joined(std::vector<Lines> parts)
    {
        Lines all;
        for (const auto& part : parts)
        {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }
};
