#pragma once

// Captures: a service's objects as `busctl --json=short call SERVICE PATH
// org.freedesktop.DBus.ObjectManager GetManagedObjects` prints them, and folders of them.
//
// An inventory is a folder with smbios.json, kovd-board.json and kovd-chassis.json: the answers of
// the three object managers. Dictionaries may be JSON objects or the flat lists that systemd 254
// printed. What cannot be used is refused as a whole with a CaptureError: file, place and reason.
// Any thread; no shared state.

#include "sim/objects.hpp"

#include <filesystem>
#include <string>
#include <string_view>

namespace sim
{

/** The objects of both services. */
struct InventoryCapture
{
    Objects smbios;
    Objects kovd;
};

/** Reads the text of a capture; `name` stands for it in errors. */
Objects parseCapture(std::string_view text, const std::string& name);

/** Reads a capture file. */
Objects readCapture(const std::filesystem::path& file);

/** Reads the three captures of a folder; all of them must be there. */
InventoryCapture readInventory(const std::filesystem::path& folder);

/** The interfaces of one object as JSON: { "iface": { "Prop": {"type": SIG, "data": ...} } }. */
Interfaces interfacesFromJson(const Json& json, const Place& place = Place());

Json interfacesToJson(const Interfaces& interfaces);

/** The objects below `root` as a capture in one line, as busctl prints it. */
std::string formatCapture(const Objects& objects, const std::string& root = "/");

/** The same for people: one property a line. */
std::string formatCaptureForPeople(const Objects& objects, const std::string& root = "/");

/** The three answers, as they came. */
struct Replies
{
    Objects smbios;
    Objects board;
    Objects chassis;
};

/** Saves the answers as an inventory folder, made when missing; throws Error. */
void writeReplies(const std::filesystem::path& folder, const Replies& replies);

/** The same for both services' objects, each in the answers that would list it. */
void writeInventory(const std::filesystem::path& folder, const InventoryCapture& inventory);

} // namespace sim
