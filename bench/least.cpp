#include "least.hpp"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace least
{
namespace
{

#define INVENTORY "/xyz/openbmc_project/inventory"
#define SMBIOS "xyz.openbmc_project.Smbios.MDRV2"
#define KOVD "com.vexa.bmc.kovd"
#define OBJECT_MANAGER "org.freedesktop.DBus.ObjectManager"
#define FROM(sender, member) "type='signal',sender='" sender "',member='" member "'"
#define MANAGED(sender, member, path)                                                              \
    FROM(sender, member) ",path='" path "',interface='" OBJECT_MANAGER "'"
#define CHANGED(sender)                                                                            \
    FROM(sender, "PropertiesChanged") ",interface='org.freedesktop.DBus.Properties'"

constexpr std::array matchRules{
    MANAGED(KOVD, "InterfacesAdded", INVENTORY "/system/board"),
    MANAGED(KOVD, "InterfacesRemoved", INVENTORY "/system/board"),
    CHANGED(KOVD),
    MANAGED(KOVD, "InterfacesAdded", INVENTORY "/system/chassis"),
    MANAGED(KOVD, "InterfacesRemoved", INVENTORY "/system/chassis"),
    MANAGED(SMBIOS, "InterfacesAdded", INVENTORY),
    MANAGED(SMBIOS, "InterfacesRemoved", INVENTORY),
    CHANGED(SMBIOS),
};

/** True when there is one more entry and its key has been read. */
bool enterEntry(sd_bus_message* message, char keyType, const char* contents)
{
    if (require(sd_bus_message_enter_container(message, 'e', contents), "enter an entry") == 0)
    {
        return false;
    }
    const char* key = nullptr;
    require(sd_bus_message_read_basic(message, keyType, &key), "read a key");
    return true;
}

void readProperties(sd_bus_message* message)
{
    require(sd_bus_message_enter_container(message, 'a', "{sv}"), "enter properties");
    while (enterEntry(message, 's', "sv"))
    {
        require(sd_bus_message_skip(message, "v"), "read a value");
        require(sd_bus_message_exit_container(message), "leave a property");
    }
    require(sd_bus_message_exit_container(message), "leave the properties");
}

void readObjects(sd_bus_message* message)
{
    require(sd_bus_message_enter_container(message, 'a', "{oa{sa{sv}}}"), "enter objects");
    while (enterEntry(message, 'o', "oa{sa{sv}}"))
    {
        require(sd_bus_message_enter_container(message, 'a', "{sa{sv}}"), "enter interfaces");
        while (enterEntry(message, 's', "sa{sv}"))
        {
            readProperties(message);
            require(sd_bus_message_exit_container(message), "leave an interface");
        }
        require(sd_bus_message_exit_container(message), "leave the interfaces");
        require(sd_bus_message_exit_container(message), "leave an object");
    }
}

} // namespace

int require(int result, const char* attempted)
{
    if (result < 0)
    {
        std::fprintf(stderr, "%s: %s\n", attempted, std::strerror(-result));
        std::_Exit(1);
    }
    return result;
}

Bus openBus()
{
    sd_bus* raw = nullptr;
    require(sd_bus_open_system(&raw), "open the bus");
    return Bus(raw);
}

void takeName(sd_bus* bus)
{
    require(sd_bus_request_name(bus, "com.vexa.kesto.kovdSupportService",
                                SD_BUS_NAME_REPLACE_EXISTING | SD_BUS_NAME_ALLOW_REPLACEMENT),
            "request the name");
    require(sd_bus_add_object_manager(bus, nullptr, "/"), "add an object manager");
}

std::span<const char* const> rules()
{
    return matchRules;
}

void readInventories(sd_bus* bus)
{
    constexpr std::array roots{
        std::array{SMBIOS, INVENTORY},
        std::array{KOVD, INVENTORY "/system/board"},
        std::array{KOVD, INVENTORY "/system/chassis"},
    };
    for (const auto& [service, path] : roots)
    {
        sd_bus_message* reply = nullptr;
        require(sd_bus_call_method(bus, service, path, OBJECT_MANAGER, "GetManagedObjects", nullptr,
                                   &reply, ""),
                "ask for the objects");
        const Message owned(reply);
        readObjects(reply);
    }
}

std::string announcedPath(sd_bus_message* signal)
{
    const char* path = nullptr;
    require(sd_bus_message_read_basic(signal, 'o', &path), "read a path");
    return path;
}

Message associationCall(sd_bus* bus, const char* path)
{
    sd_bus_message* raw = nullptr;
    require(sd_bus_message_new_method_call(bus, &raw, KOVD, path, "org.freedesktop.DBus.Properties",
                                           "Set"),
            "make a call");
    Message call(raw);
    require(sd_bus_message_append(raw, "ssv", "xyz.openbmc_project.Association.Definitions",
                                  "Associations", "a(sss)", 1, "chassis", "pcieslot",
                                  INVENTORY "/system/chassis/motherboard/pcieslot0064"),
            "fill a call");
    return call;
}

unsigned startUpSets(int argc, char** argv)
{
    unsigned sets = 0;
    if (argc != 2 ||
        std::from_chars(argv[1], argv[1] + std::strlen(argv[1]), sets).ec != std::errc())
    {
        std::fprintf(stderr, "usage: %s SETS\n", argv[0]);
        std::_Exit(2);
    }
    return sets;
}

} // namespace least
