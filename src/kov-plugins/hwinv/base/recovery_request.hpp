/*
 * How any part of the daemon asks for a full resync, and the flags that the recovery and fallback
 * threads wait for. The threads themselves are in intake/recovery.
 */
#pragma once

#include "base/mutex.hpp"

extern Mutex recoveryMutex;
extern ConditionVariable recoveryCondition;
extern bool recoveryRequested GUARDED_BY(recoveryMutex);
extern bool recoveryStop GUARDED_BY(recoveryMutex); // never cleared

extern Mutex fallbackMutex;
extern ConditionVariable fallbackCondition;
extern bool fallbackStop GUARDED_BY(fallbackMutex); // never cleared

/** Requests collapse: any number before the resync starts is one. Any thread; takes its own lock.
 */
void requestRecovery() EXCLUDES(recoveryMutex);
