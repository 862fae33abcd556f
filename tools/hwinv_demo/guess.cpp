#include "guess.hpp"

#include "facts.hpp"
#include "sim/names.hpp"

namespace hwinv_demo
{
namespace
{

namespace names = sim::names;

/** The platform slot of that SMBIOS slot whose path stands in the device's; empty when none. */
std::string slotAround(const Facts& facts, const std::string& device, const std::string& smbiosSlot)
{
    for (const auto& [path, list] : facts.associations)
    {
        const bool isSlot = facts.kovd.at(path).contains(names::kovdSlot);
        const bool contained = path != device && device.find(path) != std::string::npos;
        if (isSlot && contained && list.front()[2] == smbiosSlot)
        {
            return path;
        }
    }
    return "";
}

std::string deviceReason(const Facts& facts, const std::string& path, const std::string& smbiosSlot)
{
    const std::string slot = slotAround(facts, path, smbiosSlot);
    const std::string fqdd = "FQDD " + text(facts.kovd, path, names::kovdDevice, "FQDD");
    if (slot.empty())
    {
        return fqdd;
    }
    return sim::isBelow(path, slot) ? "device in " + leaf(slot) + ", " + fqdd
                                    : "its path contains " + leaf(slot);
}

} // namespace

std::string guessReason(const Facts& facts, const std::string& path, const std::string& smbiosSlot)
{
    const auto& interfaces = facts.kovd.at(path);
    if (interfaces.contains(names::kovdSlot))
    {
        return "FQDD " + text(facts.kovd, path, names::kovdSlot, "PCIeFQDD") + ", slot id " +
               text(facts.kovd, path, names::kovdSlot, "PCIeLocatorInstanceNum");
    }
    return interfaces.contains(names::kovdDevice) ? deviceReason(facts, path, smbiosSlot)
                                                  : "same name as its slot on the board";
}

} // namespace hwinv_demo
