/*
 * A machine as a picture: each SMBIOS slot and processor with the platform objects that belong to
 * it, what is left over, and a sentence for each object.
 *
 * Any thread; no shared state.
 */
#pragma once

#include "inspect/machine.hpp"
#include "sim/value.hpp"

#include <string>
#include <vector>

namespace inspect
{

struct Node
{
    std::string path;
    std::string label;
    std::string kind;
    std::string state; // of a platform object as in State; an SMBIOS object is taken or untaken
    std::string sentence;
};

/** An SMBIOS object with all that leads to it. */
struct Group
{
    Node head;
    std::vector<Node> members;
};

struct Picture
{
    std::string source;
    std::vector<Group> groups;
    std::vector<Node> loose; // platform objects that lead nowhere
};

Picture pictureOf(const Machine& machine);

sim::Json toJson(const Picture& picture);

/** For graphviz. */
std::string toDot(const Picture& picture);

/** A drawing of its own: one row for each group. */
std::string toSvg(const Picture& picture);

/** A page that needs no other file: it can be searched, and tells each object's sentence. */
std::string toHtml(const Picture& picture);

} // namespace inspect
