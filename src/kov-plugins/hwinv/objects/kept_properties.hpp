/*
 * What the seven inserts share: of all the properties that a service publishes, only those that
 * matching needs are kept. No lock of its own; any thread.
 */
#pragma once

#include "base/log.hpp"
#include "engines/association_codes.hpp"
#include "store/object_map.hpp"
#include "store/property_map.hpp"
#include "store/types.hpp"

#include <span>
#include <string>
#include <string_view>

enum class KeptType
{
    string,
    uint16,
    uint8,
};

/** A property to keep; compared by its whole name, case and all. */
struct KeptProperty
{
    PropertyName name;
    KeptType type;
};

/** What differs between the seven inserts in what they keep and whom they tell. */
struct InsertRule
{
    ObjectMap& objects;
    std::span<const KeptProperty> kept;
    const char* separator; // between name and value in the log
    int sourceCode;        // of FindAssociation, and the side of the pair table
    int objectType;        // of FindAssociation
    MatchKeys (*keysOf)(const PropertyMap&) = nullptr; // null: compared by its properties alone
};

/**
 * Walks the received properties in name order and inserts or overwrites each kept one in
 * `working`, logging it at `site`. When there was at least one, stores `working` as the object's
 * properties and has the object associated; else does nothing.
 *
 * Throws std::bad_variant_access, with nothing stored, at a kept name whose value has another type
 * than the table says.
 */
void storeAndAssociate(const Site& site, const InsertRule& rule, const std::string& path,
                       const ReceivedProperties& received, PropertyMap working);
