#include "base/recovery_request.hpp"

#include "base/sigint_block.hpp"

Mutex recoveryMutex;
ConditionVariable recoveryCondition;
bool recoveryRequested = false;
bool recoveryStop = false;

Mutex fallbackMutex;
ConditionVariable fallbackCondition;
bool fallbackStop = false;

void requestRecovery()
{
    // The start-up passes request recovery on main, where the SIGINT handler takes this mutex too.
    const SigintBlock block;
    {
        MutexLock lock(recoveryMutex);
        recoveryRequested = true;
    }
    recoveryCondition.notifyOne();
}
