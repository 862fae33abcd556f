#include "sim/objects.hpp"

namespace sim
{

const Value* findProperty(const Objects& objects, const std::string& path,
                          const std::string& interface, const std::string& property)
{
    const auto object = objects.find(path);
    if (object == objects.end())
    {
        return nullptr;
    }
    const auto properties = object->second.find(interface);
    if (properties == object->second.end())
    {
        return nullptr;
    }
    const auto value = properties->second.find(property);
    return value == properties->second.end() ? nullptr : &value->second;
}

bool isBelow(const std::string& path, const std::string& root)
{
    if (root == "/")
    {
        return path.size() > 1;
    }
    return path.size() > root.size() && path.starts_with(root) && path[root.size()] == '/';
}

} // namespace sim
