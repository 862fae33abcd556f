#include "store/object_map.hpp"

#include <algorithm>
#include <utility>

void ObjectMap::insertObject(const std::string& path, PropertyMap properties, MatchKeys keys)
{
    auto object =
        std::make_shared<const StoredObject>(StoredObject{path, std::move(properties), keys});

    Snapshot outdated; // freed, like the replaced object, when the lock is free again
    MutexLock lock(mutex_);
    const auto at = objects_.begin() + (lowerBound(path) - objects_.cbegin());
    const bool stored = at != objects_.end() && (*at)->path == path;
    if (stored && (*at)->properties == object->properties)
    {
        return;
    }
    outdated = dropSnapshot();
    if (stored)
    {
        at->swap(object);
        return;
    }
    objects_.insert(at, std::move(object));
}

bool ObjectMap::hasObject(std::string_view path) const
{
    return findObject(path) != nullptr;
}

int ObjectMap::eraseObject(std::string_view path)
{
    Snapshot outdated; // freed, like the object, when the lock is free again
    SharedObject erased;
    MutexLock lock(mutex_);
    const auto at = lowerBound(path);
    if (at == objects_.end() || (*at)->path != path)
    {
        return -1;
    }
    outdated = dropSnapshot();
    erased = *at;
    objects_.erase(at);
    return 0;
}

bool ObjectMap::getObject(std::string_view path, PropertyMap* properties) const
{
    if (properties == nullptr)
    {
        return false;
    }
    // The object is immutable: copying its properties needs no lock.
    const SharedObject object = findObject(path);
    if (!object)
    {
        return false;
    }
    *properties = object->properties;
    return true;
}

std::vector<std::string> ObjectMap::listObjectPaths() const
{
    const Snapshot objects = snapshot();
    std::vector<std::string> paths;
    paths.reserve(objects->size());
    for (const SharedObject& object : *objects)
    {
        paths.push_back(object->path);
    }
    return paths;
}

SharedObject ObjectMap::findObject(std::string_view path) const
{
    MutexLock lock(mutex_);
    return find(path);
}

ObjectMap::Snapshot ObjectMap::snapshot() const
{
    MutexLock lock(mutex_);
    if (!snapshot_)
    {
        snapshot_ = std::make_shared<const Objects>(objects_);
        latest_ = snapshot_.get();
    }
    return snapshot_;
}

/** Before a change; the snapshot, if there is one, goes with the caller. */
ObjectMap::Snapshot ObjectMap::dropSnapshot()
{
    latest_ = nullptr;
    return std::exchange(snapshot_, nullptr);
}

ObjectMap::Objects::const_iterator ObjectMap::lowerBound(std::string_view path) const
{
    return std::lower_bound(objects_.cbegin(), objects_.cend(), path,
                            [](const SharedObject& object, std::string_view wanted)
                            { return object->path < wanted; });
}

SharedObject ObjectMap::find(std::string_view path) const
{
    const auto at = lowerBound(path);
    return at != objects_.cend() && (*at)->path == path ? *at : nullptr;
}
