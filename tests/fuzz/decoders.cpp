/*
 * The decoders of signals, fed with message bodies. The first two bytes choose decoder, byte order,
 * member, path and signature; the rest is the body.
 *
 * Whatever the body: at most one record is queued, of the member's kind and on the queue of its
 * service; a message with a wrong signature queues none.
 */
#include "base/recovery_request.hpp"
#include "input.hpp"
#include "intake/message_queue.hpp"
#include "intake/signal_decoding.hpp"
#include "target.hpp"
#include "wire.hpp"
#include "world.hpp"

#include <array>
#include <memory>

namespace
{

struct Member
{
    const char* name;
    const char* interface;
    const char* signature;
};

constexpr std::array members{
    Member{"InterfacesAdded", "org.freedesktop.DBus.ObjectManager", "oa{sa{sv}}"},
    Member{"InterfacesRemoved", "org.freedesktop.DBus.ObjectManager", "oas"},
    Member{"PropertiesChanged", "org.freedesktop.DBus.Properties", "sa{sv}as"},
    Member{"Other", "org.freedesktop.DBus.Properties", "sa{sv}as"},
};

constexpr std::array paths{
    "/xyz/openbmc_project/inventory",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot1",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu1",
    "/xyz/openbmc_project/inventory/system/chassis/cacheinfo/cache1",
    "/xyz/openbmc_project/inventory/system/board/pcie_slot1",
    "/xyz/openbmc_project/inventory/system/board/cpu1",
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie_slot1",
    "/elsewhere",
};

constexpr std::array wrongSignatures{"", "s", "as", "oa{sv}", "sa{sv}", "oa{sa{sv}}s", "ay", "v"};

struct Choice
{
    explicit Choice(Input& input)
    {
        const unsigned first = input.byte();
        const unsigned second = input.byte();
        smbios = (first & 1U) == 0;
        order = (first & 2U) == 0 ? wire::Order::little : wire::Order::big;
        member = first >> 2U & 3U;
        path = first >> 4U & 7U;
        rightSignature = second < 0x80;
        signature = rightSignature ? members[member].signature
                                   : wrongSignatures[second % wrongSignatures.size()];
    }

    bool smbios;
    wire::Order order;
    std::size_t member;
    std::size_t path;
    bool rightSignature;
    std::string signature;
};

wire::Connection& connection()
{
    static auto current = std::make_unique<wire::Connection>();
    if (!current->usable())
    {
        current = std::make_unique<wire::Connection>();
    }
    return *current;
}

void checkQueue(MessageQueue& queue, const Choice& choice, bool expected, std::size_t& queued)
{
    MutexLock lock(queue.mutex);
    for (const SignalRecord& record : queue.records)
    {
        ++queued;
        require(expected, "the record is on the queue of its service");
        require(static_cast<std::size_t>(record.type) == choice.member, "the record's type");
        require(choice.member == 2 || record.interfaceName.empty(), "no interface of its own");
        require(choice.member == 0 || record.interfaces.empty(), "nothing added");
        require(choice.member == 1 || record.removedInterfaces.empty(), "nothing removed");
        require(choice.member == 2 || record.changedProperties.empty(), "nothing changed");
    }
}

void check(const Choice& choice)
{
    std::size_t queued = 0;
    const bool onSmbios = choice.smbios || choice.member == 1;
    checkQueue(smbiosMessageQueue, choice, onSmbios, queued);
    checkQueue(kovdMessageQueue, choice, !onSmbios, queued);
    require(queued <= 1, "one record at most");
    require(queued == 0 || (choice.rightSignature && choice.member != 3),
            "a message to be dropped");
    MutexLock lock(recoveryMutex);
    require(queued == 0 || !recoveryRequested, "a record or a recovery, not both");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const Choice choice(input);
    const Member& member = members[choice.member];
    auto message = connection().signal(
        choice.order, {paths[choice.path], member.interface, member.name, choice.signature},
        input.rest());
    if (message)
    {
        (choice.smbios ? GetSmbiosMsgData : GetKovdMsgData)(*message);
        check(choice);
    }
    world::reset();
    return 0;
}
