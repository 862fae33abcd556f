/*
 * A machine as a picture: each SMBIOS slot and processor with the platform objects that belong to
 * it, what is left over, and an explanation for each object.
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
    std::string label;  // enough of the path to tell it from others
    std::string kind;   // as in Kind
    std::string detail; // what names the hardware: a designation, a descriptor, a handle
    std::string state;  // of a platform object as in State; an SMBIOS object is taken or untaken
    std::string sentence;
    std::string reason; // the values that decide, where the sentence does not name them
    std::vector<std::string> notes;
};

/** An SMBIOS slot or processor with all that belongs to it: a processor's caches, too. */
struct Group
{
    Node head;
    std::vector<Node> members;
};

struct Picture
{
    std::string source;
    std::vector<Group> slots;
    std::vector<Group> processors;
    std::vector<Node> loose; // what leads nowhere, and caches that no processor names
};

Picture pictureOf(const Machine& machine);

sim::Json toJson(const Picture& picture);

/** For graphviz. */
std::string toDot(const Picture& picture);

/** A drawing of its own: one row for each group. */
std::string toSvg(const Picture& picture);

/** A page that needs no other file: it can be searched, and explains each object. */
std::string toHtml(const Picture& picture);

} // namespace inspect
