#include "sim/answers.hpp"

#include "sim/introspection.hpp"
#include "sim/names.hpp"
#include "sim/value_message.hpp"

#include <string_view>
#include <vector>

namespace sim
{
namespace
{

Message replyTo(sd_bus_message* request)
{
    sd_bus_message* reply = nullptr;
    check(sd_bus_message_new_method_return(request, &reply), "make a reply");
    return Message(reply);
}

/** The texts of a call's body; throws MethodError when the body is not exactly `count` of them. */
std::vector<std::string> readTexts(sd_bus_message* request, std::size_t count)
{
    if (textOf(sd_bus_message_get_signature(request, 1)) != std::string(count, 's'))
    {
        throw MethodError(names::invalidArguments, "wrong argument types");
    }
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < count; ++i)
    {
        texts.push_back(readValue(request).data.get<std::string>());
    }
    return texts;
}

const Interfaces& interfacesAt(const Inventory& inventory, const std::string& path)
{
    const auto object = inventory.objects().find(path);
    if (object == inventory.objects().end())
    {
        throw MethodError(names::unknownObject, "no object at " + path);
    }
    return object->second;
}

const Properties& propertiesOf(const Inventory& inventory, const std::string& path,
                               const std::string& interface)
{
    const Interfaces& interfaces = interfacesAt(inventory, path);
    const auto found = interfaces.find(interface);
    if (found == interfaces.end())
    {
        throw MethodError(names::unknownInterface, "no interface " + interface + " at " + path);
    }
    return found->second;
}

const Value& propertyOf(const Inventory& inventory, const std::string& path,
                        const std::string& interface, const std::string& property)
{
    const Properties& properties = propertiesOf(inventory, path, interface);
    const auto found = properties.find(property);
    if (found == properties.end())
    {
        throw MethodError(names::unknownProperty, "no property " + property + " at " + path);
    }
    return found->second;
}

Message answerGet(const Inventory& inventory, sd_bus_message* request, const std::string& path)
{
    const auto texts = readTexts(request, 2);
    const Value& value = propertyOf(inventory, path, texts[0], texts[1]);
    Message reply = replyTo(request);
    appendVariant(reply.get(), value);
    return reply;
}

Message answerGetAll(const Inventory& inventory, sd_bus_message* request, const std::string& path)
{
    const auto texts = readTexts(request, 1);
    Message reply = replyTo(request);
    if (!texts[0].empty())
    {
        appendProperties(reply.get(), propertiesOf(inventory, path, texts[0]));
        return reply;
    }
    Properties all;
    for (const auto& [name, properties] : interfacesAt(inventory, path))
    {
        all.insert(properties.begin(), properties.end());
    }
    appendProperties(reply.get(), all);
    return reply;
}

Message answerManagedObjects(const Inventory& inventory, sd_bus_message* request,
                             const std::string& path)
{
    if (!inventory.isManager(path))
    {
        throw MethodError(names::unknownMethod, "no object manager at " + path);
    }
    Message reply = replyTo(request);
    sd_bus_message* message = reply.get();
    check(sd_bus_message_open_container(message, 'a', "{oa{sa{sv}}}"), "open a container");
    for (const auto& [objectPath, interfaces] : inventory.objects())
    {
        if (!isBelow(objectPath, path))
        {
            continue;
        }
        check(sd_bus_message_open_container(message, 'e', "oa{sa{sv}}"), "open a container");
        appendText(message, 'o', objectPath);
        appendInterfaces(message, interfaces);
        check(sd_bus_message_close_container(message), "close a container");
    }
    check(sd_bus_message_close_container(message), "close a container");
    return reply;
}

Message answerIntrospect(const Inventory& inventory, sd_bus_message* request,
                         const std::string& path)
{
    Message reply = replyTo(request);
    appendText(reply.get(), 's', introspectionXml(inventory, path));
    return reply;
}

bool isCall(sd_bus_message* request, const char* interface, const char* member)
{
    // A call need not name its interface.
    const char* named = sd_bus_message_get_interface(request);
    return (named == nullptr || std::string_view(named) == interface) &&
           textOf(sd_bus_message_get_member(request)) == member;
}

} // namespace

void appendText(sd_bus_message* message, char type, const std::string& text)
{
    check(sd_bus_message_append_basic(message, type, text.c_str()), "append a text");
}

void appendProperties(sd_bus_message* message, const Properties& properties)
{
    check(sd_bus_message_open_container(message, 'a', "{sv}"), "open a container");
    for (const auto& [name, value] : properties)
    {
        check(sd_bus_message_open_container(message, 'e', "sv"), "open a container");
        appendText(message, 's', name);
        appendVariant(message, value);
        check(sd_bus_message_close_container(message), "close a container");
    }
    check(sd_bus_message_close_container(message), "close a container");
}

void appendInterfaces(sd_bus_message* message, const Interfaces& interfaces)
{
    check(sd_bus_message_open_container(message, 'a', "{sa{sv}}"), "open a container");
    for (const auto& [name, properties] : interfaces)
    {
        check(sd_bus_message_open_container(message, 'e', "sa{sv}"), "open a container");
        appendText(message, 's', name);
        appendProperties(message, properties);
        check(sd_bus_message_close_container(message), "close a container");
    }
    check(sd_bus_message_close_container(message), "close a container");
}

SetRequest readSet(sd_bus_message* request)
{
    if (textOf(sd_bus_message_get_signature(request, 1)) != "ssv")
    {
        throw MethodError(names::invalidArguments, "wrong argument types");
    }
    SetRequest set;
    set.path = textOf(sd_bus_message_get_path(request));
    set.interface = readValue(request).data.get<std::string>();
    set.property = readValue(request).data.get<std::string>();
    set.value = readVariant(request);
    return set;
}

void checkSettable(const Inventory& inventory, const SetRequest& set)
{
    const Value& present = propertyOf(inventory, set.path, set.interface, set.property);
    if (!inventory.profile().everyObject.contains(set.interface))
    {
        throw MethodError(names::propertyReadOnly, set.property + " cannot be set");
    }
    if (present.type != set.value.type)
    {
        throw MethodError(names::invalidArguments, set.property + " has type '" + present.type +
                                                       "', not '" + set.value.type + "'");
    }
}

Message answer(const Inventory& inventory, sd_bus_message* request)
{
    const std::string path = textOf(sd_bus_message_get_path(request));
    if (isCall(request, names::properties, "Get"))
    {
        return answerGet(inventory, request, path);
    }
    if (isCall(request, names::properties, "GetAll"))
    {
        return answerGetAll(inventory, request, path);
    }
    if (isCall(request, names::objectManager, "GetManagedObjects"))
    {
        return answerManagedObjects(inventory, request, path);
    }
    if (isCall(request, names::introspectable, "Introspect"))
    {
        return answerIntrospect(inventory, request, path);
    }
    throw MethodError(names::unknownMethod,
                      "no method " + textOf(sd_bus_message_get_member(request)) + " at " + path);
}

} // namespace sim
