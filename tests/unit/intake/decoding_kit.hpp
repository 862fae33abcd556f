/*
 * What the tests of the two decoders share: the objects' names, messages about them, and what a
 * decoder is expected to leave behind.
 *
 * Main thread only.
 */
#pragma once

#include "doubles/fresh_store.hpp"
#include "doubles/records.hpp"
#include "doubles/test_message.hpp"
#include "doubles/util_lines.hpp"
#include "intake/signal_decoding.hpp"
#include "unit/intake/faulty_reads.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using Lines = std::vector<std::string>;
using Records = std::vector<SignalRecord>;
using Strings = std::vector<std::string>;

inline constexpr const char* objectManager = "org.freedesktop.DBus.ObjectManager";
inline constexpr const char* properties = "org.freedesktop.DBus.Properties";

/** A body with one interface that has no properties. */
template <class... Interfaces>
sdbusplus::message_t addedMessage(const std::string& path, Interfaces... interfaces)
{
    const test_message::Head head{"/manager", objectManager, "InterfacesAdded"};
    auto message = test_message::draft(head);
    test_message::require(sd_bus_message_append(message.get(), "o", path.c_str()));
    test_message::require(sd_bus_message_open_container(message.get(), 'a', "{sa{sv}}"));
    (test_message::require(
         sd_bus_message_append(message.get(), "{sa{sv}}", interfaces, 1, "Key", "s", interfaces)),
     ...);
    test_message::require(sd_bus_message_close_container(message.get()));
    return test_message::seal(std::move(message));
}

/** What addedMessage says of those interfaces: each has its own name under "Key". */
inline InterfaceMap addedInterfaces(const Strings& interfaces)
{
    InterfaceMap map;
    for (const auto& interface : interfaces)
    {
        map[interface]["Key"] = interface;
    }
    return map;
}

inline sdbusplus::message_t removedMessage(const std::string& path, const Strings& interfaces)
{
    auto message = test_message::draft({"/manager", objectManager, "InterfacesRemoved"});
    test_message::require(sd_bus_message_append(message.get(), "o", path.c_str()));
    test_message::require(sd_bus_message_open_container(message.get(), 'a', "s"));
    for (const auto& interface : interfaces)
    {
        test_message::require(sd_bus_message_append(message.get(), "s", interface.c_str()));
    }
    test_message::require(sd_bus_message_close_container(message.get()));
    return test_message::seal(std::move(message));
}

/** One property, "Key" with the value "new", and one invalidated name. */
inline sdbusplus::message_t changedMessage(const std::string& path, const std::string& interface)
{
    return test_message::signal({path, properties, "PropertiesChanged"}, "sa{sv}as",
                                interface.c_str(), 1, "Key", "s", "new", 1, "Gone");
}

/** What changedMessage says. */
inline SignalRecord changedOf(const std::string& path, const std::string& interface)
{
    return changedRecord(path, interface, {{"Key", std::string{"new"}}});
}

/** What a decoder left behind is taken away by each look at it. */
class Decoding : public FreshStore
{
  protected:
    Decoding()
    {
        faultyReads = {};
    }

    ~Decoding() override
    {
        faultyReads = {};
    }

    /** Nothing queued, logged or requested. */
    static void expectDropped(const std::string& what)
    {
        expectNothingQueued(what);
        EXPECT_EQ(utilLines(), Lines{}) << what;
        EXPECT_FALSE(takeRecoveryRequest()) << what;
    }

    static void expectNothingQueued(const std::string& what)
    {
        EXPECT_EQ(takeRecords(smbiosMessageQueue), Records{}) << what;
        EXPECT_EQ(takeRecords(kovdMessageQueue), Records{}) << what;
    }
};

namespace both
{

inline const std::string smbiosCpu =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu0";
inline const std::string kovdSlot = "/xyz/openbmc_project/inventory/system/board/pcie/slot1";

/** A decoder, and an object that it lets pass whatever the member. */
struct Decoder
{
    std::string function;
    void (*decode)(sdbusplus::message_t&);
    std::string path;
    std::string interface;
    MessageQueue& queue;
    MessageQueue& removalQueue;
    bool failedRemovalRequestsRecovery;
};

inline const Decoder smbios{
    .function = "GetSmbiosMsgData",
    .decode = GetSmbiosMsgData,
    .path = smbiosCpu,
    .interface = "xyz.openbmc_project.Inventory.Item.Cpu",
    .queue = smbiosMessageQueue,
    .removalQueue = smbiosMessageQueue,
    .failedRemovalRequestsRecovery = true,
};
inline const Decoder kovd{
    .function = "GetKovdMsgData",
    .decode = GetKovdMsgData,
    .path = kovdSlot,
    .interface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice",
    .queue = kovdMessageQueue,
    .removalQueue = smbiosMessageQueue,
    .failedRemovalRequestsRecovery = false,
};

inline std::string nameOf(const testing::TestParamInfo<const Decoder*>& info)
{
    return info.param->function;
}

} // namespace both
