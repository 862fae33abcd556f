#include "inspect/picture.hpp"

#include "base/names.hpp"
#include "inspect/explain.hpp"
#include "inspect/words.hpp"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace inspect
{
namespace
{

/** A device is called nic1 in many slots, so its slot goes with it. */
std::string labelOf(const std::string& path, Kind kind)
{
    const std::string parent = leafOf(path.substr(0, path.rfind('/')));
    return kind == Kind::kovdDevice && parent != "board" ? parent + "/" + leafOf(path)
                                                         : leafOf(path);
}

/** By which property a person knows an object of the kind; a twin only has its name. */
constexpr std::array<std::string_view, kindCount> telling{
    names::slotDesignation, names::socket, names::handle, names::pcieFqdd, names::fqdd, "",
    names::targetDevKey};

std::string detailOf(const Machine& machine, const std::string& path, Kind kind)
{
    if (kind == Kind::kovdChassis)
    {
        return "chassis";
    }
    const auto& objects = machine.outcome.of(kind);
    const auto object = objects.find(path);
    if (object == objects.end())
    {
        return "";
    }
    const PropertyValue* value = object->second.find(telling[static_cast<std::size_t>(kind)]);
    if (value == nullptr)
    {
        return "";
    }
    if (const auto* text = std::get_if<std::string>(value))
    {
        return *text;
    }
    return (kind == Kind::smbiosCache ? "handle " : "") + toText(*value);
}

Node nodeOf(const Machine& machine, const std::string& path, Kind kind, const std::string& state)
{
    Explanation explanation = explain(machine, path);
    const bool said = explanation.sentence.find(explanation.reason) != std::string::npos;
    return {path,
            labelOf(path, kind),
            nameOf(kind),
            detailOf(machine, path, kind),
            state,
            std::move(explanation.sentence),
            said ? "" : std::move(explanation.reason),
            std::move(explanation.notes)};
}

Node nodeOf(const Machine& machine, const Entry& entry)
{
    return nodeOf(machine, entry.path, entry.kind.value_or(Kind::kovdSlot), nameOf(entry.state));
}

/** "pcieslot2" before "pcieslot10": paths of one kind differ in their number alone. */
std::pair<std::size_t, std::string> byNumber(const Node& node)
{
    return {node.path.size(), node.path};
}

/** Draws one machine, each object once. */
class Painter
{
  public:
    explicit Painter(const Machine& machine) : machine_(machine)
    {
        for (const Untaken& untaken : machine.untaken)
        {
            untaken_.insert(untaken.path);
        }
        for (const Entry& entry : machine.entries)
        {
            leading_[partnerOf(entry.actual)].push_back(&entry);
        }
    }

    Picture paint()
    {
        Picture picture;
        picture.source = machine_.world.source;
        for (const auto& [path, properties] : machine_.outcome.of(Kind::smbiosSlot))
        {
            picture.slots.push_back(groupOf(path, Kind::smbiosSlot));
        }
        for (const auto& [path, properties] : machine_.outcome.of(Kind::smbiosCpu))
        {
            picture.processors.push_back(groupOf(path, Kind::smbiosCpu));
            addCaches(picture.processors.back());
        }
        addLoose(picture);
        for (auto* groups : {&picture.slots, &picture.processors})
        {
            std::ranges::sort(*groups, {}, [](const Group& group) { return byNumber(group.head); });
        }
        return picture;
    }

  private:
    Node smbiosNode(const std::string& path, Kind kind) const
    {
        return nodeOf(machine_, path, kind, untaken_.contains(path) ? "untaken" : "taken");
    }

    Group groupOf(const std::string& path, Kind kind)
    {
        Group group{smbiosNode(path, kind), {}};
        for (const Entry* entry : leading_[path])
        {
            group.members.push_back(nodeOf(machine_, *entry));
        }
        leading_.erase(path);
        shortenDevices(group);
        return group;
    }

    /** Beside its slot a device needs no more than its own name. */
    static void shortenDevices(Group& group)
    {
        for (Node& node : group.members)
        {
            const std::string parent = node.path.substr(0, node.path.rfind('/'));
            if (std::ranges::find(group.members, parent, &Node::path) != group.members.end())
            {
                node.label = leafOf(node.path);
            }
        }
    }

    void addCaches(Group& group)
    {
        const auto caches = machine_.outcome.caches.find(group.head.path);
        if (caches == machine_.outcome.caches.end())
        {
            return;
        }
        for (const std::string& cache : caches->second)
        {
            group.members.push_back(smbiosNode(cache, Kind::smbiosCache));
            drawn_.insert(cache);
        }
    }

    void addLoose(Picture& picture) const
    {
        for (const auto& [partner, entries] : leading_)
        {
            for (const Entry* entry : entries)
            {
                picture.loose.push_back(nodeOf(machine_, *entry));
            }
        }
        for (const auto& [path, properties] : machine_.outcome.of(Kind::smbiosCache))
        {
            if (!drawn_.contains(path))
            {
                picture.loose.push_back(smbiosNode(path, Kind::smbiosCache));
            }
        }
    }

    const Machine& machine_;
    std::set<std::string> untaken_;
    std::set<std::string> drawn_;
    std::map<std::string, std::vector<const Entry*>> leading_; // by where they lead to
};

sim::Json toJson(const Node& node)
{
    return {{"path", node.path},     {"label", node.label}, {"kind", node.kind},
            {"detail", node.detail}, {"state", node.state}, {"sentence", node.sentence},
            {"reason", node.reason}, {"notes", node.notes}};
}

sim::Json toJson(const std::vector<Node>& nodes)
{
    sim::Json json = sim::Json::array();
    for (const Node& node : nodes)
    {
        json.push_back(toJson(node));
    }
    return json;
}

sim::Json toJson(const std::vector<Group>& groups)
{
    sim::Json json = sim::Json::array();
    for (const Group& group : groups)
    {
        sim::Json made = toJson(group.head);
        made["members"] = toJson(group.members);
        json.push_back(std::move(made));
    }
    return json;
}

} // namespace

Picture pictureOf(const Machine& machine)
{
    return Painter(machine).paint();
}

sim::Json toJson(const Picture& picture)
{
    return {{"source", picture.source},
            {"slots", toJson(picture.slots)},
            {"processors", toJson(picture.processors)},
            {"loose", toJson(picture.loose)}};
}

} // namespace inspect
