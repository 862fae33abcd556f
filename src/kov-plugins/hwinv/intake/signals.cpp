/*
 * Signals: what arrives, in which order, and what is promised.
 *
 * Eight matches, all on one connection, so all signals of one service arrive in the order in which
 * it sent them. InterfacesAdded and InterfacesRemoved come from the object managers, each matched
 * at exactly its own path; an object manager further down is not listened to. PropertiesChanged
 * comes from the object itself, so its matches name no path and the decoders sort out what they
 * want; that is also why the chassis path needs no such match of its own.
 *
 * A signal that is sent before its match is installed is never seen, and one that arrives while the
 * later matches are still being installed waits on the connection. Discovery starts at the same
 * time on the main thread; what falls between the two is brought in by the fallback resyncs.
 *
 * Nothing here blocks: no bus call once the matches are installed, no lock but the short ones of a
 * queue push or a recovery request. An exception must not leave a match callback, because the
 * binding calls it from C: it would end the process. One that leaves the loop ends the thread, and
 * nothing restarts it; the matches stay, unserved.
 */
#include "intake/signals.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "bus/connection.hpp"
#include "bus/idle_heap.hpp"
#include "intake/signal_decoding.hpp"

#include <sdeventplus/event.hpp>

#include <array>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

std::vector<sdbusplus::bus::match_t> eventMatches;

namespace
{

/** Takes one delivered message: a match callback or a decoder. */
using MessageHandler = void (*)(sdbusplus::message_t&);

struct Subscription
{
    std::string_view sender;
    std::string_view member;
    std::string_view path; // empty: any
    std::string_view interface;
    MessageHandler callback;
};

constexpr std::array subscriptions{
    Subscription{names::smbiosService, names::interfacesAdded, names::inventoryPath,
                 names::objectManagerInterface, SmbiosInterfacesEventCallback},
    Subscription{names::smbiosService, names::interfacesRemoved, names::inventoryPath,
                 names::objectManagerInterface, SmbiosInterfacesEventCallback},
    Subscription{names::smbiosService, names::propertiesChanged, "", names::propertiesInterface,
                 SmbiosInterfacesEventCallback},
    Subscription{names::kovdService, names::interfacesAdded, names::kovdBoardPath,
                 names::objectManagerInterface, KovdInterfacesEventCallback},
    Subscription{names::kovdService, names::interfacesRemoved, names::kovdBoardPath,
                 names::objectManagerInterface, KovdInterfacesEventCallback},
    Subscription{names::kovdService, names::propertiesChanged, "", names::propertiesInterface,
                 KovdInterfacesEventCallback},
    Subscription{names::kovdService, names::interfacesAdded, names::kovdChassisPath,
                 names::objectManagerInterface, KovdChassisPathInterfaceEventCallback},
    Subscription{names::kovdService, names::interfacesRemoved, names::kovdChassisPath,
                 names::objectManagerInterface, KovdChassisPathInterfaceEventCallback},
};

std::string ruleOf(const Subscription& subscription)
{
    namespace rules = sdbusplus::bus::match::rules;
    std::string rule = rules::type::signal() + rules::sender(std::string(subscription.sender)) +
                       rules::member(std::string(subscription.member));
    if (!subscription.path.empty())
    {
        rule += rules::path(std::string(subscription.path));
    }
    return rule + rules::interface(std::string(subscription.interface));
}

/** What the three callbacks share; each logs under its own name. */
void screen(const Site& site, sdbusplus::message_t& message, MessageHandler decode)
try
{
    if (message.is_method_error())
    {
        LOG_AT(site, level::info, "method error");
        return;
    }
    const std::string_view member = memberOf(message);
    if (member == names::interfacesAdded || member == names::interfacesRemoved ||
        member == names::propertiesChanged)
    {
        decode(message);
    }
}
catch (...)
{
    logFailure(site, {"failed to read message err[%s]", "failed to read message"});
}

} // namespace

void SubscribeToEvents()
try
{
    OpenedBus connection = openBus(sd_bus_default_system, "sd_bus_default_system");
    auto event = sdeventplus::Event::get_new();
    checkBusResult(sd_bus_attach_event(connection.raw, event.get(), SD_EVENT_PRIORITY_NORMAL),
                   "sd_bus_attach_event");
    eventMatches.reserve(subscriptions.size());
    for (const Subscription& subscription : subscriptions)
    {
        eventMatches.emplace_back(connection.bus, ruleOf(subscription).c_str(),
                                  subscription.callback);
    }
    while (true)
    {
        event.run(std::nullopt);
        noteHeapUse();
    }
}
catch (...)
{
    logFailure(UTIL_SITE, {"exception: %s", "exception occured!"});
}

void SmbiosInterfacesEventCallback(sdbusplus::message_t& message)
{
    screen(UTIL_SITE, message, GetSmbiosMsgData);
}

void KovdInterfacesEventCallback(sdbusplus::message_t& message)
{
    screen(UTIL_SITE, message, GetKovdMsgData);
}

void KovdChassisPathInterfaceEventCallback(sdbusplus::message_t& message)
{
    screen(UTIL_SITE, message, GetKovdMsgData);
}
