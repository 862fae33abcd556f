/*
 * Follows the associations of the platform's objects on a bus.
 *
 * Reads only. Thread: the one that owns the connection.
 */
#pragma once

#include "inspect/world.hpp"
#include "sim/sdbus.hpp"

#include <functional>
#include <map>
#include <string>

namespace inspect
{

/** The list of one object has changed. */
struct AssociationChange
{
    std::string path;
    AssociationList before;
    AssociationList after;
};

class AssociationWatcher
{
  public:
    using Report = std::function<void(const AssociationChange&)>;

    /** Subscribes, then reads what stands now; throws sim::BusError. The bus outlives the watcher,
     *  which stays where it is. */
    AssociationWatcher(sd_bus* bus, Report report);
    AssociationWatcher(const AssociationWatcher&) = delete;
    AssociationWatcher& operator=(const AssociationWatcher&) = delete;

    /** How many objects there were at the start. */
    std::size_t objects() const
    {
        return objects_;
    }

  private:
    struct SlotReleaser
    {
        void operator()(sd_bus_slot* slot) const
        {
            sd_bus_slot_unref(slot);
        }
    };
    using Slot = std::unique_ptr<sd_bus_slot, SlotReleaser>;

    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);

    Slot subscribe(const char* interface, const char* member);
    void take(sd_bus_message* message);
    void set(const std::string& path, AssociationList list);
    void readAll();

    sd_bus* bus_;
    Report report_;
    std::map<std::string, AssociationList> lists_;
    std::size_t objects_ = 0;
    Slot slots_[4];
};

} // namespace inspect
