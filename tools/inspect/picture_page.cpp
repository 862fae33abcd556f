#include "inspect/picture_page.hpp"

namespace inspect
{

const char* const pageHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy"
  content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<style>
:root {
  color-scheme: light dark;
  --page: #f4f6f8; --card: #fff; --ink: #1c2128; --dim: #59636e; --line: #d5dbe2;
  --accent: #0a5bc4; --good: #1a7f37; --open: #9a6700; --lost: #c21f2f; --other: #7c3aed;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #0f1318; --card: #181d24; --ink: #e6eaef; --dim: #9aa4b0; --line: #2e3640;
    --accent: #6cb0ff; --good: #4cc26b; --open: #dcab3a; --lost: #ff7b7b; --other: #b794ff;
  }
}
* { box-sizing: border-box; }
[hidden] { display: none !important; }
body { background: var(--page); color: var(--ink); margin: 0;
  font: 15px/1.45 system-ui, -apple-system, "Segoe UI", Roboto, "DejaVu Sans", sans-serif; }
button, input { font: inherit; color: inherit; }
header { background: var(--card); border-bottom: 1px solid var(--line); padding: .8rem 1rem;
  position: sticky; top: 0; z-index: 1; }
header > div, .page { margin: 0 auto; max-width: 84rem; }
.title { align-items: baseline; display: flex; flex-wrap: wrap; gap: .1rem .8rem; }
h1 { font-size: 1.25rem; margin: 0; overflow-wrap: anywhere; }
.title p { color: var(--dim); margin: 0; }
.tools { display: flex; flex-wrap: wrap; gap: .5rem; margin-top: .6rem !important; }
#search { background: var(--page); border: 1px solid var(--line); border-radius: .5rem;
  flex: 1 1 14rem; min-width: 0; padding: .4rem .7rem; }
.filter { align-items: center; background: none; border: 1px solid var(--line); border-radius: 2rem;
  cursor: pointer; display: flex; gap: .4rem; padding: .3rem .8rem; }
.filter[aria-pressed=true] { background: var(--own); border-color: var(--own); color: var(--card); }
.filter[aria-pressed=true] i { background: var(--card); border-color: var(--card); }
:focus-visible { outline: 2px solid var(--accent); outline-offset: 2px; }
.page { align-items: start; display: grid; gap: 1.2rem; grid-template-columns: minmax(0, 1fr);
  padding: 1rem; }
h2 { font-size: 1rem; margin: 0 0 .6rem; }
h2 small { color: var(--dim); font-weight: normal; }
section + section { margin-top: 1.4rem; }
.cards { display: grid; gap: .7rem;
  grid-template-columns: repeat(auto-fill, minmax(min(17rem, 100%), 1fr)); }
.card { background: var(--card); border: 1px solid var(--line); border-radius: .7rem;
  display: flex; flex-direction: column; overflow: hidden; }
.members { display: flex; flex-direction: column; gap: .3rem; padding: 0 .5rem .5rem; }
.loose .node { background: var(--card); border: 1px solid var(--line); }
.node { align-items: baseline; background: none; border: 0; border-radius: .5rem; cursor: pointer;
  display: flex; flex-wrap: wrap; gap: 0 .55rem; padding: .3rem .5rem .3rem 1.8rem;
  position: relative; text-align: left; width: 100%; }
.card > .node { border-radius: .6rem; padding: .55rem .95rem .55rem 2.3rem; }
.node span { overflow-wrap: anywhere; }
.node .label { flex: 1 1 auto; }
.node .detail { color: var(--dim); font-size: .85rem; }
.node i { left: .55rem; position: absolute; top: .72rem; }
.card > .node i { left: 1.05rem; top: .95rem; }
.card > .node .label { font-weight: 600; }
.members .node { background: var(--page); }
.node:hover, .node.shown { box-shadow: inset 0 0 0 2px var(--accent); }
.node.pinned { box-shadow: inset 0 0 0 2px var(--accent); }
i { background: var(--own); border: 2px solid var(--own); border-radius: 50%;
  height: .7rem; width: .7rem; }
.paired, .taken { --own: var(--good); }
.unpaired, .untaken { --own: var(--open); }
.stale { --own: var(--lost); }
.drifted { --own: var(--other); }
.unpaired i, .untaken i { background: none; }
.stale i { border-radius: 0; transform: rotate(45deg) scale(.85); }
.drifted i { border-radius: 2px; }
#panel { background: var(--card); border: 1px solid var(--line); border-radius: .7rem;
  padding: 1rem 1.1rem; }
#panel h2 { font-size: 1.05rem; margin: 0; overflow-wrap: anywhere; padding-right: 1.6rem; }
#panel p { margin: .5rem 0 0; }
#reason { border-left: 3px solid var(--own); padding-left: .7rem; }
#reason:empty { display: none; }
#panel .dim { color: var(--dim); font-size: .87rem; overflow-wrap: anywhere; }
#panel code { font-size: .82rem; }
#close { background: none; border: 0; cursor: pointer; font-size: 1.2rem; line-height: 1;
  padding: .3rem .5rem; position: absolute; right: .5rem; top: .6rem; }
@media (min-width: 62rem) {
  .page { grid-template-columns: minmax(0, 1fr) 22rem; }
  #panel { max-height: calc(100vh - 9rem); overflow: auto; position: sticky; top: 7.5rem; }
}
@media (max-width: 61.99rem) {
  #panel { border-radius: .9rem .9rem 0 0; bottom: 0; box-shadow: 0 -4px 24px #0005; left: 0;
    margin: 0; max-height: 55vh; overflow: auto; position: fixed; right: 0; z-index: 2; }
  #panel.empty { display: none; }
  body { padding-bottom: 45vh; }
}
</style>
)";

const char* const pageScript = R"(<script>
const find = id => document.getElementById(id);
const nodes = [...document.querySelectorAll(".node")];
const filters = [...document.querySelectorAll(".filter")];
const panel = find("panel");
const first = find("said").textContent;
let pinned = null;

const show = node => {
  for (const other of nodes) other.classList.toggle("shown", other === node);
  panel.classList.toggle("empty", !node);
  find("close").hidden = !node;
  find("what").textContent = node ? node.dataset.label : "Why?";
  find("kind").textContent = node ? node.dataset.kind : "";
  find("said").textContent = node ? node.dataset.sentence : first;
  find("reason").textContent = node ? node.dataset.reason : "";
  find("reason").className = node ? node.dataset.state : "";
  find("path").textContent = node ? node.dataset.path.replaceAll("/", "/\u200b") : "";
  find("notes").replaceChildren(...(node ? JSON.parse(node.dataset.notes) : []).map(note => {
    const made = document.createElement("p");
    made.textContent = note;
    return made;
  }));
};
const pin = node => {
  pinned = pinned === node ? null : node;
  for (const other of nodes) {
    other.classList.toggle("pinned", other === pinned);
    other.setAttribute("aria-pressed", other === pinned);
  }
  show(pinned);
};
for (const node of nodes) {
  node.removeAttribute("title"); // the panel says it
  node.onclick = () => pin(node);
  node.onfocus = () => { if (node.matches(":focus-visible")) show(node); };
  node.onpointerenter = event => { if (event.pointerType === "mouse") show(node); };
  node.onpointerleave = event => { if (event.pointerType === "mouse") show(pinned); };
}
find("close").onclick = () => pin(null);

const sift = () => {
  const wanted = find("search").value.trim().toLowerCase();
  const states = filters.filter(one => one.getAttribute("aria-pressed") === "true")
    .map(one => one.dataset.state);
  let hits = 0;
  const isHit = node => (!states.length || states.includes(node.dataset.state)) &&
    node.dataset.text.includes(wanted);
  for (const node of nodes) {
    node.dataset.hit = isHit(node);
    hits += isHit(node);
  }
  for (const card of document.querySelectorAll(".card")) {
    card.hidden = !card.querySelector("[data-hit=true]");
  }
  for (const node of document.querySelectorAll(".loose .node")) {
    node.hidden = node.dataset.hit !== "true";
  }
  for (const node of document.querySelectorAll(".card .node")) {
    node.style.opacity = node.dataset.hit === "true" ? 1 : .45;
  }
  for (const section of document.querySelectorAll("section")) {
    section.hidden = !section.querySelector("[data-hit=true]");
  }
  const all = hits === nodes.length;
  find("hits").textContent = all ? nodes.length + " objects" : hits + " of " + nodes.length + " objects";
};
find("search").oninput = sift;
for (const filter of filters) {
  filter.onclick = () => {
    filter.setAttribute("aria-pressed", filter.getAttribute("aria-pressed") !== "true");
    sift();
  };
}
document.onkeydown = event => {
  if (event.key === "Escape") pin(null);
  if (event.key === "/" && document.activeElement !== find("search")) {
    event.preventDefault();
    find("search").focus();
  }
};
sift();
</script>
)";

} // namespace inspect
