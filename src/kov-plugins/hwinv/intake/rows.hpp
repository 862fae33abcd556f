/*
 * Which operation an object concerns, as data: rows of (path text, interface, operation).
 *
 * The first row whose path text is contained in the path decides the branch; within the branch
 * the row with exactly the interface decides the operation. So an object that fits two branches
 * belongs to the first alone.
 *
 * The decoders ask the same rows which signals concern anybody, discovery and the workers which
 * operation serves an object. Any thread. Constant after start-up. Nothing here throws.
 */
#pragma once

#include "base/names.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "store/types.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

using InsertOperation = void (*)(const std::string& path, const ReceivedProperties& properties);
using RemoveOperation = void (*)(const std::string& path);

inline constexpr std::string_view inAnyPath; // empty

template <class Operation>
struct Row
{
    std::string_view pathText;
    std::string_view interface;
    Operation operation;
    std::string_view pathTextToo = inAnyPath; // the path must contain it as well
};

using InsertRow = Row<InsertOperation>;
using RemoveRow = Row<RemoveOperation>;

inline bool contains(std::string_view path, std::string_view text)
{
    return path.find(text) != std::string_view::npos;
}

/** The path text of the branch that the path belongs to; empty when it belongs to none. */
template <class Operation, std::size_t N>
std::string_view branchOf(const std::array<Row<Operation>, N>& rows, std::string_view path)
{
    for (const auto& row : rows)
    {
        if (contains(path, row.pathText))
        {
            return row.pathText;
        }
    }
    return {};
}

/** The row for one interface of the path; null when nobody cares for it. */
template <class Operation, std::size_t N>
const Row<Operation>* findRow(const std::array<Row<Operation>, N>& rows, std::string_view path,
                              std::string_view interface)
{
    const std::string_view branch = branchOf(rows, path);
    for (const auto& row : rows)
    {
        if (row.pathText == branch && row.interface == interface && contains(path, row.pathTextToo))
        {
            return &row;
        }
    }
    return nullptr;
}

/** Calls `visit(row, interface, properties)` for each interface, by name, that has a row. */
template <std::size_t N, class Visit>
void visitRows(const std::array<InsertRow, N>& rows, const std::string& path,
               const InterfaceMap& interfaces, Visit visit)
{
    for (const auto& [interface, properties] : interfaces)
    {
        if (const InsertRow* row = findRow(rows, path, interface))
        {
            visit(*row, interface, properties);
        }
    }
}

/** SMBIOS objects, in discovery and when their properties change. */
inline constexpr std::array smbiosRows{
    InsertRow{names::smbiosSlotPath, names::smbiosSlotInterface, InsertSMBIOSPCIeSlotObj},
    InsertRow{names::smbiosCpuPath, names::smbiosCpuInterface, InsertSMBIOSCPUObj},
    InsertRow{names::smbiosCachePath, names::smbiosCacheInterface, InsertSMBIOSCacheObj},
};

inline constexpr std::array smbiosAddedRows{
    InsertRow{names::inventoryPath, names::smbiosSlotInterface, InsertSMBIOSPCIeSlotObj},
    InsertRow{names::inventoryPath, names::smbiosCpuInterface, InsertSMBIOSCPUObj},
    InsertRow{names::inventoryPath, names::smbiosCacheInterface, InsertSMBIOSCacheObj},
};

inline constexpr std::array smbiosRemovedRows{
    RemoveRow{names::smbiosSlotPath, names::smbiosSlotInterface, removeSMBIOSPCIeAssociations},
    RemoveRow{names::smbiosCpuPath, names::smbiosCpuInterface, removeSMBIOSCPUAssoc},
    RemoveRow{names::smbiosCachePath, names::smbiosCacheInterface, removeSMBIOSCacheAssoc},
};

// Below the board path the PCIe interfaces are taken wherever they are; a processor is not.
inline constexpr std::array kovdAddedRows{
    InsertRow{names::kovdBoardPath, names::kovdDeviceInterface, InsertKOVDPCIeDevicesObj},
    InsertRow{names::kovdBoardPath, names::kovdSlotInterface, InsertKOVDPCIeSlotObj},
    InsertRow{names::kovdBoardPath, names::kovdItemInterface, InsertKOVDCPUObj,
              names::kovdBoardCpuPath},
    InsertRow{names::kovdChassisPath, names::kovdChassisInterface, InsertKOVDChassisPathSlotObjs},
};

inline constexpr std::array kovdChangedRows{
    InsertRow{names::kovdBoardPciePath, names::kovdSlotInterface, InsertKOVDPCIeSlotObj},
    InsertRow{names::kovdBoardPciePath, names::kovdDeviceInterface, InsertKOVDPCIeDevicesObj},
    InsertRow{names::kovdChassisPciePath, names::kovdChassisInterface,
              InsertKOVDChassisPathSlotObjs},
    InsertRow{names::kovdBoardCpuPath, names::kovdItemInterface, InsertKOVDCPUObj},
};

/** KOVD objects in discovery: the rows of each of the two paths that are read. */
inline constexpr std::array kovdBoardRows{
    InsertRow{names::kovdBoardPciePath, names::kovdSlotInterface, InsertKOVDPCIeSlotObj},
    InsertRow{names::kovdBoardPciePath, names::kovdDeviceInterface, InsertKOVDPCIeDevicesObj},
    InsertRow{names::kovdBoardCpuPath, names::kovdItemInterface, InsertKOVDCPUObj},
};

inline constexpr std::array kovdChassisRows{
    InsertRow{names::kovdChassisPciePath, names::kovdChassisInterface,
              InsertKOVDChassisPathSlotObjs},
};
