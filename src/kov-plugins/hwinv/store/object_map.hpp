/*
 * One kind of inventory object: path to the properties that matching reads, in byte order of the
 * paths.
 *
 * Example: after insertObject("/a/slot2", {...}) and insertObject("/a/slot1", {...}) the map
 * lists "/a/slot1", "/a/slot2"; a second insertObject("/a/slot1", {}) leaves an entry without
 * properties.
 *
 * Stored objects are immutable and shared: an insert replaces the object, so a search looks at a
 * stored object without copying it and without holding the lock. It holds a snapshot and asks at
 * each entry, without the lock, whether the map is still as it was then.
 *
 * Any thread; takes its own lock. No operation calls out while it holds it. A failing mutex throws
 * std::system_error.
 */
#pragma once

#include "base/mutex.hpp"
#include "store/property_map.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/**
 * What most comparisons of slots and devices end at, read from the properties by the engine that
 * compares them (engines/match_keys.hpp). An object that lacks a key is compared by its properties.
 */
struct MatchKeys
{
    std::optional<std::uint16_t> identifier;
    std::optional<int> number;
};

struct StoredObject
{
    std::string path;
    PropertyMap properties;
    MatchKeys keys = {};
};

/** Null stands for "not stored". */
using SharedObject = std::shared_ptr<const StoredObject>;

class ObjectMap
{
  public:
    /** All objects at one moment, ascending by path. */
    using Snapshot = std::shared_ptr<const std::vector<SharedObject>>;

    /** The mutex outlives the map. */
    explicit ObjectMap(Mutex& mutex) : mutex_(mutex) {}

    ObjectMap(const ObjectMap&) = delete;
    ObjectMap& operator=(const ObjectMap&) = delete;

    /**
     * Adds the object or replaces all its properties; nothing is merged. An object that is stored
     * with the same properties already stays as it is.
     */
    void insertObject(const std::string& path, PropertyMap properties, MatchKeys keys = {})
        EXCLUDES(mutex_);

    bool hasObject(std::string_view path) const EXCLUDES(mutex_);

    /** 0 when the object was removed, -1 when there was none. */
    int eraseObject(std::string_view path) EXCLUDES(mutex_);

    /**
     * Copies the properties out. False when the path is not stored (`properties` is left as it
     * was) and, without taking the lock, when `properties` is null.
     */
    bool getObject(std::string_view path, PropertyMap* properties) const EXCLUDES(mutex_);

    /** All paths, ascending. */
    std::vector<std::string> listObjectPaths() const EXCLUDES(mutex_);

    /** The stored object itself; null when there is none. */
    SharedObject findObject(std::string_view path) const EXCLUDES(mutex_);

    /** Shared by all callers until the next change of the map. */
    Snapshot snapshot() const EXCLUDES(mutex_);

    /** Whether the map is as it was when the snapshot was taken. Takes no lock. */
    bool isLatest(const Snapshot& snapshot) const
    {
        // The caller keeps its snapshot alive, so an equal address is the same snapshot.
        return latest_.load() == snapshot.get();
    }

  private:
    using Objects = std::vector<SharedObject>;

    Objects::const_iterator lowerBound(std::string_view path) const REQUIRES(mutex_);
    SharedObject find(std::string_view path) const REQUIRES(mutex_);
    Snapshot dropSnapshot() REQUIRES(mutex_);

    Mutex& mutex_;
    Objects objects_ GUARDED_BY(mutex_);
    mutable Snapshot snapshot_ GUARDED_BY(mutex_);        // null once objects_ has changed
    mutable std::atomic<const Objects*> latest_{nullptr}; // snapshot_'s; written with mutex_ held
};
