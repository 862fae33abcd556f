/*
 * The executor as a test sees it: stands in for the platform's and keeps every association that
 * the engines hand over, instead of writing it.
 *
 * Any thread; takes its own lock.
 */
#pragma once

#include "bus/association_writer.hpp"

#include <vector>

namespace recorded_requests
{

void clear(); // forgets the requests; hand-overs succeed again

/** What was handed over with success, in order. */
std::vector<AssociationRequest> all();

/** What hand-overs return from now on; any but 0 refuses them. */
void setResult(int result);

/** How many hand-overs were refused. */
std::size_t refused();

} // namespace recorded_requests

bool operator==(const AssociationRequest& left, const AssociationRequest& right);
