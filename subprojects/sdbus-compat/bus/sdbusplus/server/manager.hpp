/* An object manager on the bus.
 *
 * While the object lives, sd-bus answers GetManagedObjects for the objects below the path. Failures
 * to register are ignored, as in the library.
 *
 * Belongs to the thread of its connection.
 */
#pragma once

#include <sdbusplus/bus.hpp>
#include <sdbusplus/slot.hpp>
#include <systemd/sd-bus.h>

namespace sdbusplus
{
namespace server
{
namespace manager
{

struct manager : private sdbusplus::bus::details::bus_friend
{
    manager(sdbusplus::bus_t& bus, const char* path) : slot_(add(get_busp(bus), path)) {}

  private:
    static slot_t add(sd_bus* bus, const char* path)
    {
        sd_bus_slot* slot = nullptr;
        sd_bus_add_object_manager(bus, &slot, path);
        return slot_t(slot);
    }

    slot_t slot_;
};

} // namespace manager

using manager_t = manager::manager;

} // namespace server
} // namespace sdbusplus
