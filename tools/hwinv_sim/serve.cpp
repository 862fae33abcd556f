#include "serve.hpp"

#include "control.hpp"
#include "inventory_folder.hpp"
#include "program/program.hpp"
#include "sim/bus.hpp"
#include "sim/sdbus.hpp"
#include "simulator.hpp"

#include <systemd/sd-event.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>

namespace hwinv_sim
{
namespace
{

struct EventReleaser
{
    void operator()(sd_event* event) const
    {
        sd_event_unref(event);
    }
};
using Event = std::unique_ptr<sd_event, EventReleaser>;

constexpr std::array stopSignals{SIGINT, SIGTERM, SIGHUP};

/** They are taken from the event loop alone; threads made later inherit that. */
void blockStopSignals()
{
    sigset_t stops;
    sigemptyset(&stops);
    for (const int signal : stopSignals)
    {
        sigaddset(&stops, signal);
    }
    sim::check(-pthread_sigmask(SIG_BLOCK, &stops, nullptr), "block the stop signals");
}

/** A loop that ends with status 0 on any of the signals. */
Event makeLoop()
{
    sd_event* raw = nullptr;
    sim::check(sd_event_new(&raw), "make an event loop");
    Event loop(raw);
    for (const int signal : stopSignals)
    {
        sim::check(sd_event_add_signal(raw, nullptr, signal, nullptr, nullptr), "watch a signal");
    }
    return loop;
}

/** The control on a connection and a loop of its own. */
class ControlLoop
{
  public:
    ControlLoop(const std::string& address, Simulator& simulator)
        : loop_(makeLoop()), bus_(sim::connectTo(address))
    {
        offerControl(bus_.get(), simulator);
        sim::check(sd_bus_set_exit_on_disconnect(bus_.get(), 1), "watch the bus");
        sim::check(sd_bus_attach_event(bus_.get(), loop_.get(), SD_EVENT_PRIORITY_NORMAL),
                   "attach to the event loop");
    }

    ~ControlLoop()
    {
        sd_bus_detach_event(bus_.get());
    }

    ControlLoop(const ControlLoop&) = delete;
    ControlLoop& operator=(const ControlLoop&) = delete;

    /** Returns after a signal to stop; throws sim::Error when the bus is lost. */
    int run() const
    {
        if (sd_event_loop(loop_.get()) != 0)
        {
            throw sim::Error("the bus is gone");
        }
        return 0;
    }

  private:
    Event loop_;
    sim::Connection bus_;
};

std::string addressOf(const ServeOptions& options)
{
    if (!options.address.empty())
    {
        return options.address;
    }
    const char* address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    return address != nullptr ? address : "unix:path=/run/dbus/system_bus_socket";
}

bool contains(const std::vector<std::string>& list, const std::string& text)
{
    return std::ranges::find(list, text) != list.end();
}

} // namespace

int serve(const ServeOptions& options)
{
    blockStopSignals();
    const std::string address = addressOf(options);
    sim::InventoryCapture inventory = sim::readInventory(findInventory(options.inventory));
    const std::size_t smbiosCount = inventory.smbios.size();
    const std::size_t kovdCount = inventory.kovd.size();
    Simulator simulator(address, std::move(inventory));
    for (const auto& [kind, text] : options.faults)
    {
        simulator.addFault(kind, text);
    }
    const ControlLoop control(address, simulator);
    for (const std::string& name : Simulator::serviceNames())
    {
        const bool wanted = options.only.empty() || options.only == name;
        if (wanted && !contains(options.stopped, name))
        {
            simulator.service(name).start();
        }
    }
    std::cout << "ready: " << smbiosCount << " SMBIOS objects, " << kovdCount
              << " platform objects on " << address << "\n";
    program::finishOutput();
    return control.run();
}

int serveControl(const std::string& address, Simulator& simulator)
{
    blockStopSignals();
    return ControlLoop(address, simulator).run();
}

int runBus()
{
    blockStopSignals();
    const Event loop = makeLoop();
    const sim::PrivateBus bus;
    std::cout << "DBUS_SYSTEM_BUS_ADDRESS=" << bus.address() << "\n";
    program::finishOutput();
    return sd_event_loop(loop.get());
}

} // namespace hwinv_sim
