#include "sim/value_message.hpp"

#include "sim/signature.hpp"

#include <cerrno>

namespace sim
{
namespace
{

void append(sd_bus_message* message, std::string_view type, const Json& data);

void appendBasic(sd_bus_message* message, char type, const void* value)
{
    check(sd_bus_message_append_basic(message, type, value), "append a value");
}

template <typename Number>
void appendNumber(sd_bus_message* message, char type, const Json& data)
{
    const auto number = data.get<Number>();
    appendBasic(message, type, &number);
}

void appendBasic(sd_bus_message* message, char type, const Json& data)
{
    switch (type)
    {
        case 'y':
            return appendNumber<std::uint8_t>(message, type, data);
        case 'n':
            return appendNumber<std::int16_t>(message, type, data);
        case 'q':
            return appendNumber<std::uint16_t>(message, type, data);
        case 'i':
            return appendNumber<std::int32_t>(message, type, data);
        case 'u':
            return appendNumber<std::uint32_t>(message, type, data);
        case 'x':
            return appendNumber<std::int64_t>(message, type, data);
        case 't':
            return appendNumber<std::uint64_t>(message, type, data);
        case 'd':
            return appendNumber<double>(message, type, data);
        case 'b':
        {
            const int truth = data.get<bool>() ? 1 : 0;
            return appendBasic(message, type, &truth);
        }
        default:
            appendBasic(message, type, data.get_ref<const std::string&>().c_str());
    }
}

void open(sd_bus_message* message, char kind, std::string_view contents)
{
    check(sd_bus_message_open_container(message, kind, std::string(contents).c_str()),
          "open a container");
}

void close(sd_bus_message* message)
{
    check(sd_bus_message_close_container(message), "close a container");
}

void appendDictionary(sd_bus_message* message, std::string_view type, const Json& data)
{
    const std::string_view entry = type.substr(2, type.size() - 3);
    const std::string_view valueType = entry.substr(1);
    open(message, 'a', type.substr(1));
    for (const auto& [key, value] : dictionaryEntries(data, entry.front()))
    {
        open(message, 'e', entry);
        appendBasic(message, entry.front(), key);
        append(message, valueType, *value);
        close(message);
    }
    close(message);
}

void appendArray(sd_bus_message* message, std::string_view type, const Json& data)
{
    open(message, 'a', type.substr(1));
    for (const Json& element : data)
    {
        append(message, type.substr(1), element);
    }
    close(message);
}

void appendStruct(sd_bus_message* message, std::string_view type, const Json& data)
{
    const std::string_view contents = type.substr(1, type.size() - 2);
    open(message, 'r', contents);
    std::size_t index = 0;
    for (const std::string_view member : splitSignature(contents))
    {
        append(message, member, data[index++]);
    }
    close(message);
}

void append(sd_bus_message* message, std::string_view type, const Json& data)
{
    if (type.front() == 'v')
    {
        const auto& inner = data["type"].get_ref<const std::string&>();
        open(message, 'v', inner);
        append(message, inner, data["data"]);
        close(message);
    }
    else if (type.front() == '(')
    {
        appendStruct(message, type, data);
    }
    else if (isDictionary(type))
    {
        appendDictionary(message, type, data);
    }
    else if (type.front() == 'a')
    {
        appendArray(message, type, data);
    }
    else
    {
        appendBasic(message, type.front(), data);
    }
}

struct NextType
{
    char kind = 0;
    std::string contents;
};

NextType peek(sd_bus_message* message)
{
    const char* contents = nullptr;
    NextType next;
    if (check(sd_bus_message_peek_type(message, &next.kind, &contents), "look at a message") == 0)
    {
        throw BusError(ENODATA, "read a message: no value is left");
    }
    next.contents = contents == nullptr ? "" : contents;
    return next;
}

std::string typeText(const NextType& next)
{
    switch (next.kind)
    {
        case 'a':
            return "a" + next.contents;
        case 'r':
            return "(" + next.contents + ")";
        default:
            return std::string(1, next.kind);
    }
}

bool atEnd(sd_bus_message* message)
{
    return check(sd_bus_message_at_end(message, 0), "read a message") > 0;
}

template <typename Number>
Json readNumber(sd_bus_message* message, char type)
{
    Number number = 0;
    check(sd_bus_message_read_basic(message, type, &number), "read a number");
    return number;
}

Json readBasic(sd_bus_message* message, char type)
{
    switch (type)
    {
        case 'y':
            return readNumber<std::uint8_t>(message, type);
        case 'n':
            return readNumber<std::int16_t>(message, type);
        case 'q':
            return readNumber<std::uint16_t>(message, type);
        case 'i':
            return readNumber<std::int32_t>(message, type);
        case 'u':
            return readNumber<std::uint32_t>(message, type);
        case 'x':
            return readNumber<std::int64_t>(message, type);
        case 't':
            return readNumber<std::uint64_t>(message, type);
        case 'd':
            return readNumber<double>(message, type);
        case 'b':
            return readNumber<int>(message, type) != 0;
        case 's':
        case 'o':
        case 'g':
        {
            const char* text = nullptr;
            check(sd_bus_message_read_basic(message, type, static_cast<void*>(&text)),
                  "read a text");
            return std::string(text);
        }
        default:
            throw BusError(EOPNOTSUPP, std::string("read a value of type '") + type + "'");
    }
}

Json readData(sd_bus_message* message, const NextType& next);

void enter(sd_bus_message* message, const NextType& next)
{
    check(sd_bus_message_enter_container(message, next.kind, next.contents.c_str()),
          "enter a container");
}

void leave(sd_bus_message* message)
{
    check(sd_bus_message_exit_container(message), "leave a container");
}

/** Text keys that do not repeat become an object; everything else the flat list. */
Json shapeDictionary(Json flat, char keyType)
{
    Json object = Json::object();
    if (keyType != 's' && keyType != 'o' && keyType != 'g')
    {
        return flat;
    }
    for (std::size_t i = 0; i < flat.size(); i += 2)
    {
        const auto& key = flat[i].get_ref<const std::string&>();
        if (object.contains(key))
        {
            return flat;
        }
        object[key] = flat[i + 1];
    }
    return object;
}

Json readArray(sd_bus_message* message, const NextType& next)
{
    const bool dictionary = next.contents.front() == '{';
    Json elements = Json::array();
    enter(message, next);
    while (!atEnd(message))
    {
        const NextType element = peek(message);
        if (!dictionary)
        {
            elements.push_back(readData(message, element));
            continue;
        }
        enter(message, element);
        elements.push_back(readData(message, peek(message)));
        elements.push_back(readData(message, peek(message)));
        leave(message);
    }
    leave(message);
    return dictionary ? shapeDictionary(std::move(elements), next.contents[1]) : elements;
}

Json readStruct(sd_bus_message* message, const NextType& next)
{
    Json members = Json::array();
    enter(message, next);
    while (!atEnd(message))
    {
        members.push_back(readData(message, peek(message)));
    }
    leave(message);
    return members;
}

Json readData(sd_bus_message* message, const NextType& next)
{
    switch (next.kind)
    {
        case 'a':
            return readArray(message, next);
        case 'r':
            return readStruct(message, next);
        case 'v':
            return valueToJson(readVariant(message));
        default:
            return readBasic(message, next.kind);
    }
}

} // namespace

void appendValue(sd_bus_message* message, std::string_view type, const Json& data)
{
    checkValue(type, data);
    append(message, type, data);
}

void appendVariant(sd_bus_message* message, const Value& value)
{
    checkValue(value.type, value.data);
    open(message, 'v', value.type);
    append(message, value.type, value.data);
    close(message);
}

void appendBody(sd_bus_message* message, std::string_view signature, const Json& data)
{
    if (!isSignature(signature))
    {
        throw ValueError("", "'" + std::string(signature) + "' is not a signature");
    }
    const auto types = splitSignature(signature);
    if (!data.is_array() || data.size() != types.size())
    {
        throw ValueError("", "expected a list of " + std::to_string(types.size()) +
                                 " values for '" + std::string(signature) + "'");
    }
    const Place body("body");
    for (std::size_t i = 0; i < types.size(); ++i)
    {
        checkValue(types[i], data[i], body.element(i));
    }
    for (std::size_t i = 0; i < types.size(); ++i)
    {
        append(message, types[i], data[i]);
    }
}

Value readValue(sd_bus_message* message)
{
    const NextType next = peek(message);
    return {typeText(next), readData(message, next)};
}

Value readVariant(sd_bus_message* message)
{
    const NextType next = peek(message);
    enter(message, next);
    Value value = readValue(message);
    leave(message);
    return value;
}

} // namespace sim
