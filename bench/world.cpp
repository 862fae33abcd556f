#include "world.hpp"

#include "rig/daemon.hpp"
#include "sim/answers.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <algorithm>
#include <cstring>

namespace bench
{
namespace
{

using std::chrono::microseconds;

constexpr unsigned devicesOfASlot = 2;
constexpr unsigned manySets = 200'000;

/** As the platform daemon publishes it: every object can have associations. */
sim::Object withAssociations(sim::Object object)
{
    object.second[sim::names::associationDefinitions] = {
        {sim::names::associations, sim::Value::associations({})}};
    return object;
}

sim::Objects kovdObjects(const Shape& shape)
{
    sim::Objects objects;
    for (unsigned slot = 1; slot <= shape.slots; ++slot)
    {
        objects.insert(withAssociations(sim::makeKovdSlot(slot)));
        objects.insert(withAssociations(sim::makeKovdChassisDevice(slot)));
        for (unsigned device = 1; device <= devicesOfASlot; ++device)
        {
            objects.insert(withAssociations(sim::makeKovdDevice(slot, device)));
        }
    }
    for (unsigned cpu = 1; cpu <= shape.cpus; ++cpu)
    {
        objects.insert(withAssociations(sim::makeKovdCpu(cpu)));
    }
    return objects;
}

sim::Objects smbiosObjects(const Shape& shape)
{
    return sim::makeInventory(shape.slots, shape.cpus).smbios;
}

sim::Message makeCall(sd_bus* bus, std::uint64_t cookie)
{
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_call(bus, &raw, nullptr, "/", "a.Call", "Any"),
               "make a call");
    sim::Message call(raw);
    sim::check(sd_bus_message_seal(raw, cookie, 0), "number a call");
    return call;
}

sim::Message replyTo(sd_bus_message* call)
{
    sd_bus_message* raw = nullptr;
    sim::check(sd_bus_message_new_method_return(call, &raw), "make a reply");
    return sim::Message(raw);
}

sim::Message announcement(sd_bus* bus, const char* root)
{
    sd_bus_message* raw = nullptr;
    sim::check(
        sd_bus_message_new_signal(bus, &raw, root, sim::names::objectManager, "InterfacesAdded"),
        "make a signal");
    return sim::Message(raw);
}

} // namespace

unsigned Shape::allSets() const
{
    // A slot, its devices and its twin; a processor's list is written once, with its caches.
    return slots * (1 + devicesOfASlot + 1) + cpus;
}

World::World(const std::string& address, const Shape& shape)
    : shape_(shape), smbiosObjects_(smbiosObjects(shape)), kovdObjects_(kovdObjects(shape))
{
    sd_event* loop = nullptr;
    sim::check(sd_event_new(&loop), "make a loop");
    loop_.reset(loop);
    smbios_ = serve(address, sim::names::smbiosService);
    kovd_ = serve(address, sim::names::kovdService);
    const std::string rule = "type='signal',sender='org.freedesktop.DBus',"
                             "member='NameOwnerChanged',arg0='" +
                             std::string(rig::daemonName) + "'";
    sim::check(sd_bus_add_match(kovd_.get(), nullptr, rule.c_str(), onOwner, this),
               "watch the daemon's name");
    sets_.reserve(manySets);
}

sim::Connection World::serve(const std::string& address, const char* name)
{
    sim::Connection bus = sim::connectTo(address);
    sim::check(sd_bus_request_name(bus.get(), name, 0), std::string("take the name ") + name);
    sim::check(sd_bus_add_fallback(bus.get(), nullptr, "/", onCall, this), "serve all paths");
    sim::check(sd_bus_attach_event(bus.get(), loop_.get(), SD_EVENT_PRIORITY_NORMAL), "attach");
    return bus;
}

void World::prepareFor(const std::string& program)
{
    program_ = program;
    sets_.clear();
    named_.reset();
    late_ = 0;
    answers_.clear();
    for (const auto& [root, cookie] : cookies_[program])
    {
        answers_.insert_or_assign(root, Answer{cookie, prepared(root, cookie)});
    }
}

bool World::run(const std::function<bool()>& done, microseconds limit)
{
    const auto deadline = Clock::now() + limit;
    while (!done())
    {
        const auto left = std::chrono::ceil<microseconds>(deadline - Clock::now());
        if (left.count() <= 0)
        {
            return false;
        }
        sim::check(sd_event_run(loop_.get(), static_cast<std::uint64_t>(left.count())),
                   "serve the bus");
    }
    return true;
}

void World::runFor(microseconds time)
{
    run([] { return false; }, time);
}

int World::onOwner(sd_bus_message* signal, void* world, sd_bus_error* /*error*/)
{
    const auto now = Clock::now();
    const char* name = nullptr;
    const char* before = nullptr;
    const char* owner = nullptr;
    if (sd_bus_message_read(signal, "sss", &name, &before, &owner) >= 0 && *owner != '\0')
    {
        static_cast<World*>(world)->named_ = now;
    }
    return 0;
}

int World::onCall(sd_bus_message* call, void* world, sd_bus_error* error)
try
{
    static_cast<World*>(world)->answer(call);
    return 1;
}
catch (const sim::BusError& failure)
{
    return sd_bus_error_set(error, "org.freedesktop.DBus.Error.Failed", failure.what());
}

void World::answer(sd_bus_message* call)
{
    const char* member = sd_bus_message_get_member(call);
    if (std::strcmp(member, "Set") == 0)
    {
        recordSet(call);
    }
    else if (std::strcmp(member, "GetManagedObjects") == 0)
    {
        answerObjects(call);
    }
    else
    {
        throw sim::BusError(ENOTSUP, std::string("nobody answers ") + member);
    }
}

void World::recordSet(sd_bus_message* call)
{
    sets_.push_back({sd_bus_message_get_path(call), Clock::now()});
    if (sd_bus_message_get_expect_reply(call) > 0)
    {
        const sim::Message reply = replyTo(call);
        sim::check(sd_bus_send(nullptr, reply.get(), nullptr), "acknowledge a Set");
    }
}

void World::answerObjects(sd_bus_message* call)
{
    const std::string root = sd_bus_message_get_path(call);
    std::uint64_t cookie = 0;
    sim::check(sd_bus_message_get_cookie(call, &cookie), "read a call's number");
    const auto found = answers_.find(root);
    if (found != answers_.end() && found->second.cookie == cookie)
    {
        sd_bus_message* const reply = found->second.message.get();
        sim::check(sd_bus_message_set_destination(reply, sd_bus_message_get_sender(call)),
                   "address an answer");
        sim::check(sd_bus_send(nullptr, reply, nullptr), "answer");
        answers_.erase(found);
        return;
    }
    ++late_;
    cookies_[program_][root] = cookie;
    const sim::Message reply = replyTo(call);
    fill(reply.get(), root);
    sim::check(sd_bus_send(nullptr, reply.get(), nullptr), "answer");
}

void World::fill(sd_bus_message* reply, const std::string& root) const
{
    const sim::Objects& objects = root == sim::names::smbiosRoot ? smbiosObjects_ : kovdObjects_;
    sim::check(sd_bus_message_open_container(reply, 'a', "{oa{sa{sv}}}"), "open the objects");
    for (const auto& [path, interfaces] : objects)
    {
        if (sim::isBelow(path, root))
        {
            sim::check(sd_bus_message_open_container(reply, 'e', "oa{sa{sv}}"), "open an object");
            sim::appendText(reply, 'o', path);
            sim::appendInterfaces(reply, interfaces);
            sim::check(sd_bus_message_close_container(reply), "close an object");
        }
    }
    sim::check(sd_bus_message_close_container(reply), "close the objects");
}

sim::Message World::prepared(const std::string& root, std::uint64_t cookie)
{
    sd_bus* const bus = root == sim::names::smbiosRoot ? smbios_.get() : kovd_.get();
    sim::Message reply = replyTo(makeCall(bus, cookie).get());
    fill(reply.get(), root);
    return reply;
}

sim::Message World::boardSignal(const sim::Object& object)
{
    sim::Message signal = announcement(kovd_.get(), sim::names::boardRoot);
    sim::appendText(signal.get(), 'o', object.first);
    sim::appendInterfaces(signal.get(), withAssociations(object).second);
    return signal;
}

sim::Message World::hugeSignal(unsigned texts)
{
    sim::Message signal = announcement(kovd_.get(), sim::names::boardRoot);
    sim::Properties properties;
    for (unsigned i = 0; i < texts; ++i)
    {
        properties.emplace("Property" + std::to_string(i),
                           sim::Value::string(std::string(64, 'x')));
    }
    sim::appendText(signal.get(), 'o', sim::kovdSlotPath(9000));
    sim::appendInterfaces(signal.get(), {{sim::names::kovdSlot, std::move(properties)}});
    return signal;
}

void World::send(const sim::Message& signal)
{
    sim::check(sd_bus_send(nullptr, signal.get(), nullptr), "send a signal");
}

Clock::time_point World::sendNow(const sim::Message& signal)
{
    const auto now = Clock::now();
    send(signal);
    return now;
}

sim::Object slotEvent(const Shape& shape, unsigned number)
{
    constexpr unsigned differentObjects = 64;
    auto [path, interfaces] = sim::makeKovdSlot(shape.slots);
    interfaces[sim::names::kovdSlot]["PCIeSubsystemId"] =
        sim::Value::uint16(static_cast<std::uint16_t>(number));
    return {sim::kovdSlotPath(9000 + number % differentObjects), interfaces};
}

sim::Object deviceEvent(unsigned number)
{
    auto [path, interfaces] = sim::makeKovdDevice(1, 1);
    interfaces[sim::names::kovdDevice]["P2PSubsystemID"] =
        sim::Value::uint16(static_cast<std::uint16_t>(number));
    return {path, interfaces};
}

} // namespace bench
