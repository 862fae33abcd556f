/*
 * The interrupt handler, the signal masks, the executor and recovery, for the model checker Spin.
 *
 * A handler that takes mutexes is safe only when it never meets one that the code which it has
 * interrupted holds, or waits for. This model has everything that takes part: main with its start-up
 * pass, its loop and its trimming of the heap; the subscription thread; a worker and its queue, of
 * which the second is a copy; recovery; the fallback. Spin goes through every order in which their steps may come, with SIGNALS interrupts at
 * any moment at which one may be delivered, and looks for
 *
 *   - a deadlock: somebody waits for ever for a mutex or for a notification;
 *   - a handler that runs during a synchronous bus call, which libsystemd 252 then fails;
 *   - after the last interrupt a worker, recovery or fallback that has not ended;
 *   - a unit of work that is lost, or a loop that sleeps while one waits.
 *
 * It finds none. Each of these variants leaves one precaution out, and Spin finds what it is for:
 *
 *   -DREQUEST_UNMASKED     main takes the recovery mutex without blocking SIGINT
 *   -DCALL_UNMASKED        main makes synchronous calls without blocking SIGINT
 *   -DTHREADS_UNMASKED     the threads are born without SIGINT blocked
 *   -DALLOCATES_LOCKED     a record is allocated with the queue's mutex held
 *   -DNO_MASKS             the first three at once
 *
 * scripts/check_model runs all of them.
 *
 * Every mutex is a bit; a thread that waits for it is a step that cannot be done yet. A section that
 * waits for nobody while it holds a mutex is one step: whether others see it begun makes no
 * difference to them. What a thread does without a mutex is no step at all.
 */

#ifdef NO_MASKS
#define REQUEST_UNMASKED
#define CALL_UNMASKED
#define THREADS_UNMASKED
#endif

#ifndef SIGNALS
#define SIGNALS 1
#endif

/* The mutexes that the handler takes are mutex[i], their conditions go by the same number. */
#define queue 0
#define recovery 1
#define fallback 2

bool mutex[3];
bool stop[3];
bool waiting[3]; /* a thread waits on the condition */
bool woken[3];   /* and has been notified */

byte records;
bool recoveryRequested;

bool pieceMutex;
bool executorMutex;
bool heap; /* the lock of the C library's heap */

byte pending;  /* units on the executor's list */
bool pipeByte; /* wakes the loop */
byte owed;      /* units that have not run to their end */

byte signals = SIGNALS; /* still to be delivered */
bool inCall;            /* main is in a synchronous bus call */
byte ended;             /* of the threads that an interrupt ends */

/* A notification finds a thread that waits at this moment, or nobody. */
inline notify(c)
{
    d_step { if :: waiting[c] -> waiting[c] = false; woken[c] = true :: else fi }
}

inline release(c)
{
    atomic { !mutex[c] -> stop[c] = true }
    notify(c)
}

/* SIGINT is blocked while its handler runs. */
inline handler()
{
    assert(!inCall);
    release(queue);
    release(recovery);
    release(fallback)
}

/* A place where an interrupt may be delivered. */
inline here()
{
    if
    :: signals > 0 -> signals--; handler()
    :: true
    fi
}

/* Main waits for a mutex: interrupts are delivered meanwhile, and when it has it. */
inline lockInMain(m)
{
    do
    :: atomic { !m -> m = true }; break
    :: signals > 0 -> signals--; handler()
    od;
    here()
}

#ifdef REQUEST_UNMASKED
#define hereInRequest() here()
#else
#define hereInRequest() skip
#endif

#ifdef CALL_UNMASKED
#define hereInCall() here()
#else
#define hereInCall() skip
#endif

inline appendUnit()
{
    if :: pending == 0 -> pipeByte = true :: else fi;
    pending++;
    owed++
}

/* On any thread but main. */
inline execute()
{
    atomic { !executorMutex -> appendUnit() }
}

inline requestRecovery()
{
    atomic { !mutex[recovery] -> recoveryRequested = true }
    notify(recovery)
}

active proctype Subscription()
{
#ifdef ALLOCATES_LOCKED
    atomic { !mutex[queue] -> mutex[queue] = true }
    !heap;
    records++;
    mutex[queue] = false;
#else
    !heap; /* the record is allocated */
    atomic { !mutex[queue] -> records++ }
#endif
    notify(queue)
}

/* One step of the start-up pass, then the loop. */
active proctype Main()
{
    bool trimmed;

    here();
    lockInMain(pieceMutex);
    lockInMain(executorMutex);
    d_step { appendUnit() }
    here();
    executorMutex = false;
    atomic { !mutex[recovery] -> mutex[recovery] = true }
    hereInRequest();
    recoveryRequested = true;
    mutex[recovery] = false;
    notify(recovery);
    pieceMutex = false;

end_loop:
    do
    :: pipeByte ->
        lockInMain(executorMutex);
        d_step
        {
            pending--;
            if :: pending == 0 -> pipeByte = false :: else fi
        }
        here();
        executorMutex = false;
        inCall = true; /* the unit writes a property */
        hereInCall();
        d_step { inCall = false; owed-- }
    :: !trimmed ->
        trimmed = true;
        lockInMain(heap);
        heap = false
    :: signals > 0 -> signals--; handler()
    od
}

/* A record: it hands a unit over, asks for recovery, or does neither. */
inline processRecord()
{
    atomic { !pieceMutex -> pieceMutex = true }
    if
    :: execute()
    :: requestRecovery()
    :: true
    fi;
    pieceMutex = false
}

active proctype Worker()
{
    bool sleeps;

    do
    :: atomic
        {
            !mutex[queue] ->
            if
            :: stop[queue] -> break
            :: !stop[queue] && records > 0 -> records--
            :: else -> waiting[queue] = true; woken[queue] = false; sleeps = true
            fi;
#ifdef THREADS_UNMASKED
            mutex[queue] = true
#endif
        }
#ifdef THREADS_UNMASKED
        here(); /* an interrupt finds this thread inside the section */
        mutex[queue] = false;
#endif
        if
        :: sleeps -> atomic { woken[queue]; woken[queue] = false; sleeps = false }
        :: else -> processRecord()
        fi
    od;
    ended++
}

/* A timed wait; its deadline may come at any moment. `stopped` when the flag ended it. */
inline sleepUnlessStopped(c)
{
    do
    :: atomic
        {
            !mutex[c] ->
            if
            :: stop[c] || deadline -> stopped = stop[c]; deadline = false; break
            :: else -> waiting[c] = true; woken[c] = false
            fi
        }
        atomic
        {
            if
            :: woken[c] -> woken[c] = false
            :: deadline = true; waiting[c] = false; woken[c] = false
            fi
        }
    od
}

active proctype Recovery()
{
    bool deadline, stopped;

    do
    :: do
        :: atomic
            {
                !mutex[recovery] ->
                if
                :: stop[recovery] || recoveryRequested -> break
                :: else -> waiting[recovery] = true; woken[recovery] = false
                fi
            }
            atomic { woken[recovery]; woken[recovery] = false }
        od;
        sleepUnlessStopped(recovery);
        if
        :: stopped -> break
        :: else
        fi;
        /* A stop between the two is seen at the next wait. */
        atomic { !mutex[recovery] -> recoveryRequested = false }
        atomic { !pieceMutex -> pieceMutex = true } /* the resync, one step of it */
        execute();
        pieceMutex = false;
        sleepUnlessStopped(recovery);
        if
        :: stopped -> break
        :: else
        fi
    od;
    ended++
}

active proctype Fallback()
{
    bool deadline, stopped;

    sleepUnlessStopped(fallback);
    if
    :: !stopped ->
        requestRecovery();
        sleepUnlessStopped(fallback);
        if
        :: !stopped -> requestRecovery()
        :: else
        fi
    :: else
    fi;
    ended++
}

/* When nobody can do anything any more. */
active proctype AtTheEnd()
{
    timeout;
    assert(signals == 0);
    assert(ended == 3);
    assert(pending == 0 && owed == 0)
}
