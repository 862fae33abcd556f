#include "rig/settle.hpp"

#include "rig/backlog.hpp"
#include "sim/names.hpp"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <string>
#include <string_view>
#include <thread>

namespace rig
{
namespace
{

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/** Where a service's probes go, and which worker sees them. */
struct Road
{
    std::string pathStem;
    const char* interface;
    const char* worker;
};

Road roadOf(const sim::Service& service)
{
    if (service.profile().busName == sim::names::smbiosService)
    {
        return {"/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot_settled_",
                sim::names::smbiosSlot, "processSmbiosMessagesInQueue"};
    }
    return {"/xyz/openbmc_project/inventory/system/board/pcie_settled_", sim::names::kovdSlot,
            "processKovdMessagesInQueue"};
}

/** No two probes are alike, so that one left over from before is not taken for a new one. */
unsigned long nextNumber()
{
    static std::atomic<unsigned long> last{0};
    return ++last;
}

/** True for the worker's line about a probe with this number or a later one. */
bool isAnswer(const LogLine& line, const Road& road, unsigned long first)
{
    const std::string_view text = line.text;
    if (line.function != road.worker || !text.starts_with(road.pathStem))
    {
        return false;
    }
    unsigned long number = 0;
    std::from_chars(text.data() + road.pathStem.size(), text.data() + text.size(), number);
    return number >= first;
}

/** Sends probes until one is answered: the first may have come before the daemon listened. */
void probe(sim::Service& service, const Daemon& daemon, Clock::time_point deadline)
{
    const Road road = roadOf(service);
    const std::size_t from = daemon.log().size();
    const unsigned long first = nextNumber();
    const auto answered = [&](const LogLine& line) { return isAnswer(line, road, first); };
    unsigned long number = first;
    for (auto patience = 50ms; Clock::now() < deadline; patience = std::min(2 * patience, 2000ms))
    {
        service.emitSignal({road.pathStem + std::to_string(number),
                            sim::names::properties,
                            "PropertiesChanged",
                            "sa{sv}as",
                            {road.interface, sim::Json::object(), sim::Json::array()}});
        if (daemon.log().waitFor(answered, patience, from))
        {
            return;
        }
        number = nextNumber();
    }
    throw sim::Timeout("the daemon does not work off what " + service.profile().busName + " sends");
}

void waitForWrites(const Daemon& daemon, Clock::time_point deadline)
{
    while (hasBacklog(daemon.pid()))
    {
        if (Clock::now() > deadline)
        {
            throw sim::Timeout("the daemon does not come to the end of its writes");
        }
        std::this_thread::sleep_for(1ms); // nobody says when; the fact itself is looked at
    }
}

void waitForName(Observer& observer, const Daemon& daemon, const std::string& name,
                 Clock::time_point deadline)
{
    while (!observer.waitForOwner(name, 100ms))
    {
        if (daemon.log().waitForEnd(0ms))
        {
            const auto lines = daemon.log().lines();
            throw sim::Error("the daemon has ended: " +
                             (lines.empty() ? "it said nothing" : lines.back().text));
        }
        if (Clock::now() > deadline)
        {
            throw sim::Timeout("the daemon does not take its name");
        }
    }
}

} // namespace

void settle(Observer& observer, const Daemon& daemon, const std::vector<sim::Service*>& services,
            std::chrono::milliseconds limit, const std::string& name)
{
    const auto deadline = Clock::now() + limit;
    waitForName(observer, daemon, name, deadline);
    observer.ping(name);
    for (sim::Service* service : services)
    {
        if (service->running())
        {
            probe(*service, daemon, deadline);
        }
    }
    waitForWrites(daemon, deadline);
    observer.ping(name); // the last write may still be on its way
    daemon.catchUp();
}

} // namespace rig
