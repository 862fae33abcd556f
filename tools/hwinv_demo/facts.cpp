#include "facts.hpp"

#include "sim/names.hpp"

namespace hwinv_demo
{
namespace
{

namespace names = sim::names;

sim::Objects managedObjects(rig::Observer& observer, const char* service, const char* path)
{
    return observer.ownerOf(service).empty() ? sim::Objects{}
                                             : observer.managedObjects(service, path);
}

} // namespace

Facts readFacts(rig::Observer& observer)
{
    Facts facts;
    facts.smbios = managedObjects(observer, names::smbiosService, names::smbiosRoot);
    facts.kovd = managedObjects(observer, names::kovdService, names::boardRoot);
    facts.kovd.merge(managedObjects(observer, names::kovdService, names::chassisRoot));
    if (!observer.ownerOf(names::kovdService).empty())
    {
        facts.associations = observer.allAssociations();
    }
    return facts;
}

std::string text(const sim::Objects& objects, const std::string& path, const char* interface,
                 const char* property)
{
    const sim::Value* value = sim::findProperty(objects, path, interface, property);
    if (value == nullptr)
    {
        return "";
    }
    return value->data.is_string() ? value->data.get<std::string>() : value->data.dump();
}

std::string leaf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

} // namespace hwinv_demo
