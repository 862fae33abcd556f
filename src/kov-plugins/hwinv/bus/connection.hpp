/*
 * Opening a connection so that a failure is seen.
 *
 * The binding opens a bus too, but for years it ignored the error and then met a null connection.
 */
#pragma once

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

/** Throws SdBusError, naming the libsystemd function, when its result is an error. */
void checkBusResult(int result, const char* function);

/** A connection that is up. `raw` is what the binding hides; it lives as long as `bus`. */
struct OpenedBus
{
    sdbusplus::bus_t bus;
    sd_bus* raw;
};

/**
 * Opens a connection with one of libsystemd's functions, `name` in errors, and waits until it is
 * up. Throws SdBusError. The connection belongs to the calling thread.
 */
OpenedBus openBus(int (*open)(sd_bus**), const char* name);
