/*
 * Pairing SMBIOS caches with the SMBIOS processors that name them by their L1, L2 or L3 handle.
 *
 * A cache has no platform object of its own: its tuple joins the list of the KOVD processor that
 * is paired with its SMBIOS processor, at once or when that one arrives. A pair is recorded once
 * and stays until the cache or its processor is removed.
 *
 * Any thread; takes its own lock. AssociateCacheObjs holds
 * cpuCacheAssociationPairsMutex to its end while it takes the object maps' mutexes: nobody takes
 * it the other way round.
 */
#pragma once

#include "engines/verdict.hpp"
#include "store/cpu_cache_pairs.hpp"
#include "store/property_map.hpp"
#include "store/types.hpp"

#include <cstddef>
#include <string>
#include <vector>

/** How many cache pairs an SMBIOS processor has. */
std::size_t checkNumofCacheAssoc(const std::string& cpuPath)
    EXCLUDES(cpuCacheAssociationPairsMutex);

/**
 * Whether the processor names the cache. The first of L1, L2, L3 with an equal handle wins and
 * `handleName` becomes its property's name. A handle of 0 is none, on either side. Throws
 * std::bad_variant_access at a handle of another type.
 */
Verdict CompareCacheAssocProps(const PropertyMap& cpuProperties, const PropertyMap& cacheProperties,
                               std::string& handleName);

/** CompareCacheAssocProps for two stored objects; false, and logged, when one is missing. */
bool getMatchingHandle(const std::string& cpuPath, const std::string& cachePath,
                       std::string& handleName);

/**
 * From a processor: pairs it with every stored cache that it names and appends their tuples. A
 * cache that has vanished meanwhile ends the search: no cache behind it is compared. Never throws.
 */
void FindAssocCacheObjs(const PropertyMap& cpuProperties, const std::string& cpuPath,
                        AssociationList& additions);

/**
 * From a cache: pairs it with every stored processor that names it, appends those to `cpuPaths`
 * and a tuple each to `additions`. A processor that has vanished meanwhile ends the search: no
 * processor behind it is compared. Never throws.
 */
void GetSMBIOSCPUObjForCache(const std::string& cachePath, std::vector<std::string>& cpuPaths,
                             AssociationList& additions);

/** A cache has been stored: pairs it and adds its tuple to the lists concerned. Never throws. */
void AddCacheAssoc(const std::string& cachePath);

/** A KOVD processor has been paired: appends the tuples of its recorded caches. Never throws. */
void AssociateCacheObjs(const std::string& cpuPath, AssociationList& additions)
    EXCLUDES(cpuCacheAssociationPairsMutex);
