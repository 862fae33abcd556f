#include "inspect/picture.hpp"

#include "inspect/explain.hpp"
#include "inspect/words.hpp"

#include <algorithm>

namespace inspect
{
namespace
{

/** Enough of the path to tell it from others: its last part, or two for a device. */
std::string labelOf(const std::string& path, Kind kind)
{
    if (kind != Kind::kovdDevice)
    {
        return leafOf(path);
    }
    const std::string parent = leafOf(path.substr(0, path.rfind('/')));
    return parent == "board" ? leafOf(path) : parent + "/" + leafOf(path);
}

Node nodeOf(const Machine& machine, const std::string& path, Kind kind, const std::string& state)
{
    const Explanation explanation = explain(machine, path);
    std::string sentence = explanation.sentence;
    for (const std::string& note : explanation.notes)
    {
        sentence += " " + note;
    }
    return {path, labelOf(path, kind), nameOf(kind), state, sentence};
}

sim::Json toJson(const Node& node)
{
    return {{"path", node.path},
            {"label", node.label},
            {"kind", node.kind},
            {"state", node.state},
            {"sentence", node.sentence}};
}

std::string colourOf(const Node& node)
{
    if (node.state == "paired" || node.state == "taken")
    {
        return "#2e7d32";
    }
    return node.state == "unpaired" || node.state == "untaken" ? "#b26a00" : "#c62828";
}

/** A text in quotes for graphviz. */
std::string quoted(const std::string& text)
{
    std::string made = "\"";
    for (const char c : text)
    {
        made += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
    }
    return made + '"';
}

std::string dotNode(const Node& node)
{
    return "  " + quoted(node.path) + " [label=" + quoted(node.label) +
           ", color=" + quoted(colourOf(node)) + ", tooltip=" + quoted(node.sentence) + "];\n";
}

constexpr int boxWidth = 200;
constexpr int boxHeight = 28;
constexpr int gap = 12;
constexpr int perRow = 4;

std::string svgBox(const Node& node, int x, int y)
{
    const std::string at = "x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"";
    return "<g><title>" + escapeMarkup(node.sentence) + "</title><rect " + at + " width=\"" +
           std::to_string(boxWidth) + "\" height=\"" + std::to_string(boxHeight) +
           "\" rx=\"5\" fill=\"none\" stroke=\"" + colourOf(node) + "\" stroke-width=\"2\"/>" +
           "<text x=\"" + std::to_string(x + 8) + "\" y=\"" + std::to_string(y + 19) + "\">" +
           escapeMarkup(node.label) + "</text></g>\n";
}

/** The members beside their head, four to a line; moves `y` below them. */
std::string svgMembers(const std::vector<Node>& members, int left, int& y)
{
    std::string text;
    for (std::size_t index = 0; index < members.size(); ++index)
    {
        const int column = static_cast<int>(index) % perRow;
        y += index != 0 && column == 0 ? boxHeight + gap : 0;
        text += svgBox(members[index], left + column * (boxWidth + gap), y);
    }
    return text;
}

std::string svgGroup(const Group& group, int& y)
{
    std::string text = svgBox(group.head, gap, y);
    const int left = 2 * gap + boxWidth + 40;
    if (!group.members.empty())
    {
        const int middle = y + boxHeight / 2;
        text += "<path d=\"M" + std::to_string(gap + boxWidth) + " " + std::to_string(middle) +
                "H" + std::to_string(left) + "\" stroke=\"#888\"/>\n";
    }
    text += svgMembers(group.members, left, y);
    y += boxHeight + gap;
    return text;
}

} // namespace

Picture pictureOf(const Machine& machine)
{
    Picture picture;
    picture.source = machine.world.source;
    std::map<std::string, std::vector<const Entry*>> members;
    for (const Entry& entry : machine.entries)
    {
        members[partnerOf(entry.actual)].push_back(&entry);
    }
    for (const Kind kind : {Kind::smbiosSlot, Kind::smbiosCpu, Kind::smbiosCache})
    {
        for (const auto& [path, properties] : machine.outcome.of(kind))
        {
            const bool taken =
                std::ranges::find(machine.untaken, path, &Untaken::path) == machine.untaken.end();
            Group group{nodeOf(machine, path, kind, taken ? "taken" : "untaken"), {}};
            for (const Entry* entry : members[path])
            {
                group.members.push_back(nodeOf(machine, entry->path,
                                               entry->kind.value_or(Kind::kovdSlot),
                                               nameOf(entry->state)));
            }
            members.erase(path);
            picture.groups.push_back(std::move(group));
        }
    }
    for (const auto& [partner, entries] : members)
    {
        for (const Entry* entry : entries)
        {
            picture.loose.push_back(nodeOf(
                machine, entry->path, entry->kind.value_or(Kind::kovdSlot), nameOf(entry->state)));
        }
    }
    return picture;
}

sim::Json toJson(const Picture& picture)
{
    sim::Json json{
        {"source", picture.source}, {"groups", sim::Json::array()}, {"loose", sim::Json::array()}};
    for (const Group& group : picture.groups)
    {
        sim::Json made = toJson(group.head);
        made["members"] = sim::Json::array();
        for (const Node& member : group.members)
        {
            made["members"].push_back(toJson(member));
        }
        json["groups"].push_back(std::move(made));
    }
    for (const Node& node : picture.loose)
    {
        json["loose"].push_back(toJson(node));
    }
    return json;
}

std::string toDot(const Picture& picture)
{
    std::string text = "digraph machine {\n  rankdir=LR;\n  node [shape=box];\n";
    for (const Group& group : picture.groups)
    {
        text += dotNode(group.head);
        for (const Node& member : group.members)
        {
            text += dotNode(member) + "  " + quoted(member.path) + " -> " +
                    quoted(group.head.path) + ";\n";
        }
    }
    for (const Node& node : picture.loose)
    {
        text += dotNode(node);
    }
    return text + "}\n";
}

std::string toSvg(const Picture& picture)
{
    int y = gap;
    std::string body;
    for (const Group& group : picture.groups)
    {
        body += svgGroup(group, y);
    }
    const int left = 2 * gap + boxWidth + 40;
    body += svgMembers(picture.loose, left, y);
    const int width = left + perRow * (boxWidth + gap);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) +
           "\" height=\"" + std::to_string(y + boxHeight + gap) +
           "\" font-family=\"sans-serif\" font-size=\"13\">\n<title>" +
           escapeMarkup(picture.source) + "</title>\n" + body + "</svg>\n";
}

} // namespace inspect
