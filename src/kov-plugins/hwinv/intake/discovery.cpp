#include "intake/discovery.hpp"

#include "base/log.hpp"
#include "base/names.hpp"
#include "base/sigint_block.hpp"
#include "bus/connection.hpp"
#include "intake/rows.hpp"
#include "intake/smbios_rows.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "store/one_piece.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <string>
#include <vector>

namespace
{

constexpr std::array boardRows{
    InsertRow{names::kovdBoardPciePath, names::kovdSlotInterface, InsertKOVDPCIeSlotObj},
    InsertRow{names::kovdBoardPciePath, names::kovdDeviceInterface, InsertKOVDPCIeDevicesObj},
    InsertRow{names::kovdBoardCpuPath, names::kovdItemInterface, InsertKOVDCPUObj},
};

constexpr std::array chassisRows{
    InsertRow{names::kovdChassisPciePath, names::kovdChassisInterface,
              InsertKOVDChassisPathSlotObjs},
};

/** Throws SdBusError when the call fails. */
sdbusplus::message_t call(sdbusplus::bus_t& bus, std::string_view service, std::string_view path,
                          std::string_view interface, const char* member)
{
    auto method = bus.new_method_call(service.data(), path.data(), interface.data(), member);
    const SigintBlock block;
    return bus.call(method);
}

sdbusplus::message_t callGetManagedObjects(sdbusplus::bus_t& bus, std::string_view service,
                                           std::string_view path)
{
    return call(bus, service, path, names::objectManagerInterface, "GetManagedObjects");
}

/** The objects of a platform root. The reply is gone when they are returned. */
ManagedObjectMap kovdObjects(sdbusplus::bus_t& bus, std::string_view path)
{
    auto reply = callGetManagedObjects(bus, names::kovdService, path);
    ManagedObjectMap objects;
    reply.read(objects);
    return objects;
}

/** Inserts one object under each interface that has a row; logged at `site` behind `label`. */
template <std::size_t N>
void insertObject(const Site& site, const char* label, const std::array<InsertRow, N>& rows,
                  const std::string& path, const InterfaceMap& interfaces)
{
    for (const auto& [interface, properties] : interfaces)
    {
        if (const InsertRow* row = findRow(rows, path, interface))
        {
            LOG_AT(site, trace::error, "%s = %s", label, path.c_str());
            row->operation(path, properties);
        }
    }
}

/** Inserts the objects in path order, each as a piece of its own. */
template <std::size_t N>
void insertObjects(const Site& site, const char* label, const std::array<InsertRow, N>& rows,
                   const ManagedObjectMap& objects) EXCLUDES(pieceMutex)
{
    for (const auto& [path, interfaces] : objects)
    {
        MutexLock piece(pieceMutex);
        insertObject(site, label, rows, path.str, interfaces);
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
    auto reply = call(connection.bus, names::busService, "/", names::busInterface, "ListNames");
    if (reply.is_method_error())
    {
        UTIL_LOG(trace::error, "DBus ListNames returned a method error; aborting discovery.");
        return;
    }
    std::vector<std::string> busNames;
    reply.read(busNames);

    if (isOwned(busNames, names::smbiosService))
    {
        UTIL_LOG(trace::info, "SMBIOS service is available");
        GetManagedObjsSMBIOS(connection.bus);
    }
    else
    {
        UTIL_LOG(trace::error, "SMBIOS service is not available");
    }
    if (isOwned(busNames, names::kovdService))
    {
        UTIL_LOG(trace::info, "KOVD service is available");
        GetManagedObjsKOVD(connection.bus);
    }
    else
    {
        UTIL_LOG(trace::error, "KOVD dbus Service is not available");
    }
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "exception: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "exception occured!");
}

void GetManagedObjsSMBIOS(sdbusplus::bus_t& bus)
try
{
    UTIL_LOG(trace::info, "SMBIOS service is available");
    ManagedObjectMap objects;
    {
        auto reply = callGetManagedObjects(bus, names::smbiosService, names::inventoryPath);
        UTIL_LOG(trace::info, "SMBIOS object reply received");
        if (reply.is_method_error())
        {
            UTIL_LOG(trace::error, "SMBIOS object reply error");
            return;
        }
        reply.read(objects);
    }
    insertObjects(UTIL_SITE, "SMBIOSObjPath", smbiosRows, objects);
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "exception: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "exception occured!");
}

void GetManagedObjsKOVD(sdbusplus::bus_t& bus)
try
{
    UTIL_LOG(trace::info, "KOVD service is available");
    insertObjects(UTIL_SITE, "KOVD object path", boardRows, kovdObjects(bus, names::kovdBoardPath));

    const ManagedObjectMap chassisObjects = kovdObjects(bus, names::kovdChassisPath);
    UTIL_LOG(trace::info, "KOVD chassis object reply received");
    insertObjects(UTIL_SITE, "KOVD object path", chassisRows, chassisObjects);
}
catch (const std::exception& e)
{
    UTIL_LOG(trace::error, "exception: %s", e.what());
}
catch (...)
{
    UTIL_LOG(trace::error, "exception occured!");
}
