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
 * effect. The removal rows of the KOVD worker serve a removal that is put on kovdMessageQueue; no
 * decoder does that today.
 *
 * A record that changes properties carries only the changed ones; the inserts merge them.
 *
 * An error costs one record: it is logged and replaced by a request for a resync. Nothing is
 * retried here. Once `stop` is set, the records that still wait stay in the queue.
 */
#include "intake/workers.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "base/recovery_request.hpp"
#include "bus/idle_heap.hpp"
#include "intake/rows.hpp"
#include "store/one_piece.hpp"
#include "store/store.hpp"

#include <array>
#include <exception>
#include <list>
#include <utility>

namespace
{

void changeProperties(const Site& site, const InsertRow* row, const SignalRecord& record)
{
    if (row == nullptr)
    {
        return;
    }
    LOG_AT(site, level::error, "%s :Object path to be updated", record.objectPath.c_str());
    if (!record.changedProperties.empty())
    {
        row->operation(record.objectPath, record.changedProperties);
    }
}

void addSmbios(const Site& site, const SignalRecord& record)
{
    const auto add =
        [&](const InsertRow& row, const std::string&, const ReceivedProperties& properties)
    {
        LOG_AT(site, level::error, "%s Add ObjPath", record.objectPath.c_str());
        row.operation(record.objectPath, properties);
    };
    visitRows(smbiosAddedRows, record.objectPath, record.interfaces, add);
}

void removeSmbios(const Site& site, const SignalRecord& record)
{
    for (const auto& interface : record.removedInterfaces)
    {
        if (const auto* row = findRow(smbiosRemovedRows, record.objectPath, interface))
        {
            LOG_AT(site, level::error, "%s :Object path to be removed", record.objectPath.c_str());
            row->operation(record.objectPath);
        }
    }
}

void addKovd(const Site& site, const SignalRecord& record)
{
    const auto add = [&](const InsertRow& row, const std::string& interface,
                         const ReceivedProperties& properties)
    {
        // The two lines change places for a chassis object.
        const bool chassis = row.pathText == names::kovdChassisPath;
        LOG_AT(site, level::trace, "OBJ_MGR_INTF_ADDED_SIGNAL");
        if (chassis)
        {
            LOG_AT(site, level::trace, "interface = %s", interface.c_str());
        }
        LOG_AT(site, level::info, "%s ObjPath to be added", record.objectPath.c_str());
        if (!chassis)
        {
            LOG_AT(site, level::trace, "interface = %s", interface.c_str());
        }
        row.operation(record.objectPath, properties);
    };
    visitRows(kovdAddedRows, record.objectPath, record.interfaces, add);
}

template <ObjectMap& objects>
void eraseFrom(const Site& site, const std::string& path)
{
    if (objects.eraseObject(path) == -1)
    {
        LOG_AT(site, level::error, "Failed to remove the entry from the map");
        return;
    }
    LOG_AT(site, level::info, "Entry %s removed from the map", path.c_str());
}

void removeProcessor(const Site& /*site*/, const std::string& path)
{
    removeKOVDCPUAssoc(path);
}

/** How a KOVD object goes, and how it is announced: the level of a line differs by kind. */
struct KovdRemoval
{
    void (*remove)(const Site& site, const std::string& path);
    LineWithText pathLine;
    int interfaceLevel;
};

constexpr LineWithText boardPathLine = "%s Object path to be removed";
constexpr LineWithText chassisPathLine = "Object path to be removed = %s";

constexpr std::array kovdRemovedRows{
    Row<KovdRemoval>{names::kovdBoardPath,
                     names::kovdSlotInterface,
                     {eraseFrom<kovdPCIeSlotObjs>, boardPathLine, level::trace}},
    Row<KovdRemoval>{names::kovdBoardPath,
                     names::kovdDeviceInterface,
                     {eraseFrom<kovdPCIeDeviceObjs>, boardPathLine, level::trace}},
    Row<KovdRemoval>{names::kovdBoardPath,
                     names::kovdItemInterface,
                     {removeProcessor, boardPathLine, level::error}},
    Row<KovdRemoval>{names::kovdChassisPath,
                     names::kovdChassisInterface,
                     {eraseFrom<kovdChassisPathSlotObjs>, chassisPathLine, level::error}},
};

bool eraseKovdPair(const std::string& path)
{
    MutexLock lock(associationPairsMutex);
    return eraseAssociationPairByKOVDPath(path);
}

void removeKovd(const Site& site, const SignalRecord& record)
{
    const std::string& path = record.objectPath;
    const std::string_view branch = branchOf(kovdRemovedRows, path);
    if (branch.empty())
    {
        return;
    }
    for (const std::string& interface : record.removedInterfaces)
    {
        if (const auto* row = findRow(kovdRemovedRows, path, interface))
        {
            const KovdRemoval& removal = row->operation;
            LOG_AT(site, level::trace, "OBJ_MGR_INTF_REMOVED_SIGNAL");
            removal.pathLine.log(site, __LINE__, level::error, path.c_str());
            LOG_AT(site, removal.interfaceLevel, "interface = %s", interface.c_str());
            removal.remove(site, path);
        }
    }
    // The pair goes whatever interfaces were named, also when none was.
    if (!eraseKovdPair(path))
    {
        LOG_AT(site, level::warning, "No associations found for path: %s", path.c_str());
    }
    else if (branch == names::kovdBoardPath)
    {
        LOG_AT(site, level::trace, "Entry %s removed from association map", path.c_str());
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

void work(const Site& site, MessageQueue& queue, void (*process)(const Site&, const SignalRecord&))
{
    for (auto next = awaitRecord(queue); !next.empty(); next = awaitRecord(queue))
    {
        process(site, next.front());
        next.clear();
        noteHeapUse();
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
catch (...)
{
    logFailure(site, {"failed to process message err[%s]", "failed to process message"});
    requestRecovery();
}

void processKovdRecord(const Site& site, const SignalRecord& record)
try
{
    MutexLock piece(pieceMutex);
    dispatchKovd(site, record);
}
catch (...)
{
    logFailure(site, {"failed to read message err[%s]", "failed to read message"});
    requestRecovery();
}
