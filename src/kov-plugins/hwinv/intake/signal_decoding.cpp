#include "intake/signal_decoding.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "base/recovery_request.hpp"
#include "bus/object_path.hpp"
#include "intake/message_queue.hpp"
#include "intake/rows.hpp"

#include <sdbusplus/exception.hpp>
#include <systemd/sd-bus.h>

#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using sdbusplus::exception::SdBusError;

namespace
{

constexpr std::string_view addedSignature = "oa{sa{sv}}";
constexpr std::string_view removedSignature = "oas";
constexpr std::string_view changedSignature = "sa{sv}as";

bool hasSignature(const Site& site, sdbusplus::message_t& message, std::string_view expected)
{
    const char* signature = message.get_signature();
    if (signature == expected)
    {
        return true;
    }
    LOG_AT(site, level::error, "Invalid signature = %s", signature);
    return false;
}

void logUnreadable(const Site& site, const SdBusError& e)
{
    LOG_AT(site, level::error, "%s Exception occurred while reading message", e.what());
}

bool isSmbiosInventory(std::string_view path)
{
    return contains(path, names::inventoryPath);
}

bool isKovdInventory(std::string_view path)
{
    return !branchOf(kovdAddedRows, path).empty();
}

void decodeAdded(const Site& site, sdbusplus::message_t& message,
                 bool (*ofInterest)(std::string_view), MessageQueue& queue)
{
    if (!hasSignature(site, message, addedSignature))
    {
        return;
    }
    compat::ObjectPath path;
    SignalRecord record;
    record.type = SignalType::InterfacesAdded;
    try
    {
        message.read(path, record.interfaces);
    }
    catch (const SdBusError& e)
    {
        logUnreadable(site, e);
        requestRecovery();
        return;
    }
    record.objectPath = std::move(path.str);
    if (ofInterest(record.objectPath))
    {
        pushRecord(queue, std::move(record));
    }
}

enum class AfterFailure
{
    requestRecovery,
    nothing,
};

/** Removals go to the SMBIOS worker, whichever service announces them. */
void decodeRemoved(const Site& site, sdbusplus::message_t& message,
                   bool (*ofInterest)(std::string_view), AfterFailure afterFailure)
{
    if (!hasSignature(site, message, removedSignature))
    {
        return;
    }
    compat::ObjectPath path;
    SignalRecord record;
    record.type = SignalType::InterfacesRemoved;
    try
    {
        message.read(path, record.removedInterfaces);
    }
    catch (const SdBusError& e)
    {
        logUnreadable(site, e);
        if (afterFailure == AfterFailure::requestRecovery)
        {
            requestRecovery();
        }
        return;
    }
    record.objectPath = std::move(path.str);
    if (ofInterest(record.objectPath))
    {
        pushRecord(smbiosMessageQueue, std::move(record));
    }
}

/**
 * The interface of a PropertiesChanged, read ahead; the message is then back at its start. Nothing
 * when it cannot be read: that is logged and recovery requested.
 */
std::optional<std::string> peekInterface(const Site& site, sdbusplus::message_t& message)
{
    const char* interface = nullptr;
    if (const int r = sd_bus_message_read_basic(message.get(), SD_BUS_TYPE_STRING,
                                                static_cast<void*>(&interface));
        r < 0)
    {
        LOG_AT(site, level::error, "sd_bus_message_read_basic failed: %s", std::strerror(-r));
        requestRecovery();
        return std::nullopt;
    }
    std::string copy = interface == nullptr ? "" : interface;
    if (const int r = sd_bus_message_rewind(message.get(), 1); r < 0)
    {
        LOG_AT(site, level::error, "sd_bus_message_rewind failed: %s", std::strerror(-r));
        requestRecovery();
        return std::nullopt;
    }
    return copy;
}

/** What a PropertiesChanged says of itself before its body is read. */
struct Change
{
    std::string path; // the message's own
    std::string interface;
};

/** Nothing when the message is dropped: for its signature, its path or an unreadable interface. */
std::optional<Change> peekChange(const Site& site, sdbusplus::message_t& message,
                                 bool (*ofInterest)(std::string_view))
{
    if (!hasSignature(site, message, changedSignature))
    {
        return std::nullopt;
    }
    std::string path = message.get_path();
    if (!ofInterest(path))
    {
        return std::nullopt;
    }
    auto interface = peekInterface(site, message);
    if (!interface)
    {
        return std::nullopt;
    }
    return Change{std::move(path), std::move(*interface)};
}

/** The whole body of a PropertiesChanged; the names of invalidated properties are dropped. */
SignalRecord readChanged(sdbusplus::message_t& message, const std::string& path)
{
    SignalRecord record;
    record.type = SignalType::PropertiesChanged;
    record.objectPath = path;
    std::vector<std::string> invalidated;
    message.read(record.interfaceName, record.changedProperties, invalidated);
    return record;
}

void decodeSmbiosChanged(const Site& site, sdbusplus::message_t& message)
{
    const auto change = peekChange(site, message, isSmbiosPathOfInterest);
    if (!change)
    {
        return;
    }
    if (contains(change->path, names::smbiosSlotPath))
    {
        if (change->interface == names::smbiosSlotInterface)
        {
            pushRecord(smbiosMessageQueue, readChanged(message, change->path));
        }
        return;
    }
    // A processor's or cache's body is read whatever the interface: one that cannot be read asks
    // for recovery also when nobody cares for its properties.
    SignalRecord record = readChanged(message, change->path);
    const auto expected = contains(change->path, names::smbiosCpuPath)
                              ? names::smbiosCpuInterface
                              : names::smbiosCacheInterface;
    if (change->interface == expected)
    {
        pushRecord(smbiosMessageQueue, std::move(record));
    }
}

void decodeKovdChanged(const Site& site, sdbusplus::message_t& message)
{
    const auto change = peekChange(site, message, isKovdPathOfInterest);
    if (!change || findRow(kovdChangedRows, change->path, change->interface) == nullptr)
    {
        return;
    }
    SignalRecord record = readChanged(message, change->path);
    if (!contains(change->path, names::kovdBoardPciePath))
    {
        LOG_AT(site, level::error, "%s :Object path to be updated", change->path.c_str());
    }
    pushRecord(kovdMessageQueue, std::move(record));
}

} // namespace

void GetSmbiosMsgData(sdbusplus::message_t& message)
try
{
    const std::string_view member = memberOf(message);
    if (member == names::interfacesAdded)
    {
        decodeAdded(UTIL_SITE, message, isSmbiosInventory, smbiosMessageQueue);
    }
    else if (member == names::interfacesRemoved)
    {
        decodeRemoved(UTIL_SITE, message, isSmbiosPathOfInterest, AfterFailure::requestRecovery);
    }
    else if (member == names::propertiesChanged)
    {
        decodeSmbiosChanged(UTIL_SITE, message);
    }
}
catch (...)
{
    logFailure(UTIL_SITE, {"failed to read message err[%s]", "failed to read message"});
    requestRecovery();
}

void GetKovdMsgData(sdbusplus::message_t& message)
try
{
    const std::string_view member = memberOf(message);
    if (member == names::interfacesAdded)
    {
        decodeAdded(UTIL_SITE, message, isKovdInventory, kovdMessageQueue);
    }
    else if (member == names::interfacesRemoved)
    {
        // Unlike every other unreadable body this one asks for no recovery: a removal of a platform
        // object has no effect anyway.
        decodeRemoved(UTIL_SITE, message, isKovdInventory, AfterFailure::nothing);
    }
    else if (member == names::propertiesChanged)
    {
        decodeKovdChanged(UTIL_SITE, message);
    }
}
catch (...)
{
    logFailure(UTIL_SITE, {"failed to read message err[%s]", "failed to read message"});
    requestRecovery();
}

std::string_view memberOf(sdbusplus::message_t& message)
{
    const char* member = message.get_member();
    return member == nullptr ? "" : member;
}

bool isSmbiosPathOfInterest(std::string_view path)
{
    return !branchOf(smbiosRows, path).empty();
}

bool isKovdPathOfInterest(std::string_view path)
{
    return !branchOf(kovdChangedRows, path).empty();
}
