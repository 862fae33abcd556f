/*
 * What stands at a moment, in the daemon and in the model, in one form that can be compared and
 * read: nothing of how it came about.
 *
 * ofTheDaemon takes the store's locks, one after the other; nobody changes the store meanwhile.
 */
#pragma once

#include "intake/rows.hpp"
#include "model.hpp"
#include "store/object_map.hpp"

#include <array>
#include <map>
#include <string>
#include <vector>

namespace state
{

/** One object has another. */
using Relation = std::vector<model::PathPair>;

struct State
{
    std::array<model::Objects, machine::kindCount> objects;
    Relation pairs;      // each of the machine's paths and its partner, from both sides
    Relation cachePairs; // processor and cache, then cache and processor, in the order of pairing
    std::map<std::string, AssociationList> written;    // the lists kept of the KOVD processors
    std::map<std::string, AssociationList> handedOver; // the last one for each KOVD object
    bool recoveryRequested = false;

    bool operator==(const State&) const = default;
};

/** Takes a request for recovery back. */
State ofTheDaemon();

State ofTheModel(const model::World& world);

using Texts = std::vector<std::string>;

/** Where the daemon keeps the objects of a kind. */
ObjectMap& mapOf(machine::Kind kind);

/** How an object of a kind gets there. */
InsertOperation insertOf(machine::Kind kind);

/** A line for each thing that stands, in the order of State. */
Texts shown(const State& state);

std::string shown(const AssociationList& list);

} // namespace state
