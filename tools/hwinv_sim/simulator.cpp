#include "simulator.hpp"

#include "fault_text.hpp"
#include "sim/names.hpp"

#include <utility>

namespace hwinv_sim
{
namespace
{

bool has(sim::Service& service, const std::string& path)
{
    bool found = false;
    service.perform([&](sim::Player& player)
                    { found = player.inventory().objects().contains(path); });
    return found;
}

} // namespace

Simulator::Simulator(const std::string& address, sim::InventoryCapture inventory)
    : smbios_(address, sim::smbiosProfile()), kovd_(address, sim::kovdProfile())
{
    smbios_.load(std::move(inventory.smbios));
    kovd_.load(std::move(inventory.kovd));
}

const std::vector<std::string>& Simulator::serviceNames()
{
    static const std::vector<std::string> names{"smbios", "kovd"};
    return names;
}

sim::Service& Simulator::service(const std::string& name)
{
    if (name == "smbios")
    {
        return smbios_;
    }
    if (name == "kovd")
    {
        return kovd_;
    }
    throw sim::UsageError("no service is called '" + name + "': smbios, kovd");
}

sim::Service& Simulator::serviceFor(const std::string& name, const std::string& path)
{
    if (!name.empty())
    {
        return service(name);
    }
    const bool inSmbios = has(smbios_, path);
    const bool inKovd = has(kovd_, path);
    if (inSmbios != inKovd)
    {
        return inSmbios ? smbios_ : kovd_;
    }
    if (!inSmbios && sim::isBelow(path, sim::names::boardRoot))
    {
        return kovd_;
    }
    throw sim::Error(path + " can belong to either service: say --service smbios or kovd");
}

void Simulator::addFault(const std::string& kind, const std::string& text)
{
    const ServiceFault parsed = parseFault(kind, text);
    if (!parsed.service.empty())
    {
        service(parsed.service).addFault(parsed.fault);
        return;
    }
    smbios_.addFault(parsed.fault);
    kovd_.addFault(parsed.fault);
}

void Simulator::clearFaults()
{
    smbios_.clearFaults();
    kovd_.clearFaults();
}

} // namespace hwinv_sim
