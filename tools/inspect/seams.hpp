/*
 * What this library puts in the place of the daemon's log and executor: the log is switched off,
 * and an association that is handed over is kept.
 *
 * One thread at a time.
 */
#pragma once

#include "bus/association_writer.hpp"

#include <vector>

namespace inspect
{

/** What was handed over since the last call, in order. */
std::vector<AssociationRequest> takeRequests();

} // namespace inspect
