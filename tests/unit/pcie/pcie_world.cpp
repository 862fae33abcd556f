#include "pcie_world.hpp"

#include "doubles/sample_objects.hpp"

#include <memory>

namespace
{
const std::string inventory = "/xyz/openbmc_project/inventory/system/";
const std::string motherboard = inventory + "chassis/motherboard/";
const std::string board = inventory + "board/";
} // namespace

const std::string world::smbios1 = motherboard + "pcieslot1";
const std::string world::smbios2 = motherboard + "pcieslot2";
const std::string world::smbios3 = motherboard + "pcieslot3";
const std::string world::slot1 = board + "pcie_slot1";
const std::string world::slot2 = board + "pcie_slot2";
const std::string world::slot3 = board + "pcie_slot3";
const std::string world::device1 = slot1 + "/nic";
const std::string world::device2 = slot2 + "/nic";
const std::string world::device3 = slot3 + "/nic";
const std::string world::twin1 = motherboard + "pcie_slot1";
const std::string world::twin2 = motherboard + "pcie_slot2";
const std::string world::twin3 = motherboard + "pcie_slot3";

PropertyMap world::smbiosSlot(int number)
{
    return sample::smbiosSlot("PCIe SLOT " + std::to_string(number),
                              static_cast<std::uint16_t>(number));
}

PropertyMap world::kovdSlot(int number)
{
    return sample::kovdSlot("NIC.Slot." + std::to_string(number),
                            static_cast<std::uint16_t>(number));
}

PropertyMap world::kovdDevice(int number)
{
    return sample::kovdDevice("NIC.Slot." + std::to_string(number) + "-1");
}

AssociationRequest world::paired(const std::string& kovdPath, const std::string& smbiosPath)
{
    return {kovdPath, {{"chassis", "pcieslot", smbiosPath}}};
}

world::Lines world::engineLines()
{
    Lines lines;
    for (const std::string& line : recorded_log::summary())
    {
        if (line.find(" matchFQDD: ") != 1)
        {
            lines.push_back(line);
        }
    }
    return lines;
}

world::Lines world::joined(const std::vector<Lines>& parts)
{
    Lines all;
    for (const Lines& part : parts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::size_t world::comparisons(const std::string& fqdd)
{
    return recorded_log::count("KOVD fqdd " + fqdd);
}

bool world::isPair(const std::string& smbiosPath, const std::string& kovdPath)
{
    std::string partner;
    return findAssociatedSMBIOSPath(kovdPath, partner) && partner == smbiosPath;
}

void world::when(const std::string& text, const std::function<void()>& action)
{
    const auto done = std::make_shared<bool>(false);
    recorded_log::setHook(
        [text, action, done](const LogLine& line)
        {
            if (!*done && line.text == text)
            {
                *done = true;
                action();
            }
        });
}
