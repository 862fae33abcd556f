/* Ownership of a registration on a bus (sd_bus_slot).
 *
 * Destroying the slot ends the registration. Movable, not copyable; belongs to the thread of its
 * bus.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace sdbusplus
{
namespace slot
{

namespace details
{

struct SlotDeleter
{
    void operator()(sd_bus_slot* slot) const noexcept
    {
        sd_bus_slot_unref(slot);
    }
};

} // namespace details

struct slot
{
    /// Takes the reference over.
    explicit slot(sd_bus_slot* owned) : slot_(owned) {}

    sd_bus_slot* release()
    {
        return slot_.release();
    }

    explicit operator bool() const
    {
        return static_cast<bool>(slot_);
    }

  private:
    std::unique_ptr<sd_bus_slot, details::SlotDeleter> slot_;
};

} // namespace slot

using slot_t = slot::slot;

} // namespace sdbusplus
