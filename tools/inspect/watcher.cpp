#include "inspect/watcher.hpp"

#include "base/names.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <optional>
#include <utility>

namespace inspect
{
namespace
{

/** The list in a dictionary of properties as a message has it; nothing when it is not there. */
std::optional<AssociationList> listIn(const sim::Json& properties)
{
    using namespace sim::names;
    const auto at = properties.find(associations);
    if (at == properties.end() || at->at("type") != "a(sss)")
    {
        return std::nullopt;
    }
    const sim::Value value{"a(sss)", at->at("data")};
    return associationsOf({{associationDefinitions, {{associations, value}}}});
}

bool isPlatformPath(const std::string& path)
{
    return path.starts_with(names::kovdBoardPath) || path.starts_with(names::kovdChassisPath);
}

} // namespace

AssociationWatcher::AssociationWatcher(sd_bus* bus, Report report)
    : bus_(bus),
      report_(std::move(report)), slots_{subscribe(sim::names::properties, "PropertiesChanged"),
                                         subscribe(sim::names::objectManager, "InterfacesAdded"),
                                         subscribe(sim::names::objectManager, "InterfacesRemoved"),
                                         nullptr}
{
    sd_bus_slot* owner = nullptr;
    const std::string rule = "type='signal',sender='org.freedesktop.DBus',member="
                             "'NameOwnerChanged',arg0='" +
                             std::string(sim::names::kovdService) + "'";
    sim::check(sd_bus_add_match(bus_, &owner, rule.c_str(), onMessage, this), "watch the service");
    slots_[3].reset(owner);
    readAll();
    objects_ = lists_.size();
}

AssociationWatcher::Slot AssociationWatcher::subscribe(const char* interface, const char* member)
{
    sd_bus_slot* slot = nullptr;
    sim::check(sd_bus_match_signal(bus_, &slot, sim::names::kovdService, nullptr, interface, member,
                                   onMessage, this),
               std::string("watch ") + member);
    return Slot(slot);
}

int AssociationWatcher::onMessage(sd_bus_message* message, void* self, sd_bus_error* /*error*/)
{
    try
    {
        static_cast<AssociationWatcher*>(self)->take(message);
    }
    catch (const std::exception&)
    {
        // A signal of another shape than its name promises says nothing of associations.
    }
    return 0;
}

void AssociationWatcher::take(sd_bus_message* message)
{
    const std::string member = sd_bus_message_get_member(message);
    const sim::Value first = sim::readValue(message);
    if (member == "NameOwnerChanged")
    {
        readAll(); // what a service that left has shown is gone, and one that came has its own
        return;
    }
    const sim::Value second = sim::readValue(message);
    if (member == "PropertiesChanged")
    {
        const bool ours = first.data == sim::names::associationDefinitions;
        if (auto list = ours ? listIn(second.data) : std::nullopt)
        {
            set(sd_bus_message_get_path(message), std::move(*list));
        }
        return;
    }
    const auto path = first.data.get<std::string>();
    if (member == "InterfacesAdded")
    {
        const auto added = second.data.find(sim::names::associationDefinitions);
        if (auto list = added != second.data.end() ? listIn(*added) : std::nullopt)
        {
            set(path, std::move(*list));
        }
        return;
    }
    for (const sim::Json& interface : second.data)
    {
        if (interface == sim::names::associationDefinitions)
        {
            set(path, {});
        }
    }
}

void AssociationWatcher::set(const std::string& path, AssociationList list)
{
    if (!isPlatformPath(path))
    {
        return;
    }
    AssociationList& known = lists_[path];
    if (known != list)
    {
        const AssociationList before = std::exchange(known, std::move(list));
        report_({path, before, known});
    }
}

void AssociationWatcher::readAll()
{
    std::map<std::string, AssociationList> now;
    if (hasOwner(bus_, sim::names::kovdService))
    {
        const World world = readBus(bus_);
        for (const sim::Objects* objects : {&world.board, &world.chassis})
        {
            for (const auto& [path, interfaces] : *objects)
            {
                if (interfaces.contains(sim::names::associationDefinitions))
                {
                    now[path] = associationsOf(interfaces);
                }
            }
        }
    }
    if (objects_ == 0 && lists_.empty())
    {
        lists_ = std::move(now);
        return;
    }
    for (const auto& [path, list] : std::map(lists_))
    {
        set(path, now.contains(path) ? now[path] : AssociationList());
    }
    for (auto& [path, list] : now)
    {
        set(path, std::move(list));
    }
}

} // namespace inspect
