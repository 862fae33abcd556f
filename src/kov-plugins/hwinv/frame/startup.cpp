#include "frame/startup.hpp"

#include "base/failure.hpp"
#include "base/names.hpp"
#include "base/sigint_block.hpp"
#include "base/terminated.hpp"
#include "bus/association_writer.hpp"
#include "bus/connection.hpp"
#include "bus/idle_heap.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "frame/shutdown.hpp"
#include "infrautils/oneway_channel.hpp"
#include "intake/discovery.hpp"
#include "intake/recovery.hpp"
#include "intake/signals.hpp"
#include "intake/workers.hpp"

#include <cerrno>
#include <csignal>
#include <cstring>

namespace
{

/** A daemon that keeps its free memory works all the same. */
void giveBackHeap(sd_event* loop)
try
{
    giveBackHeapWhenIdle(loop);
}
catch (...)
{
    logFailure(UTIL_SITE,
               {"Free memory will not be given back: %s", "Free memory will not be given back"});
}

} // namespace

std::thread smbiosWorkerThread;
std::thread kovdWorkerThread;

bool installSignalHandler(const Site& site)
{
    struct sigaction action
    {
    };
    action.sa_handler = signal_handler;
    sigemptyset(&action.sa_mask);
    if (sigaction(SIGINT, &action, nullptr) < 0)
    {
        LOG_AT(site, level::error, "sigaction error: %s\n", std::strerror(errno));
        return false;
    }
    return true;
}

sd_bus* openMainConnection()
{
    OpenedBus connection = openBus(sd_bus_default_system, "sd_bus_default_system");
    busConnection = std::make_shared<sdbusplus::bus_t>(std::move(connection.bus));

    // An older instance gives way to this one, and this one to a newer.
    const SigintBlock block;
    checkBusResult(
        sd_bus_request_name(connection.raw, terminated(names::ownService),
                            SD_BUS_NAME_REPLACE_EXISTING | SD_BUS_NAME_ALLOW_REPLACEMENT),
        "sd_bus_request_name");
    return connection.raw;
}

BusSlot addObjectManager(sd_bus* bus)
{
    sd_bus_slot* slot = nullptr;
    checkBusResult(sd_bus_add_object_manager(bus, &slot, "/"), "sd_bus_add_object_manager");
    return {slot, sd_bus_slot_unref};
}

sdeventplus::Event attachToMainLoop(sd_bus* bus)
{
    auto event = sdeventplus::Event::get_default();
    checkBusResult(sd_bus_attach_event(bus, event.get(), SD_EVENT_PRIORITY_NORMAL),
                   "sd_bus_attach_event");
    giveBackHeap(event.get());
    return event;
}

void registerExecutor(const Site& site, sdeventplus::Event& event)
{
    auto& channel = infrautils::OneWayChannel::getInstance();
    if (channel.RegisterEventLoop(event, nullptr, {}) == 0)
    {
        LOG_AT(site, level::info, "OneWayChannel Registration success");
        return;
    }
    // Start-up goes on: every hand-over is then refused and logged by its caller.
    LOG_AT(site, level::error, "DBusService OneWayChannel Registration failed");
}

void startEventThreads()
{
    endProcessWithMain();
    smbiosWorkerThread = startThread(
        {"The SMBIOS worker thread has ended: %s", "The SMBIOS worker thread has ended"},
        processSmbiosMessagesInQueue);
    kovdWorkerThread =
        startThread({"The KOVD worker thread has ended: %s", "The KOVD worker thread has ended"},
                    processKovdMessagesInQueue);
    smbiosWorkerThread.detach();
    kovdWorkerThread.detach();
    startThread({"The subscription thread has ended: %s", "The subscription thread has ended"},
                SubscribeToEvents)
        .detach();
    startThread({"The recovery thread has ended: %s", "The recovery thread has ended"},
                startRecovery)
        .detach();
}

void runStartUpPasses()
{
    GetAllManagedObjects();
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    CPUAssociation();
    noteHeapUse(); // two whole inventories have passed through the heap
}

void startFallbackThread()
{
    startThread({"The fallback thread has ended: %s", "The fallback thread has ended"},
                startDelayedFallbackResync)
        .detach();
}

std::thread startThread(const FailureLines& end, void (*body)())
{
    const Site site = UTIL_SITE;
    const SigintBlock block; // a thread is born with its creator's mask
    return std::thread(
        [site, end, body]
        {
            try
            {
                body();
            }
            catch (...)
            {
                logFailure(site, end);
            }
        });
}

int leave(int status)
{
    sigset_t interrupt;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
    return status;
}
