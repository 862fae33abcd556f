/*
 * The daemon's own engine, run over a world and watched: what would the daemon write, for which
 * reason, in which order?
 *
 * The engine is the daemon's library itself. Only its two ways out are replaced where this library
 * is linked: the log, which is not written, and the executor, which keeps each association instead
 * of writing it. So nothing here decides anything.
 *
 * The engine's state is process-wide: one run at a time, and each begins with an empty state. What
 * a run found is copied out and stays valid. Many worlds at once take a process each
 * (inspect/fleet).
 * One thread at a time.
 */
#pragma once

#include "inspect/world.hpp"
#include "store/property_map.hpp"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace inspect
{

/** The kinds of object that the engine stores. */
enum class Kind
{
    smbiosSlot,
    smbiosCpu,
    smbiosCache,
    kovdSlot,
    kovdDevice,
    kovdChassis,
    kovdCpu,
};
inline constexpr int kindCount = 7;

/** "SMBIOS slot", "platform slot", ... */
const char* nameOf(Kind kind);

/** What the engine was doing when it wrote. */
enum class Occasion
{
    smbiosObject,   // an SMBIOS object was inserted
    platformObject, // a platform object was inserted
    slotPass,       // the full pass over the SMBIOS slots
    cpuPass,        // the full pass over the SMBIOS processors
};

/** One association list that the daemon would write. */
struct Write
{
    Occasion occasion = Occasion::platformObject;
    std::string subject; // the inserted object; in a pass the SMBIOS object whose turn it was
    std::string path;    // the platform object written
    AssociationList list;
};

/** An object whose insert failed: the daemon does not store it, and asks for a resync. */
struct Refusal
{
    std::string path;
    std::string interface;
    std::string property;
    std::string type;   // of the value, as D-Bus writes it
    std::string wanted; // the type that the insert takes
};

using ObjectsOfKind = std::map<std::string, PropertyMap, std::less<>>;

struct Outcome
{
    /** What the engine keeps of each object that it stores. */
    ObjectsOfKind objects[kindCount];

    /** All writes, in order; the last one of a path stands. */
    std::vector<Write> writes;
    std::map<std::string, AssociationList> lists;

    /** The pairs recorded: SMBIOS path to platform path. */
    std::map<std::string, std::string> pairs;

    /** Processor to its caches, both SMBIOS, in the order in which they were found. */
    std::map<std::string, std::vector<std::string>> caches;

    std::vector<Refusal> refusals;

    const ObjectsOfKind& of(Kind kind) const
    {
        return objects[static_cast<std::size_t>(kind)];
    }

    /** The first kind, in the order of Kind, as which the path is stored. */
    std::optional<Kind> kindOf(const std::string& path) const;

    /** The SMBIOS partner of a platform path in `pairs`; null when it has none. */
    const std::string* smbiosPartner(const std::string& path) const;

    /** The last write on the path; null when there was none. */
    const Write* lastWrite(const std::string& path) const;
};

/**
 * Feeds all objects to the engine as the daemon's discovery does, runs both full passes, and tells
 * what came of it. Never throws but for memory.
 */
Outcome runEngine(const World& world);

} // namespace inspect
