#include "base/failure.hpp"
#include "base/heap.hpp"
#include "frame/shutdown.hpp"
#include "frame/startup.hpp"

int main()
{
    limitFreeHeap();
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
        UTIL_LOG(level::error, "starting new process");
        sd_bus* bus = openMainConnection();
        const BusSlot objectManager = addObjectManager(bus);
        auto event = attachToMainLoop(bus);
        registerExecutor(UTIL_SITE, event);
        startEventThreads();
        runStartUpPasses();
        startFallbackThread();
        event.loop();
    }
    catch (...)
    {
        logFailure(UTIL_SITE, {"Caught an exception: %s", "Caught an exception "});
    }
    return leave(0);
}
