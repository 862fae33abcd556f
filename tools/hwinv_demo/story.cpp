#include "story.hpp"

#include "inspect/words.hpp"
#include "report.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace hwinv_demo
{
namespace
{

namespace names = sim::names;
using sim::Value;

const std::string root = std::string(names::smbiosRoot) + "/system/";
const std::string board = root + "board/";
const std::string motherboard = root + "chassis/motherboard/";
const std::string slot1 = motherboard + "pcieslot1";
const std::string smbiosCpu = motherboard + "cpu0";
const std::string l3Cache = root + "chassis/cacheinfo/cache2";
const std::string newSlot = motherboard + "pcieslot30";
const std::string newCard = board + "pcie_slot_30";

/** One step: what happens, which object to look at, and what its list must then be. */
struct Step
{
    std::string told;
    std::function<void()> happens;
    std::string look;
    sim::Associations expected;
};

sim::Associations inSlot(const std::string& slot)
{
    return {{"chassis", "pcieslot", slot}};
}

sim::Interfaces slotRecord(std::uint16_t number)
{
    return {{names::smbiosSlot,
             {{"SlotDesignation", Value::string("PCIe Slot " + std::to_string(number))},
              {"SlotID", Value::uint16(number)},
              {"BusNumber", Value::byte(9)}}}};
}

sim::Interfaces cardInSlot(std::uint16_t number)
{
    return {{names::kovdSlot,
             {{"PCIeFQDD", Value::string("NIC.Slot." + std::to_string(number) + "-1")},
              {"PCIeLocatorType", Value::byte(6)},
              {"PCIeLocatorInstanceNum", Value::uint16(number)}}}};
}

std::vector<Step> cardSteps(Scene& scene, const sim::Objects& smbios)
{
    sim::Service& records = scene.smbios();
    sim::Service& platform = scene.kovd();
    const sim::Interfaces record = smbios.at(slot1);
    return {
        {"a card is hot-plugged: the platform sees it before SMBIOS has a record of its slot",
         [&platform] { platform.addObject(newCard, cardInSlot(30)); },
         newCard,
         {}},
        {"the SMBIOS record of its slot appears",
         [&records] { records.addObject(newSlot, slotRecord(30)); }, newCard, inSlot(newSlot)},
        {"the SMBIOS record of slot 1 vanishes",
         [&records] { records.removeObject(slot1); },
         board + "pcie_slot_01",
         {}},
        {"and comes back", [&records, record] { records.addObject(slot1, record); },
         board + "pcie_slot_01", inSlot(slot1)},
    };
}

std::vector<Step> processorSteps(Scene& scene, const sim::Objects& smbios)
{
    sim::Service& records = scene.smbios();
    const std::string platformCpu = board + "cpu1";
    const sim::Associations complete = scene.observer().associationsOf(platformCpu);
    const sim::Associations withoutL3(complete.begin(), complete.end() - 1);
    const sim::Interfaces cpu = smbios.at(smbiosCpu);
    const sim::Interfaces cache = smbios.at(l3Cache);
    return {
        {"the L3 cache of processor 1 is withdrawn", [&records] { records.removeObject(l3Cache); },
         platformCpu, withoutL3},
        {"it appears late", [&records, cache] { records.addObject(l3Cache, cache); }, platformCpu,
         complete},
        {"the SMBIOS processor vanishes",
         [&records] { records.removeObject(smbiosCpu); },
         platformCpu,
         {}},
        {"and comes back", [&records, cpu] { records.addObject(smbiosCpu, cpu); }, platformCpu,
         complete},
    };
}

std::vector<Step> restartSteps(Scene& scene)
{
    sim::Service& platform = scene.kovd();
    const std::string other = board + "pcie_slot_31";
    const std::string otherSlot = motherboard + "pcieslot31";
    return {
        {"the platform service restarts and shows the objects that it had",
         [&platform]
         {
             platform.stop();
             platform.start();
         },
         newCard, inSlot(newSlot)},
        {"its next card is followed as before",
         [&scene, other, otherSlot]
         {
             scene.smbios().addObject(otherSlot, slotRecord(31));
             scene.kovd().addObject(other, cardInSlot(31));
         },
         other, inSlot(otherSlot)},
    };
}

/** True when the step ended as told, and nothing else has changed. */
bool play(Scene& scene, const Step& step, int number, std::ostream& out)
{
    out << "\n" << number << ". " << step.told << "\n";
    Lists expected = scene.observer().allAssociations();
    expected.erase(step.look);
    if (!step.expected.empty())
    {
        expected.emplace(step.look, step.expected);
    }
    step.happens();
    scene.settle();
    out << "   " << inspect::shortPath(step.look) << ": "
        << shortList(scene.observer().associationsOf(step.look)) << "\n";
    const auto wrong = differences({expected, {}, {}, {}}, scene.observer().allAssociations());
    for (const std::string& line : wrong)
    {
        out << "   NOT AS EXPECTED: " << line << "\n";
    }
    return wrong.empty();
}

/** Announces an object whose needed property has a type that the daemon cannot use. */
void sayUnreadable(sim::Service& service, bool isKovd)
{
    const sim::Interfaces broken =
        isKovd ? sim::Interfaces{{names::kovdSlot, {{"PCIeLocatorInstanceNum", Value::uint32(1)}}}}
               : sim::Interfaces{{names::smbiosSlot, {{"SlotID", Value::uint32(1)}}}};
    const std::string path = isKovd ? board + "pcie_starting" : motherboard + "pcieslot_starting";
    service.emitSignal({isKovd ? names::boardRoot : names::smbiosRoot, names::objectManager,
                        "InterfacesAdded", "oa{sa{sv}}",
                        sim::Json::array({path, sim::interfacesToJson(broken)})});
}

} // namespace

int playStory(Scene& scene, std::ostream& out)
{
    const sim::Objects smbios = scene.smbios().objects();
    std::vector<Step> steps = cardSteps(scene, smbios);
    for (const auto& more : {processorSteps(scene, smbios), restartSteps(scene)})
    {
        steps.insert(steps.end(), more.begin(), more.end());
    }
    int number = 0;
    int failed = 0;
    for (const Step& step : steps)
    {
        failed += play(scene, step, ++number, out) ? 0 : 1;
    }
    return failed;
}

void startLate(Scene& scene, const std::string& lateService, std::ostream& out)
{
    using namespace std::chrono_literals;
    const bool kovdIsLate = lateService == "kovd";
    (kovdIsLate ? scene.smbios() : scene.kovd()).start();
    scene.startDaemon();
    scene.settle();
    out << "The daemon runs and has looked around; " << lateService << " is not there yet.\n"
        << "Platform objects with associations: "
        << (kovdIsLate ? 0 : scene.observer().allAssociations().size()) << "\n";

    const std::size_t before = scene.daemon().log().size();
    sim::Service& late = scene.simulator().service(lateService);
    late.start();
    sayUnreadable(late, kovdIsLate);
    out << "Now it starts, with all its objects at once, and says one thing that cannot be read.\n"
        << "The daemon asks for a resync, which runs 5 s later …\n"
        << std::flush;
    const auto done =
        rig::says("startRecovery", "Recovery: resync completed. Entering cool-down...");
    if (!scene.daemon().log().waitFor(done, 60s, before))
    {
        throw sim::Timeout("the daemon made no resync");
    }
    scene.settle();
    out << "The resync is done.\n";
}

} // namespace hwinv_demo
