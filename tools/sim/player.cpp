#include "sim/player.hpp"

#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <algorithm>
#include <cerrno>
#include <type_traits>
#include <utility>

namespace sim
{
namespace
{

/** So that the owner's own work gets its turn under any load. */
constexpr int messagesInOneGo = 100;

bool isPropertySet(sd_bus_message* request)
{
    return textOf(sd_bus_message_get_interface(request)) == names::properties &&
           textOf(sd_bus_message_get_member(request)) == "Set";
}

void replyWithError(sd_bus_message* request, const std::string& name, const std::string& text)
{
    const sd_bus_error error = SD_BUS_ERROR_MAKE_CONST(name.c_str(), text.c_str());
    check(sd_bus_reply_method_error(request, &error), "send an error reply");
}

} // namespace

Player::Player(Profile profile, Journal& journal)
    : inventory_(std::move(profile)), journal_(journal)
{
}

void Player::connect(const std::string& address)
{
    if (connected())
    {
        return;
    }
    Connection bus = connectTo(address);
    check(sd_bus_add_filter(bus.get(), nullptr, &Player::onMessage, this), "watch for messages");
    const std::string& name = inventory_.profile().busName;
    check(sd_bus_request_name(bus.get(), name.c_str(), 0), "take the name " + name);
    bus_ = std::move(bus);
}

void Player::disconnect()
{
    lateCalls_.clear();
    if (connected())
    {
        // The bus would notice a closed connection some time later; once it has answered this, the
        // name is free. A lost bus refuses at once.
        sd_bus_release_name(bus_.get(), inventory_.profile().busName.c_str());
    }
    bus_.reset();
}

void Player::load(Objects objects)
{
    inventory_.replace(std::move(objects));
}

Message Player::makeSignal(const std::string& path, const std::string& interface,
                           const std::string& member)
{
    sd_bus_message* signal = nullptr;
    check(sd_bus_message_new_signal(bus_.get(), &signal, path.c_str(), interface.c_str(),
                                    member.c_str()),
          "make the signal " + member);
    return Message(signal);
}

void Player::send(sd_bus_message* message)
{
    int result = sd_bus_send(bus_.get(), message, nullptr);
    if (result == -ENOBUFS)
    {
        check(sd_bus_flush(bus_.get()), "empty the queue to the bus");
        result = sd_bus_send(bus_.get(), message, nullptr);
    }
    check(result, "send a message");
}

void Player::addObject(const std::string& path, Interfaces interfaces)
{
    const Interfaces added = inventory_.add(path, std::move(interfaces));
    const std::string manager = inventory_.managerOf(path);
    if (!connected() || manager.empty())
    {
        return;
    }
    const Message signal = makeSignal(manager, names::objectManager, "InterfacesAdded");
    appendText(signal.get(), 'o', path);
    appendInterfaces(signal.get(), added);
    send(signal.get());
}

void Player::changeProperties(const std::string& path, const std::string& interface,
                              const Properties& properties)
{
    inventory_.change(path, interface, properties);
    announceChange(path, interface, properties);
}

void Player::announceChange(const std::string& path, const std::string& interface,
                            const Properties& properties)
{
    if (!connected())
    {
        return;
    }
    const Message signal = makeSignal(path, names::properties, "PropertiesChanged");
    appendText(signal.get(), 's', interface);
    appendProperties(signal.get(), properties);
    appendValue(signal.get(), "as", Json::array());
    send(signal.get());
}

void Player::removeObject(const std::string& path, const std::vector<std::string>& interfaces)
{
    const auto removed = inventory_.remove(path, interfaces);
    const std::string manager = inventory_.managerOf(path);
    if (!connected() || manager.empty())
    {
        return;
    }
    const Message signal = makeSignal(manager, names::objectManager, "InterfacesRemoved");
    appendText(signal.get(), 'o', path);
    appendValue(signal.get(), "as", Json(removed));
    send(signal.get());
}

void Player::emitSignal(const Signal& signal)
{
    if (!connected())
    {
        throw Error("a stopped service cannot send signals");
    }
    const Message message = makeSignal(signal.path, signal.interface, signal.member);
    appendBody(message.get(), signal.signature, signal.body);
    send(message.get());
}

int Player::onMessage(sd_bus_message* message, void* self, sd_bus_error*)
{
    // Peer is answered by the library, after the filters.
    const bool ours = sd_bus_message_is_method_call(message, nullptr, nullptr) > 0 &&
                      textOf(sd_bus_message_get_interface(message)) != names::peer;
    if (!ours)
    {
        return 0;
    }
    try
    {
        static_cast<Player*>(self)->receive(message);
    }
    catch (const std::exception& error)
    {
        sd_bus_reply_method_errorf(message, names::failed, "%s", error.what());
    }
    return 1;
}

void Player::receive(sd_bus_message* request)
{
    const std::string member = textOf(sd_bus_message_get_member(request));
    const std::string path = textOf(sd_bus_message_get_path(request));
    journal_.recordCall(member, path);
    const auto fault = faults_.take(member, path);
    if (fault)
    {
        spoil(request, *fault);
        return;
    }
    perform(request);
}

void Player::spoil(sd_bus_message* request, const Fault& fault)
{
    if (const auto* failure = std::get_if<FailWith>(&fault.action))
    {
        replyWithError(request, failure->error, failure->text);
    }
    else if (const auto* delay = std::get_if<Delay>(&fault.action))
    {
        lateCalls_.push_back({Clock::now() + delay->time, Message(sd_bus_message_ref(request))});
    }
    else if (const auto* other = std::get_if<ReplyWith>(&fault.action))
    {
        sd_bus_message* reply = nullptr;
        check(sd_bus_message_new_method_return(request, &reply), "make a reply");
        const Message owned(reply);
        appendBody(reply, other->signature, other->body);
        send(reply);
    }
}

void Player::perform(sd_bus_message* request)
{
    try
    {
        isPropertySet(request) ? set(request) : reply(request);
    }
    catch (const MethodError& error)
    {
        replyWithError(request, error.name(), error.what());
    }
}

void Player::reply(sd_bus_message* request)
{
    const Message message = answer(inventory_, request);
    if (sd_bus_message_get_expect_reply(request) > 0)
    {
        send(message.get());
    }
}

void Player::set(sd_bus_message* request)
{
    const SetRequest wanted = readSet(request);
    SetCall record{wanted.path, wanted.interface, wanted.property, wanted.value,
                   true,        Clock::now()};
    try
    {
        checkSettable(inventory_, wanted);
    }
    catch (const MethodError&)
    {
        record.accepted = false;
        journal_.recordSet(std::move(record));
        throw;
    }
    const Properties changed{{wanted.property, wanted.value}};
    inventory_.change(wanted.path, wanted.interface, changed);
    announceChange(wanted.path, wanted.interface, changed);
    // Whoever has the reply finds the call in the journal.
    journal_.recordSet(std::move(record));
    check(sd_bus_reply_method_return(request, ""), "send a reply");
}

void Player::performLateCalls()
{
    const auto now = Clock::now();
    while (true)
    {
        const auto due =
            std::ranges::find_if(lateCalls_, [&](const LateCall& call) { return call.due <= now; });
        if (due == lateCalls_.end())
        {
            return;
        }
        const Message request = std::move(due->request);
        lateCalls_.erase(due);
        perform(request.get());
    }
}

void Player::process()
{
    if (!connected())
    {
        return;
    }
    try
    {
        performLateCalls();
        for (int i = 0; i < messagesInOneGo; ++i)
        {
            if (check(sd_bus_process(bus_.get(), nullptr), "talk to the bus") == 0)
            {
                return;
            }
        }
    }
    catch (const BusError&)
    {
        disconnect();
    }
}

int Player::descriptor() const
{
    return connected() ? sd_bus_get_fd(bus_.get()) : -1;
}

short Player::pollEvents() const
{
    const int events = connected() ? sd_bus_get_events(bus_.get()) : 0;
    return static_cast<short>(std::max(events, 0));
}

std::optional<Clock::time_point> Player::wakeTime() const
{
    if (!connected())
    {
        return std::nullopt;
    }
    std::optional<Clock::time_point> wake;
    std::uint64_t busTime = UINT64_MAX;
    if (sd_bus_get_timeout(bus_.get(), &busTime) >= 0 && busTime != UINT64_MAX)
    {
        // The library's time is CLOCK_MONOTONIC in microseconds, which is this clock's epoch too.
        wake = Clock::time_point(std::chrono::microseconds(busTime));
    }
    for (const LateCall& call : lateCalls_)
    {
        wake = std::min(wake.value_or(call.due), call.due);
    }
    return wake;
}

} // namespace sim
