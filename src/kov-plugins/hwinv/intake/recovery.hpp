/*
 * The two threads that repair what signals alone cannot: the recovery thread redoes discovery and
 * all associations on request, the fallback thread requests that twice after start-up, whatever
 * happens. Requests are made with requestRecovery (base/recovery_request.hpp).
 */
#pragma once

/** Body of the recovery thread. Returns only when recoveryStop is set. */
void startRecovery();

/** Body of the fallback thread. Returns after its last request or when fallbackStop is set. */
void startDelayedFallbackResync();
