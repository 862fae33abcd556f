/*
 * Queues and workers: which records arrive, in which order, and what is promised.
 *
 * The subscription thread must keep its loop moving, so it only pushes. Each worker pops the
 * records of its queue in the order of arrival and processes them without the queue's lock, so a
 * producer never waits for a worker. The two workers run beside each other and beside a resync, but
 * each record is one piece (store/one_piece.hpp): what the other worker or the resync does comes
 * before it or after it, never in between.
 *
 * SMBIOS records of all three kinds and the removals that the platform daemon announces arrive on
 * smbiosMessageQueue. No row of the SMBIOS worker fits a platform object, so such a removal has no
 * effect; that is intended. The removal rows of the KOVD worker serve records that are put on
 * kovdMessageQueue by whoever else does so.
 *
 * A record that changes properties carries only the changed ones; the inserts merge them.
 *
 * An error costs one record: it is logged and replaced by a request for a resync. Nothing is
 * retried here. `stop` wins over pending records: what still waits is left there.
 */
#include "intake/workers.hpp"

#include "base/names.hpp"
#include "base/recovery_request.hpp"
#include "intake/rows.hpp"
#include "intake/smbios_rows.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "store/one_piece.hpp"
#include "store/store.hpp"

#include <array>
#include <cstddef>
#include <exception>
#include <list>
#include <malloc.h>
#include <utility>

namespace
{

/** So many records leave enough free heap behind to be worth giving back. */
constexpr std::size_t trimAfter = 1024;

constexpr std::array smbiosAddedRows{
    InsertRow{names::inventoryPath, names::smbiosSlotInterface, InsertSMBIOSPCIeSlotObj},
    InsertRow{names::inventoryPath, names::smbiosCpuInterface, InsertSMBIOSCPUObj},
    InsertRow{names::inventoryPath, names::smbiosCacheInterface, InsertSMBIOSCacheObj},
};

constexpr std::array smbiosRemovedRows{
    RemoveRow{names::smbiosSlotPath, names::smbiosSlotInterface, removeSMBIOSPCIeAssociations},
    RemoveRow{names::smbiosCpuPath, names::smbiosCpuInterface, removeSMBIOSCPUAssoc},
    RemoveRow{names::smbiosCachePath, names::smbiosCacheInterface, removeSMBIOSCacheAssoc},
};

// Below the board path the PCIe interfaces are taken wherever they stand; a processor is not.
constexpr std::array kovdAddedRows{
    InsertRow{names::kovdBoardPath, names::kovdDeviceInterface, InsertKOVDPCIeDevicesObj},
    InsertRow{names::kovdBoardPath, names::kovdSlotInterface, InsertKOVDPCIeSlotObj},
    InsertRow{names::kovdBoardPath, names::kovdItemInterface, InsertKOVDCPUObj,
              names::kovdBoardCpuPath},
    InsertRow{names::kovdChassisPath, names::kovdChassisInterface, InsertKOVDChassisPathSlotObjs},
};

constexpr std::array kovdChangedRows{
    InsertRow{names::kovdBoardPciePath, names::kovdSlotInterface, InsertKOVDPCIeSlotObj},
    InsertRow{names::kovdBoardPciePath, names::kovdDeviceInterface, InsertKOVDPCIeDevicesObj},
    InsertRow{names::kovdChassisPciePath, names::kovdChassisInterface,
              InsertKOVDChassisPathSlotObjs},
    InsertRow{names::kovdBoardCpuPath, names::kovdItemInterface, InsertKOVDCPUObj},
};

void changeProperties(const Site& site, const InsertRow* row, const SignalRecord& record)
{
    if (row == nullptr)
    {
        return;
    }
    LOG_AT(site, trace::error, "%s :Object path to be updated", record.objectPath.c_str());
    if (!record.changedProperties.empty())
    {
        row->operation(record.objectPath, record.changedProperties);
    }
}

void addSmbios(const Site& site, const SignalRecord& record)
{
    for (const auto& [interface, properties] : record.interfaces)
    {
        if (const auto* row = findRow(smbiosAddedRows, record.objectPath, interface))
        {
            LOG_AT(site, trace::error, "%s Add ObjPath", record.objectPath.c_str());
            row->operation(record.objectPath, properties);
        }
    }
}

void removeSmbios(const Site& site, const SignalRecord& record)
{
    for (const auto& interface : record.removedInterfaces)
    {
        if (const auto* row = findRow(smbiosRemovedRows, record.objectPath, interface))
        {
            LOG_AT(site, trace::error, "%s :Object path to be removed", record.objectPath.c_str());
            row->operation(record.objectPath);
        }
    }
}

void addKovd(const Site& site, const SignalRecord& record)
{
    const std::string& path = record.objectPath;
    for (const auto& [interface, properties] : record.interfaces)
    {
        const auto* row = findRow(kovdAddedRows, path, interface);
        if (row == nullptr)
        {
            continue;
        }
        LOG_AT(site, trace::detail, "OBJ_MGR_INTF_ADDED_SIGNAL");
        const bool chassis = row->pathText == names::kovdChassisPath;
        if (chassis)
        {
            LOG_AT(site, trace::detail, "interface = %s", interface.c_str());
        }
        LOG_AT(site, trace::info, "%s ObjPath to be added", path.c_str());
        if (!chassis)
        {
            LOG_AT(site, trace::detail, "interface = %s", interface.c_str());
        }
        row->operation(path, properties);
    }
}

void eraseKovdObject(const Site& site, ObjectMap& objects, const std::string& path)
{
    if (objects.eraseObject(path) == -1)
    {
        LOG_AT(site, trace::error, "Failed to remove the entry from the map");
        return;
    }
    LOG_AT(site, trace::info, "Entry %s removed from the map", path.c_str());
}

void removeBoardInterface(const Site& site, const std::string& path, const std::string& interface)
{
    const bool slot = interface == names::kovdSlotInterface;
    const bool device = interface == names::kovdDeviceInterface;
    const bool item = interface == names::kovdItemInterface;
    if (!slot && !device && !item)
    {
        return;
    }
    LOG_AT(site, trace::detail, "OBJ_MGR_INTF_REMOVED_SIGNAL");
    LOG_AT(site, trace::error, "%s Object path to be removed", path.c_str());
    LOG_AT(site, item ? trace::error : trace::detail, "interface = %s", interface.c_str());
    if (item)
    {
        removeKOVDCPUAssoc(path);
        return;
    }
    eraseKovdObject(site, slot ? kovdPCIeSlotObjs : kovdPCIeDeviceObjs, path);
}

void removeChassisInterface(const Site& site, const std::string& path, const std::string& interface)
{
    if (interface != names::kovdChassisInterface)
    {
        return;
    }
    LOG_AT(site, trace::detail, "OBJ_MGR_INTF_REMOVED_SIGNAL");
    LOG_AT(site, trace::error, "Object path to be removed = %s", path.c_str());
    LOG_AT(site, trace::error, "interface = %s", interface.c_str());
    eraseKovdObject(site, kovdChassisPathSlotObjs, path);
}

bool eraseKovdPair(const std::string& path)
{
    MutexLock lock(associationPairsMutex);
    return eraseAssociationPairByKOVDPath(path);
}

void removeKovd(const Site& site, const SignalRecord& record)
{
    const std::string& path = record.objectPath;
    const bool board = contains(path, names::kovdBoardPath);
    if (!board && !contains(path, names::kovdChassisPath))
    {
        return;
    }
    for (const std::string& interface : record.removedInterfaces)
    {
        (board ? removeBoardInterface : removeChassisInterface)(site, path, interface);
    }
    // The pair goes whatever interfaces were named, also when none was.
    if (!eraseKovdPair(path))
    {
        LOG_AT(site, trace::warning, "No associations found for path: %s", path.c_str());
    }
    else if (board)
    {
        LOG_AT(site, trace::detail, "Entry %s removed from association map", path.c_str());
    }
}

void dispatchSmbios(const Site& site, const SignalRecord& record)
{
    switch (record.type)
    {
        case SignalType::InterfacesAdded:
            addSmbios(site, record);
            return;
        case SignalType::InterfacesRemoved:
            removeSmbios(site, record);
            return;
        case SignalType::PropertiesChanged:
            changeProperties(site, findRow(smbiosRows, record.objectPath, record.interfaceName),
                             record);
            return;
    }
}

void dispatchKovd(const Site& site, const SignalRecord& record)
{
    switch (record.type)
    {
        case SignalType::InterfacesAdded:
            addKovd(site, record);
            return;
        case SignalType::InterfacesRemoved:
            removeKovd(site, record);
            return;
        case SignalType::PropertiesChanged:
            changeProperties(
                site, findRow(kovdChangedRows, record.objectPath, record.interfaceName), record);
            return;
    }
}

/** The next record, in order of arrival, as a list of one; empty once the queue is stopped. */
std::list<SignalRecord> awaitRecord(MessageQueue& queue) EXCLUDES(queue.mutex)
{
    std::list<SignalRecord> next;
    MutexLock lock(queue.mutex);
    while (!queue.stop && queue.records.empty())
    {
        queue.condition.wait(queue.mutex);
    }
    if (!queue.stop)
    {
        next.splice(next.end(), queue.records, queue.records.begin());
    }
    return next;
}

bool isIdle(MessageQueue& queue) EXCLUDES(queue.mutex)
{
    MutexLock lock(queue.mutex);
    return queue.records.empty();
}

void work(const Site& site, MessageQueue& queue, void (*process)(const Site&, const SignalRecord&))
{
    std::size_t sinceTrim = 0;
    for (auto next = awaitRecord(queue); !next.empty(); next = awaitRecord(queue))
    {
        process(site, next.front());
        next.clear();
        if (++sinceTrim >= trimAfter && isIdle(queue))
        {
            malloc_trim(0); // what the records took goes back
            sinceTrim = 0;
        }
    }
}

} // namespace

void processSmbiosMessagesInQueue()
{
    work(UTIL_SITE, smbiosMessageQueue, processSmbiosRecord);
}

void processKovdMessagesInQueue()
{
    work(UTIL_SITE, kovdMessageQueue, processKovdRecord);
}

void processSmbiosRecord(const Site& site, const SignalRecord& record)
try
{
    MutexLock piece(pieceMutex);
    dispatchSmbios(site, record);
}
catch (const std::exception& e)
{
    LOG_AT(site, trace::error, "failed to process message err[%s]", e.what());
    requestRecovery();
}
catch (...)
{
    LOG_AT(site, trace::error, "failed to process message");
    requestRecovery();
}

void processKovdRecord(const Site& site, const SignalRecord& record)
try
{
    MutexLock piece(pieceMutex);
    dispatchKovd(site, record);
}
catch (const std::exception& e)
{
    LOG_AT(site, trace::error, "failed to read message err[%s]", e.what());
    requestRecovery();
}
catch (...)
{
    LOG_AT(site, trace::error, "failed to read message");
    requestRecovery();
}
