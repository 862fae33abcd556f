/*
 * A machine small enough that random events collide: three slots with a device each and their
 * chassis twins, three processors on either side, four caches. Values only; any thread.
 */
#pragma once

#include "store/types.hpp"

#include <iosfwd>
#include <string>
#include <vector>

namespace machine
{

enum class Kind
{
    smbiosSlot,
    kovdSlot,
    kovdDevice,
    kovdChassis,
    smbiosCpu,
    smbiosCache,
    kovdCpu,
};

inline constexpr int kindCount = 7;

/** The paths of a kind; the number of an object is its index here, from 1 on. */
const std::vector<std::string>& pathsOf(Kind kind);

struct Property
{
    std::string name;
    std::vector<PropertyValue> values; // of the right type
};

/** The properties of a kind that its insert keeps, with the values that they take here. */
const std::vector<Property>& propertiesOf(Kind kind);

/** The object as a healthy machine has it. */
ReceivedProperties wholeObject(Kind kind, int number);

/** The interface that makes an object one of its kind. */
const std::string& interfaceOf(Kind kind);

/** "name=value, name=value". */
std::string shown(const ReceivedProperties& properties);

/** Something that happens to the machine. */
struct Event
{
    enum class Type
    {
        insert,      // kind, path, properties
        removal,     // kind (an SMBIOS one), path
        kovdRemoval, // path, interfaces: a record on the platform worker's queue
        pciePass,
        cpuPass,
    };

    Type type = Type::insert;
    Kind kind = Kind::smbiosSlot;
    std::string path;
    ReceivedProperties properties;
    std::vector<std::string> interfaces;
    int handOverResult = 0; // of every hand-over meanwhile
};

std::ostream& operator<<(std::ostream& out, const Event& event);

} // namespace machine
