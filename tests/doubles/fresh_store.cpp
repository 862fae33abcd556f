#include "doubles/fresh_store.hpp"

#include "base/recovery_request.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "intake/message_queue.hpp"
#include "store/store.hpp"

namespace
{

void reset(ObjectMap& objects)
{
    for (const auto& path : objects.listObjectPaths())
    {
        objects.eraseObject(path);
    }
}

void reset(MessageQueue& queue)
{
    MutexLock lock(queue.mutex);
    queue.records.clear();
    queue.stop = false;
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

void resetFlags()
{
    {
        MutexLock lock(recoveryMutex);
        recoveryRequested = false;
        recoveryStop = false;
    }
    MutexLock lock(fallbackMutex);
    fallbackStop = false;
}

} // namespace

void resetStore()
{
    recorded_log::setHook(nullptr);
    for (ObjectMap* objects :
         {&smbiosPCIeSlotObjs, &kovdPCIeSlotObjs, &kovdPCIeDeviceObjs, &kovdChassisPathSlotObjs,
          &smbiosCPUObjs, &smbiosCacheObjs, &kovdCPUObjs})
    {
        reset(*objects);
    }
    reset(smbiosMessageQueue);
    reset(kovdMessageQueue);
    resetPairs();
    resetFlags();
    recorded_log::clear();
    recorded_requests::clear();
}

bool takeRecoveryRequest()
{
    MutexLock lock(recoveryMutex);
    const bool requested = recoveryRequested;
    recoveryRequested = false;
    return requested;
}
