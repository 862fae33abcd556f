#include "world.hpp"

#include "base/recovery_request.hpp"
#include "dlog/dlog.hpp"
#include "infrautils/oneway_channel.hpp"
#include "intake/message_queue.hpp"
#include "store/store.hpp"

#include <cstdarg>
#include <cstdio>

int dlog_threshold = 9;

int dlog_printf(int /*level*/, int /*module*/, const char* format, ...)
{
    char line[512]; // what does not fit is formatted all the same
    va_list arguments;
    va_start(arguments, format);
    const int size = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    return size;
}

int infrautils::executeUnit(UnitFunction /*function*/, OwnedData /*data*/, unsigned long /*size*/,
                            int /*flag*/)
{
    return 0;
}

namespace
{

void reset(MessageQueue& queue)
{
    MutexLock lock(queue.mutex);
    queue.records.clear();
}

void resetPairs()
{
    {
        MutexLock lock(associationPairsMutex);
        associationPairs = {};
    }
    {
        MutexLock lock(cpuCacheAssociationPairsMutex);
        cpuCacheAssociationPairs = {};
    }
    MutexLock lock(CPUKOVDAssocTuplesMutex);
    CPUKOVDAssocTuples.clear();
}

} // namespace

void world::reset()
{
    for (ObjectMap* objects :
         {&smbiosPCIeSlotObjs, &kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs,
          &smbiosCPUObjs, &smbiosCacheObjs, &kovdCPUObjs})
    {
        for (const auto& path : objects->listObjectPaths())
        {
            objects->eraseObject(path);
        }
    }
    ::reset(smbiosMessageQueue);
    ::reset(kovdMessageQueue);
    resetPairs();
    MutexLock lock(recoveryMutex);
    recoveryRequested = false;
}
