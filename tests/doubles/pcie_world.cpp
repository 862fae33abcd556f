#include "doubles/pcie_world.hpp"

#include "doubles/sample_objects.hpp"

#include <memory>

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
    return findAssociatedSMBIOSPath(kovdPath) == smbiosPath;
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
