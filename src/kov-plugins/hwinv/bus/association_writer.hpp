/*
 * How an association reaches the bus: the engines hand a request to the main loop, and
 * `setAssociations` is the one place that writes the property.
 */
#pragma once

#include "base/log.hpp"
#include "store/types.hpp"

#include <sdbusplus/bus.hpp>

#include <memory>
#include <string>

struct AssociationRequest
{
    std::string objectPath;       // the KOVD object whose property is set
    AssociationList associations; // the complete new value
};

/** The connection that owns the daemon's name. Set once by main; used on the main thread only. */
extern std::shared_ptr<sdbusplus::bus_t> busConnection;

/**
 * A unit of work for the executor: sets the `Associations` property of the KOVD object named in
 * the AssociationRequest at `data` (`size` in bytes; `context` is not used) and waits for the
 * reply, at most for the bus library's default call time-out. The request is neither changed nor
 * freed.
 *
 * Returns 0, or -1 when the input is no request or the reply is an error. Throws SdBusError when
 * the message cannot be made or the call fails.
 *
 * Main thread only. Takes no lock of the store.
 */
int setAssociations(void* context, void* data, unsigned long size);

/**
 * Hands the complete list for the KOVD object to the main loop. Returns the executor's result, 0
 * when it was handed over; any other is logged at `site`, and a caller with no more to say of it
 * may ignore it, for nothing is retried. Whether the write succeeds is not known here.
 *
 * Any thread; takes the executor's lock.
 */
int sendAssociations(const Site& site, const std::string& kovdPath, AssociationList associations);
