// The picture as one page of HTML: style and script are part of it, nothing else is loaded.

#include "inspect/picture.hpp"
#include "inspect/words.hpp"

namespace inspect
{
namespace
{

constexpr const char* head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<style>
:root { color-scheme: light dark; --good: #2e7d32; --open: #b26a00; --bad: #c62828; --line: #8886; }
@media (prefers-color-scheme: dark) { :root { --good: #81c784; --open: #ffb74d; --bad: #ef9a9a; } }
body { font: 15px/1.4 system-ui, sans-serif; margin: 0 auto; max-width: 70rem; padding: 1rem; }
h1 { font-size: 1.3rem; margin: 0 0 .5rem; }
header { position: sticky; top: 0; background: Canvas; padding: .5rem 0; }
input { font: inherit; width: 100%; box-sizing: border-box; padding: .5rem; }
#said { min-height: 3em; margin: .5rem 0; }
main { display: grid; gap: .75rem; grid-template-columns: repeat(auto-fill, minmax(17rem, 1fr)); }
section { border: 1px solid var(--line); border-radius: .5rem; padding: .6rem; }
button { font: inherit; background: none; color: inherit; text-align: left; cursor: pointer;
  border: 2px solid var(--good); border-radius: .4rem; padding: .25rem .5rem; margin: .15rem 0; }
section > button:first-child { width: 100%; font-weight: bold; margin-bottom: .4rem; }
button.unpaired, button.untaken { border-color: var(--open); border-style: dashed; }
button.stale, button.drifted { border-color: var(--bad); border-style: dotted; }
button.chosen { outline: 2px solid; }
small { display: block; font-weight: normal; opacity: .8; }
[hidden] { display: none; }
</style>
)";

constexpr const char* script = R"(<script>
const said = document.getElementById("said");
const tell = button => {
  for (const other of document.querySelectorAll(".chosen")) other.classList.remove("chosen");
  button.classList.add("chosen");
  said.textContent = button.dataset.sentence;
};
for (const button of document.querySelectorAll("button")) {
  button.onclick = button.onmouseenter = button.onfocus = () => tell(button);
}
document.getElementById("search").oninput = event => {
  const wanted = event.target.value.toLowerCase();
  for (const section of document.querySelectorAll("section")) {
    section.hidden = !section.textContent.toLowerCase().includes(wanted);
  }
};
</script>
)";

std::string button(const Node& node)
{
    return "<button class=\"" + escapeMarkup(node.state) + "\" data-sentence=\"" +
           escapeMarkup(node.sentence) + "\" title=\"" + escapeMarkup(node.path) + "\">" +
           escapeMarkup(node.label) + "<small>" + escapeMarkup(node.kind + ", " + node.state) +
           "</small></button>\n";
}

std::string section(const std::string& first, const std::vector<Node>& members)
{
    std::string text = "<section>" + first;
    for (const Node& member : members)
    {
        text += button(member);
    }
    return text + "</section>\n";
}

} // namespace

std::string toHtml(const Picture& picture)
{
    std::string text = std::string(head) + "<title>" + escapeMarkup(picture.source) +
                       "</title>\n</head>\n<body>\n<header><h1>" + escapeMarkup(picture.source) +
                       "</h1>\n<input id=\"search\" type=\"search\" placeholder=\"Search\" "
                       "aria-label=\"Search\">\n<p id=\"said\" role=\"status\">Choose an object: "
                       "it says why it belongs where it does.</p></header>\n<main>\n";
    for (const Group& group : picture.groups)
    {
        text += section(button(group.head), group.members);
    }
    for (const Node& node : picture.loose)
    {
        text += section(button(node), {});
    }
    return text + "</main>\n" + script + "</body>\n</html>\n";
}

} // namespace inspect
