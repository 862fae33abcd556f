// The picture as one page of HTML. Everything that is said is in the page; the script only shows
// it.

#include "inspect/picture.hpp"
#include "inspect/picture_page.hpp"
#include "inspect/words.hpp"

#include <algorithm>

namespace inspect
{
namespace
{

std::string attribute(const std::string& name, const std::string& value)
{
    return " " + name + "=\"" + escapeMarkup(value) + "\"";
}

/** What a state is called on the page. */
std::string wordsFor(const std::string& state)
{
    return state == "untaken" ? "taken by nobody" : state;
}

/** All that the search field looks into, in lower case. */
std::string searchable(const Node& node)
{
    std::string text = node.label + " " + node.detail + " " + node.kind + " " +
                       wordsFor(node.state) + " " + node.path + " " + node.sentence + " " +
                       node.reason;
    std::ranges::transform(text, text.begin(),
                           [](char c)
                           { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

std::string nodeMarkup(const Node& node)
{
    const std::string detail =
        node.detail.empty() ? ""
                            : "<span class=\"detail\">" + escapeMarkup(node.detail) + "</span>";
    return "<button type=\"button\"" + attribute("class", "node " + node.state) +
           attribute("title", node.sentence) + attribute("data-label", node.label) +
           attribute("data-kind", node.kind + ", " + wordsFor(node.state)) +
           attribute("data-state", node.state) + attribute("data-path", node.path) +
           attribute("data-sentence", node.sentence) + attribute("data-reason", node.reason) +
           attribute(
               "data-notes",
               sim::Json(node.notes).dump(-1, ' ', false, sim::Json::error_handler_t::replace)) +
           attribute("data-text", searchable(node)) + "><i></i><span class=\"label\">" +
           escapeMarkup(node.label) + "</span>" + detail + "</button>\n";
}

std::string nodesMarkup(const std::vector<Node>& nodes)
{
    std::string text;
    for (const Node& node : nodes)
    {
        text += nodeMarkup(node);
    }
    return text;
}

std::string sectionMarkup(const std::string& heading, std::size_t number, const std::string& body)
{
    return number == 0 ? ""
                       : "<section><h2>" + heading + " <small>" + std::to_string(number) +
                             "</small></h2>\n" + body + "</section>\n";
}

std::string groupsMarkup(const std::string& heading, const std::vector<Group>& groups)
{
    std::string cards = "<div class=\"cards\">\n";
    for (const Group& group : groups)
    {
        const std::string members =
            group.members.empty()
                ? ""
                : "<div class=\"members\">\n" + nodesMarkup(group.members) + "</div>";
        cards += "<article class=\"card\">\n" + nodeMarkup(group.head) + members + "</article>\n";
    }
    return sectionMarkup(heading, groups.size(), cards + "</div>\n");
}

std::size_t countOf(const Picture& picture, const std::string& state)
{
    std::size_t count =
        static_cast<std::size_t>(std::ranges::count(picture.loose, state, &Node::state));
    for (const auto* groups : {&picture.slots, &picture.processors})
    {
        for (const Group& group : *groups)
        {
            count += group.head.state == state ? 1 : 0;
            count +=
                static_cast<std::size_t>(std::ranges::count(group.members, state, &Node::state));
        }
    }
    return count;
}

/** A button for each state that occurs; "taken" goes without saying. */
std::string filtersMarkup(const Picture& picture)
{
    std::string text;
    for (const std::string state : {"paired", "unpaired", "stale", "drifted", "untaken"})
    {
        if (const std::size_t count = countOf(picture, state); count != 0)
        {
            text += "<button type=\"button\" aria-pressed=\"false\"" +
                    attribute("class", "filter " + state) + attribute("data-state", state) +
                    "><i></i>" + wordsFor(state) + " <b>" + std::to_string(count) +
                    "</b></button>\n";
        }
    }
    return text;
}

std::string headerMarkup(const Picture& picture)
{
    return "<title>" + escapeMarkup(picture.source) +
           "</title>\n</head>\n<body>\n<header>\n<div class=\"title\"><h1>" +
           escapeMarkup(picture.source) +
           "</h1><p id=\"hits\" role=\"status\"></p></div>\n<div class=\"tools\">\n"
           "<input id=\"search\" type=\"search\" placeholder=\"Search names, descriptors, "
           "reasons\" "
           "aria-label=\"Search\">\n" +
           filtersMarkup(picture) + "</div>\n</header>\n";
}

constexpr const char* panelMarkup =
    "<aside id=\"panel\" class=\"empty\" aria-live=\"polite\">\n"
    "<button type=\"button\" id=\"close\" aria-label=\"Close\" hidden>\u00d7</button>\n"
    "<h2 id=\"what\">Why?</h2>\n<p id=\"kind\" class=\"dim\"></p>\n"
    "<p id=\"said\">Point at an object or choose it: it says why it belongs where it does.</p>\n"
    "<p id=\"reason\"></p>\n<div id=\"notes\"></div>\n<p class=\"dim\"><code "
    "id=\"path\"></code></p>\n</aside>\n";

} // namespace

std::string toHtml(const Picture& picture)
{
    return pageHead + headerMarkup(picture) + "<div class=\"page\">\n<main>\n" +
           groupsMarkup("PCIe slots and drive bays", picture.slots) +
           groupsMarkup("Processors and caches", picture.processors) +
           sectionMarkup("Without a partner", picture.loose.size(),
                         "<div class=\"cards loose\">\n" + nodesMarkup(picture.loose) +
                             "</div>\n") +
           "</main>\n" + panelMarkup + "</div>\n" + pageScript + "</body>\n</html>\n";
}

} // namespace inspect
