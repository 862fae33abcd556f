// The picture for graphviz, and as a drawing of its own.

#include "inspect/picture.hpp"
#include "inspect/words.hpp"

namespace inspect
{
namespace
{

std::string colourOf(const Node& node)
{
    if (node.state == "paired" || node.state == "taken")
    {
        return "#2e7d32";
    }
    if (node.state == "drifted")
    {
        return "#7b1fa2";
    }
    return node.state == "stale" ? "#c62828" : "#b26a00";
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

std::string dotGroups(const std::vector<Group>& groups)
{
    std::string text;
    for (const Group& group : groups)
    {
        text += dotNode(group.head);
        for (const Node& member : group.members)
        {
            text += dotNode(member) + "  " + quoted(member.path) + " -> " +
                    quoted(group.head.path) + ";\n";
        }
    }
    return text;
}

constexpr int boxWidth = 200;
constexpr int boxHeight = 28;
constexpr int gap = 12;
constexpr int perRow = 4;
constexpr int membersLeft = 2 * gap + boxWidth + 40;

std::string svgBox(const Node& node, int x, int y)
{
    const std::string at = "x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\"";
    return "<g><title>" + escapeMarkup(node.sentence) + "</title><rect " + at + " width=\"" +
           std::to_string(boxWidth) + "\" height=\"" + std::to_string(boxHeight) +
           "\" rx=\"5\" fill=\"#fff\" stroke=\"" + colourOf(node) + "\" stroke-width=\"2\"/>" +
           "<text x=\"" + std::to_string(x + 8) + "\" y=\"" + std::to_string(y + 19) + "\">" +
           escapeMarkup(node.label) + "</text></g>\n";
}

/** The members beside their head, four to a line; moves `y` below them. */
std::string svgMembers(const std::vector<Node>& members, int& y)
{
    std::string text;
    for (std::size_t index = 0; index < members.size(); ++index)
    {
        const int column = static_cast<int>(index) % perRow;
        y += index != 0 && column == 0 ? boxHeight + gap : 0;
        text += svgBox(members[index], membersLeft + column * (boxWidth + gap), y);
    }
    return text;
}

std::string svgGroups(const std::vector<Group>& groups, int& y)
{
    std::string text;
    for (const Group& group : groups)
    {
        text += svgBox(group.head, gap, y);
        if (!group.members.empty())
        {
            text += "<path d=\"M" + std::to_string(gap + boxWidth) + " " +
                    std::to_string(y + boxHeight / 2) + "H" + std::to_string(membersLeft) +
                    "\" stroke=\"#888\"/>\n";
        }
        text += svgMembers(group.members, y);
        y += boxHeight + gap;
    }
    return text;
}

} // namespace

std::string toDot(const Picture& picture)
{
    std::string text = "digraph machine {\n  rankdir=LR;\n  node [shape=box];\n" +
                       dotGroups(picture.slots) + dotGroups(picture.processors);
    for (const Node& node : picture.loose)
    {
        text += dotNode(node);
    }
    return text + "}\n";
}

std::string toSvg(const Picture& picture)
{
    int y = gap;
    const std::string slots = svgGroups(picture.slots, y);
    const std::string processors = svgGroups(picture.processors, y);
    const std::string loose = svgMembers(picture.loose, y);
    const int width = membersLeft + perRow * (boxWidth + gap);
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(width) +
           "\" height=\"" + std::to_string(y + boxHeight + gap) +
           "\" font-family=\"sans-serif\" font-size=\"13\">\n<title>" +
           escapeMarkup(picture.source) +
           "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n" + slots + processors +
           loose + "</svg>\n";
}

} // namespace inspect
