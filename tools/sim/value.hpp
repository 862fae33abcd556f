#pragma once

// A D-Bus value of any type, known to the daemon or not.
//
// A value is its type string and its content as JSON, in the shape that `busctl --json=short`
// prints:
//   s o g        "text"                       b            true, false
//   y n q i u x t   whole number in range     d            number
//   as           [ ... ]                      (ss)         [ first, second ]
//   a{sv}        { "key": ... }               v            {"type": SIG, "data": ...}
// A dictionary may also be the flat list [ key, value, key, value ... ]: the form of systemd 254,
// of keys that are no text, and of tests that want an order of their own or repeated keys.
//
// A value made by hand is checked when it is used; checkValue() says early what is wrong with it.
// Any thread; no shared state.

#include "sim/error.hpp"
#include "sim/place.hpp"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

using Json = nlohmann::json;

/** Forward name, reverse name, endpoint path. */
using Association = std::array<std::string, 3>;
using Associations = std::vector<Association>;

struct Value
{
    std::string type;
    Json data;

    static Value string(std::string text);
    static Value objectPath(std::string path);
    static Value boolean(bool value);
    static Value byte(std::uint8_t number);
    static Value int16(std::int16_t number);
    static Value uint16(std::uint16_t number);
    static Value int32(std::int32_t number);
    static Value uint32(std::uint32_t number);
    static Value int64(std::int64_t number);
    static Value uint64(std::uint64_t number);
    static Value real(double number);
    static Value strings(const std::vector<std::string>& list);
    static Value bytes(const std::vector<std::uint8_t>& list);
    static Value associations(const Associations& list);

    bool operator==(const Value&) const = default;
};

/** Throws ValueError, naming the place, unless `data` fits `type` and `type` is one complete type.
 */
void checkValue(std::string_view type, const Json& data, const Place& place = Place());

/** {"type": SIG, "data": ...} to a checked value; throws ValueError. */
Value valueFromJson(const Json& typed, const Place& place = Place());

/** The value as {"type": SIG, "data": ...}. */
Json valueToJson(const Value& value);

/** The list held by an "a(sss)" value; throws ValueError for any other value. */
Associations toAssociations(const Value& value);

/** The content of a dictionary in either form, as (key, value) in the order given.
 *  REQUIRES: `data` passed checkValue() for a dictionary type. */
std::vector<std::pair<Json, const Json*>> dictionaryEntries(const Json& data, char keyType);

} // namespace sim
