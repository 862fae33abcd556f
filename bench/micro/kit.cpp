#include "micro/kit.hpp"

#include "engines/match_keys.hpp"
#include "sim/answers.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"
#include "sim/sdbus.hpp"
#include "store/store.hpp"

#include <array>
#include <cerrno>
#include <cstdint>
#include <sys/socket.h>
#include <utility>

namespace micro
{
namespace
{

/** Its other end never speaks. One for all messages; it lives as long as the process. */
sd_bus* silentBus()
{
    static const sim::Connection connection = []
    {
        std::array<int, 2> ends{};
        sim::check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) < 0 ? -errno : 0,
                   "make a pair of sockets");
        sd_bus* raw = nullptr;
        sim::check(sd_bus_new(&raw), "make a connection");
        sim::check(sd_bus_set_fd(raw, ends[0], ends[0]), "use a socket");
        sim::check(sd_bus_start(raw), "start a connection");
        return sim::Connection(raw);
    }();
    return connection.get();
}

} // namespace

PropertyMap smbiosSlot(unsigned number, unsigned identifier)
{
    return {{"BusNumber", std::uint8_t{3}},
            {"SlotDesignation", "PCIe Slot " + std::to_string(number)},
            {"SlotID", static_cast<std::uint16_t>(identifier)}};
}

PropertyMap kovdSlot(unsigned number, unsigned identifier)
{
    return {{"PCIClassCode", std::uint8_t{2}},
            {"PCIeFQDD", "Nic.Slot." + std::to_string(number) + "-1"},
            {"PCIeLocatorInstanceNum", static_cast<std::uint16_t>(identifier)},
            {"PCIeLocatorType", std::uint8_t{6}},
            {"PCIeSubsystemId", std::uint16_t{0x0102}},
            {"PCIeSubsystemVendorId", std::uint16_t{0x7A01}}};
}

std::string smbiosPath(unsigned number)
{
    return sim::smbiosSlotPath(number);
}

std::string kovdPath(unsigned number)
{
    return sim::kovdSlotPath(number);
}

sdbusplus::message_t slotSignal(unsigned number)
{
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_signal(silentBus(), &raw, sim::names::boardRoot,
                                         sim::names::objectManager, "InterfacesAdded"),
               "make a signal");
    const auto [path, interfaces] = sim::makeKovdSlot(number);
    sim::appendText(raw, 'o', path);
    sim::appendInterfaces(raw, interfaces);
    sim::check(sd_bus_message_seal(raw, 1, 0), "seal a signal");
    sdbusplus::message_t message(raw, std::false_type());
    rewind(message);
    return message;
}

void rewind(sdbusplus::message_t& message)
{
    sim::check(sd_bus_message_rewind(message.get(), 1), "go back in a message");
}

void keepOnlySmbiosSlots(unsigned slots)
{
    for (const std::string& path : smbiosPCIeSlotObjs.listObjectPaths())
    {
        smbiosPCIeSlotObjs.eraseObject(path);
    }
    for (unsigned number = 1; number <= slots; ++number)
    {
        PropertyMap slot = smbiosSlot(number, number);
        const MatchKeys keys = keysOfSmbiosSlot(slot);
        smbiosPCIeSlotObjs.insertObject(smbiosPath(number), std::move(slot), keys);
    }
}

} // namespace micro
