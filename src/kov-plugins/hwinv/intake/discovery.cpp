#include "intake/discovery.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "base/sigint_block.hpp"
#include "base/terminated.hpp"
#include "bus/connection.hpp"
#include "bus/object_path.hpp"
#include "intake/rows.hpp"
#include "store/one_piece.hpp"

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

namespace
{

/** Object path, in byte order, to interfaces: "a{oa{sa{sv}}}" on the bus. */
using ManagedObjectMap = std::map<compat::ObjectPath, InterfaceMap>;

/** Throws SdBusError when the call fails. */
sdbusplus::message_t call(sdbusplus::bus_t& bus, const char* service, const char* path,
                          const char* interface, const char* member)
{
    auto method = bus.new_method_call(service, path, interface, member);
    const SigintBlock block;
    return bus.call(method);
}

sdbusplus::message_t callGetManagedObjects(sdbusplus::bus_t& bus, const char* service,
                                           const char* path)
{
    return call(bus, service, path, terminated(names::objectManagerInterface), "GetManagedObjects");
}

/** The objects of a platform root. The reply is gone when they are returned. */
ManagedObjectMap kovdObjects(sdbusplus::bus_t& bus, const char* path)
{
    auto reply = callGetManagedObjects(bus, terminated(names::kovdService), path);
    ManagedObjectMap objects;
    reply.read(objects);
    return objects;
}

/** Inserts the objects in path order, each as a piece of its own. */
template <std::size_t N>
void insertObjects(const Site& site, const char* label, const std::array<InsertRow, N>& rows,
                   const ManagedObjectMap& objects) EXCLUDES(pieceMutex)
{
    for (const auto& [objectPath, interfaces] : objects)
    {
        const std::string& path = objectPath.str;
        const auto insert =
            [&](const InsertRow& row, const std::string&, const ReceivedProperties& properties)
        {
            LOG_AT(site, level::error, "%s = %s", label, path.c_str());
            row.operation(path, properties);
        };
        MutexLock piece(pieceMutex);
        visitRows(rows, path, interfaces, insert);
    }
}

bool isOwned(const std::vector<std::string>& busNames, std::string_view service)
{
    return std::find(busNames.begin(), busNames.end(), service) != busNames.end();
}

} // namespace

void GetAllManagedObjects()
try
{
    OpenedBus connection = openBus(sd_bus_open_system, "sd_bus_open_system");
    auto reply = call(connection.bus, terminated(names::busService), "/",
                      terminated(names::busInterface), "ListNames");
    if (reply.is_method_error())
    {
        UTIL_LOG(level::error, "DBus ListNames returned a method error; aborting discovery.");
        return;
    }
    std::vector<std::string> busNames;
    reply.read(busNames);

    if (isOwned(busNames, names::smbiosService))
    {
        UTIL_LOG(level::info, "SMBIOS service is available");
        GetManagedObjsSMBIOS(connection.bus);
    }
    else
    {
        UTIL_LOG(level::error, "SMBIOS service is not available");
    }
    if (isOwned(busNames, names::kovdService))
    {
        UTIL_LOG(level::info, "KOVD service is available");
        GetManagedObjsKOVD(connection.bus);
    }
    else
    {
        UTIL_LOG(level::error, "KOVD dbus Service is not available");
    }
}
catch (...)
{
    logFailure(UTIL_SITE, {"exception: %s", "exception occured!"});
}

void GetManagedObjsSMBIOS(sdbusplus::bus_t& bus)
try
{
    UTIL_LOG(level::info, "SMBIOS service is available");
    ManagedObjectMap objects;
    {
        auto reply = callGetManagedObjects(bus, terminated(names::smbiosService),
                                           terminated(names::inventoryPath));
        UTIL_LOG(level::info, "SMBIOS object reply received");
        if (reply.is_method_error())
        {
            UTIL_LOG(level::error, "SMBIOS object reply error");
            return;
        }
        reply.read(objects);
    }
    insertObjects(UTIL_SITE, "SMBIOSObjPath", smbiosRows, objects);
}
catch (...)
{
    logFailure(UTIL_SITE, {"exception: %s", "exception occured!"});
}

void GetManagedObjsKOVD(sdbusplus::bus_t& bus)
try
{
    UTIL_LOG(level::info, "KOVD service is available");
    insertObjects(UTIL_SITE, "KOVD object path", kovdBoardRows,
                  kovdObjects(bus, terminated(names::kovdBoardPath)));

    const ManagedObjectMap chassisObjects = kovdObjects(bus, terminated(names::kovdChassisPath));
    UTIL_LOG(level::info, "KOVD chassis object reply received");
    insertObjects(UTIL_SITE, "KOVD object path", kovdChassisRows, chassisObjects);
}
catch (...)
{
    logFailure(UTIL_SITE, {"exception: %s", "exception occured!"});
}
