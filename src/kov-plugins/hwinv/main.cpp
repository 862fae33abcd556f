#include "base/log.hpp"
#include "base/names.hpp"
#include "base/sigint_block.hpp"
#include "bus/association_writer.hpp"
#include "bus/connection.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "frame/shutdown.hpp"
#include "infrautils/oneway_channel.hpp"
#include "intake/discovery.hpp"
#include "intake/recovery.hpp"
#include "intake/signals.hpp"
#include "intake/workers.hpp"

#include <sdeventplus/event.hpp>
#include <systemd/sd-bus.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <malloc.h>
#include <memory>
#include <thread>

std::thread smbiosWorkerThread;
std::thread kovdWorkerThread;

namespace
{

using Slot = std::unique_ptr<sd_bus_slot, decltype(&sd_bus_slot_unref)>;

bool installSignalHandler(const Site& site)
{
    struct sigaction action
    {
    };
    action.sa_handler = signal_handler;
    sigemptyset(&action.sa_mask);
    if (sigaction(SIGINT, &action, nullptr) < 0)
    {
        LOG_AT(site, trace::error, "sigaction error: %s\n", std::strerror(errno));
        return false;
    }
    return true;
}

/** Opens busConnection and takes the daemon's name on it. */
sd_bus* openMainConnection()
{
    OpenedBus connection = openBus(sd_bus_default_system, "sd_bus_default_system");
    busConnection = std::make_shared<sdbusplus::bus_t>(std::move(connection.bus));

    // An older instance gives way to this one, and this one to a newer.
    const SigintBlock block;
    checkBusResult(
        sd_bus_request_name(connection.raw, names::ownService.data(),
                            SD_BUS_NAME_REPLACE_EXISTING | SD_BUS_NAME_ALLOW_REPLACEMENT),
        "sd_bus_request_name");
    return connection.raw;
}

Slot addObjectManager(sd_bus* bus)
{
    sd_bus_slot* slot = nullptr;
    checkBusResult(sd_bus_add_object_manager(bus, &slot, "/"), "sd_bus_add_object_manager");
    return {slot, sd_bus_slot_unref};
}

void registerExecutor(const Site& site, sdeventplus::Event& event)
{
    auto& channel = infrautils::OneWayChannel::getInstance();
    if (channel.RegisterEventLoop(event, nullptr, {}) == 0)
    {
        LOG_AT(site, trace::info, "OneWayChannel Registration success");
        return;
    }
    // Start-up goes on: every hand-over is then refused and logged by its caller.
    LOG_AT(site, trace::error, "DBusService OneWayChannel Registration failed");
}

/** A thread that SIGINT never interrupts. What escapes its body ends the thread, not the process.
 */
std::thread startThread(void (*body)())
{
    const SigintBlock block;
    return std::thread(
        [body]
        {
            try
            {
                body();
            }
            catch (...)
            {
                // A failing mutex; the body has logged all that it could name.
            }
        });
}

void startEventThreads()
{
    endProcessWithMain();
    smbiosWorkerThread = startThread(processSmbiosMessagesInQueue);
    kovdWorkerThread = startThread(processKovdMessagesInQueue);
    smbiosWorkerThread.detach();
    kovdWorkerThread.detach();
    startThread(SubscribeToEvents).detach();
    startThread(startRecovery).detach();
}

void runStartUpPasses()
{
    GetAllManagedObjects();
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    CPUAssociation();
    malloc_trim(0); // two whole inventories have passed through the heap
}

void run(const Site& site)
{
    sd_bus* bus = openMainConnection();
    const Slot objectManager = addObjectManager(bus);
    auto event = sdeventplus::Event::get_default();
    checkBusResult(sd_bus_attach_event(bus, event.get(), SD_EVENT_PRIORITY_NORMAL),
                   "sd_bus_attach_event");
    registerExecutor(site, event);

    startEventThreads();
    runStartUpPasses();
    startThread(startDelayedFallbackResync).detach();

    event.loop();
}

/** On the way out no handler may meet objects that exit destroys. The signal stays blocked. */
int leave(int status)
{
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
    return status;
}

} // namespace

int main()
{
    if (!installSignalHandler(UTIL_SITE))
    {
        return leave(-1);
    }
    if (stopRequested)
    {
        return leave(0);
    }
    try
    {
        UTIL_LOG(trace::error, "starting new process");
        run(UTIL_SITE);
    }
    catch (const std::exception& e)
    {
        UTIL_LOG(trace::error, "Caught an exception: %s", e.what());
    }
    catch (...)
    {
        UTIL_LOG(trace::error, "Caught an exception ");
    }
    return leave(0);
}
