#include "sim/introspection.hpp"

#include "sim/names.hpp"

namespace sim
{
namespace
{

constexpr const char* header =
    R"(<!DOCTYPE node PUBLIC "-//freedesktop//DTD D-BUS Object Introspection 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd">
<node>
 <interface name="org.freedesktop.DBus.Peer">
  <method name="Ping"/>
  <method name="GetMachineId"><arg type="s" direction="out"/></method>
 </interface>
 <interface name="org.freedesktop.DBus.Introspectable">
  <method name="Introspect"><arg type="s" direction="out"/></method>
 </interface>
)";

constexpr const char* propertiesInterface = R"( <interface name="org.freedesktop.DBus.Properties">
  <method name="Get">
   <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="out"/>
  </method>
  <method name="GetAll"><arg type="s" direction="in"/><arg type="a{sv}" direction="out"/></method>
  <method name="Set">
   <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="v" direction="in"/>
  </method>
  <signal name="PropertiesChanged"><arg type="s"/><arg type="a{sv}"/><arg type="as"/></signal>
 </interface>
)";

constexpr const char* managerInterface = R"( <interface name="org.freedesktop.DBus.ObjectManager">
  <method name="GetManagedObjects"><arg type="a{oa{sa{sv}}}" direction="out"/></method>
  <signal name="InterfacesAdded"><arg type="o"/><arg type="a{sa{sv}}"/></signal>
  <signal name="InterfacesRemoved"><arg type="o"/><arg type="as"/></signal>
 </interface>
)";

std::string describe(const std::string& interface, const Properties& properties, bool settable)
{
    const char* access = settable ? "readwrite" : "read";
    std::string xml = " <interface name=\"" + interface + "\">\n";
    for (const auto& [name, value] : properties)
    {
        xml += "  <property name=\"" + name + "\" type=\"" + value.type + "\" access=\"" + access +
               "\"/>\n";
    }
    return xml + " </interface>\n";
}

} // namespace

std::string introspectionXml(const Inventory& inventory, const std::string& path)
{
    std::string xml = header;
    if (inventory.isManager(path))
    {
        xml += managerInterface;
    }
    const auto object = inventory.objects().find(path);
    if (object != inventory.objects().end())
    {
        xml += propertiesInterface;
        for (const auto& [interface, properties] : object->second)
        {
            const bool settable = inventory.profile().everyObject.contains(interface);
            xml += describe(interface, properties, settable);
        }
    }
    for (const std::string& child : inventory.children(path))
    {
        xml += " <node name=\"" + child + "\"/>\n";
    }
    return xml + "</node>\n";
}

} // namespace sim
