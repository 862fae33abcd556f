/*
 * What the model says of events that happen beside each other: the states in which they can end,
 * one for each order in which their pieces may come. A record is one piece; a full pass first lists
 * its paths and then takes a step for each, every one of them a piece.
 *
 * Values only; any thread.
 */
#pragma once

#include "state.hpp"

#include <vector>

namespace orders
{

/** What one thread does, in this order. */
using Script = std::vector<machine::Event>;

/** Every state in which the scripts can end when they begin together in `start`; each once. */
std::vector<state::State> ends(const model::World& start, const std::vector<Script>& scripts);

} // namespace orders
