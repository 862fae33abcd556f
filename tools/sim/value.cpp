#include "sim/value.hpp"

#include "sim/signature.hpp"

#include <systemd/sd-bus.h>

#include <limits>
#include <utility>

namespace sim
{
namespace
{

/** More levels than any message of the protocol can have; keeps recursion bounded. */
constexpr std::size_t deepestPlace = 256;

[[noreturn]] void fail(const Place& place, const std::string& reason)
{
    throw ValueError(place.text(), reason);
}

std::string expected(const char* wanted, char type, const Json& data)
{
    return std::string("expected ") + wanted + " for type '" + type + "', found " +
           data.type_name();
}

template <typename Number>
void checkWholeNumber(char type, const Json& data, const Place& place)
{
    if (!data.is_number_integer())
    {
        fail(place, expected("a whole number", type, data));
    }
    const bool fits = data.is_number_unsigned() ? std::in_range<Number>(data.get<std::uint64_t>())
                                                : std::in_range<Number>(data.get<std::int64_t>());
    if (!fits)
    {
        fail(place, data.dump() + " is out of range for type '" + type + "'");
    }
}

const std::string& checkedText(char type, const Json& data, const Place& place)
{
    if (!data.is_string())
    {
        fail(place, expected("a text", type, data));
    }
    const auto& text = data.get_ref<const std::string&>();
    if (text.find('\0') != std::string::npos)
    {
        fail(place, "a text must not hold a zero character");
    }
    return text;
}

void checkText(char type, const Json& data, const Place& place)
{
    const std::string& text = checkedText(type, data, place);
    if (type == 'o' && sd_bus_object_path_is_valid(text.c_str()) <= 0)
    {
        fail(place, "'" + text + "' is not an object path");
    }
    if (type == 'g' && !isSignature(text))
    {
        fail(place, "'" + text + "' is not a signature");
    }
}

void checkBasic(char type, const Json& data, const Place& place)
{
    switch (type)
    {
        case 'y':
            return checkWholeNumber<std::uint8_t>(type, data, place);
        case 'n':
            return checkWholeNumber<std::int16_t>(type, data, place);
        case 'q':
            return checkWholeNumber<std::uint16_t>(type, data, place);
        case 'i':
            return checkWholeNumber<std::int32_t>(type, data, place);
        case 'u':
            return checkWholeNumber<std::uint32_t>(type, data, place);
        case 'x':
            return checkWholeNumber<std::int64_t>(type, data, place);
        case 't':
            return checkWholeNumber<std::uint64_t>(type, data, place);
        case 'b':
            return data.is_boolean() ? void() : fail(place, expected("true or false", type, data));
        case 'd':
            return data.is_number() ? void() : fail(place, expected("a number", type, data));
        default:
            return checkText(type, data, place);
    }
}

void checkFitting(std::string_view type, const Json& data, const Place& place);

void checkStruct(std::string_view type, const Json& data, const Place& place)
{
    if (!data.is_array())
    {
        fail(place, expected("a list", type.front(), data));
    }
    const auto members = splitSignature(type.substr(1, type.size() - 2));
    if (members.size() != data.size())
    {
        fail(place, "expected " + std::to_string(members.size()) + " members for type '" +
                        std::string(type) + "', found " + std::to_string(data.size()));
    }
    for (std::size_t i = 0; i < members.size(); ++i)
    {
        checkFitting(members[i], data[i], place.element(i));
    }
}

/** A number written as text, which is how a dictionary in object form carries such a key. */
Json parseKey(const std::string& text, char keyType)
{
    if (keyType == 's' || keyType == 'o' || keyType == 'g')
    {
        return text;
    }
    return Json::parse(text, nullptr, false);
}

void checkDictionary(std::string_view type, const Json& data, const Place& place)
{
    const char keyType = type[2];
    const std::string_view valueType = type.substr(3, type.size() - 4);
    if (data.is_object())
    {
        for (const auto& [key, value] : data.items())
        {
            const Place here = place.member(key);
            checkBasic(keyType, parseKey(key, keyType), here);
            checkFitting(valueType, value, here);
        }
        return;
    }
    if (!data.is_array())
    {
        fail(place, "expected a dictionary for type '" + std::string(type) + "', found " +
                        data.type_name());
    }
    if (data.size() % 2 != 0)
    {
        fail(place, "a dictionary written as a list needs a value for each key");
    }
    for (std::size_t i = 0; i < data.size(); i += 2)
    {
        checkBasic(keyType, data[i], place.element(i));
        const bool named = data[i].is_string();
        const Place here =
            named ? place.member(data[i].get_ref<const std::string&>()) : place.element(i + 1);
        checkFitting(valueType, data[i + 1], here);
    }
}

void checkArray(std::string_view type, const Json& data, const Place& place)
{
    if (!data.is_array())
    {
        fail(place, expected("a list", type.front(), data));
    }
    for (std::size_t i = 0; i < data.size(); ++i)
    {
        checkFitting(type.substr(1), data[i], place.element(i));
    }
}

/** The type named by {"type": SIG, "data": ...}. */
const std::string& typeOf(const Json& typed, const Place& place)
{
    if (!typed.is_object())
    {
        fail(place, std::string("expected {\"type\", \"data\"}, found ") + typed.type_name());
    }
    for (const char* field : {"type", "data"})
    {
        if (!typed.contains(field))
        {
            fail(place, std::string("field \"") + field + "\" is missing");
        }
    }
    const auto& type = checkedText('g', typed["type"], place.member("type"));
    if (!isCompleteType(type))
    {
        fail(place.member("type"), "'" + type + "' is not one complete type");
    }
    return type;
}

void checkFitting(std::string_view type, const Json& data, const Place& place)
{
    if (place.depth() > deepestPlace)
    {
        fail(place, "nested too deeply");
    }
    if (type.front() == 'v')
    {
        const std::string& inner = typeOf(data, place);
        checkFitting(inner, data["data"], place.member("data"));
    }
    else if (type.front() == '(')
    {
        checkStruct(type, data, place);
    }
    else if (isDictionary(type))
    {
        checkDictionary(type, data, place);
    }
    else if (type.front() == 'a')
    {
        checkArray(type, data, place);
    }
    else
    {
        checkBasic(type.front(), data, place);
    }
}

} // namespace

Value Value::string(std::string text)
{
    return {"s", std::move(text)};
}

Value Value::objectPath(std::string path)
{
    return {"o", std::move(path)};
}

Value Value::boolean(bool value)
{
    return {"b", value};
}

Value Value::byte(std::uint8_t number)
{
    return {"y", number};
}

Value Value::int16(std::int16_t number)
{
    return {"n", number};
}

Value Value::uint16(std::uint16_t number)
{
    return {"q", number};
}

Value Value::int32(std::int32_t number)
{
    return {"i", number};
}

Value Value::uint32(std::uint32_t number)
{
    return {"u", number};
}

Value Value::int64(std::int64_t number)
{
    return {"x", number};
}

Value Value::uint64(std::uint64_t number)
{
    return {"t", number};
}

Value Value::real(double number)
{
    return {"d", number};
}

Value Value::strings(const std::vector<std::string>& list)
{
    return {"as", Json(list)};
}

Value Value::bytes(const std::vector<std::uint8_t>& list)
{
    return {"ay", Json(list)};
}

Value Value::associations(const Associations& list)
{
    return {"a(sss)", Json(list)};
}

void checkValue(std::string_view type, const Json& data, const Place& place)
{
    if (!isCompleteType(type))
    {
        fail(place, "'" + std::string(type) + "' is not one complete type");
    }
    checkFitting(type, data, place);
}

Value valueFromJson(const Json& typed, const Place& place)
{
    const std::string& type = typeOf(typed, place);
    checkFitting(type, typed["data"], place);
    return {type, typed["data"]};
}

Json valueToJson(const Value& value)
{
    return {{"type", value.type}, {"data", value.data}};
}

Associations toAssociations(const Value& value)
{
    if (value.type != "a(sss)")
    {
        throw ValueError("", "expected a value of type 'a(sss)', found '" + value.type + "'");
    }
    checkValue(value.type, value.data);
    return value.data.get<Associations>();
}

std::vector<std::pair<Json, const Json*>> dictionaryEntries(const Json& data, char keyType)
{
    std::vector<std::pair<Json, const Json*>> entries;
    if (data.is_object())
    {
        entries.reserve(data.size());
        for (const auto& [key, value] : data.items())
        {
            entries.emplace_back(parseKey(key, keyType), &value);
        }
        return entries;
    }
    entries.reserve(data.size() / 2);
    for (std::size_t i = 0; i + 1 < data.size(); i += 2)
    {
        entries.emplace_back(data[i], &data[i + 1]);
    }
    return entries;
}

} // namespace sim
