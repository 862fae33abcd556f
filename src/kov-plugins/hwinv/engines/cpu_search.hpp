/*
 * The two searches for a processor's counterpart: from an SMBIOS processor over the KOVD ones, and
 * the other way round. The first in path order that matches wins.
 *
 * Any thread; takes its own lock. Neither throws: what goes wrong is logged and ends the search.
 */
#pragma once

#include "store/property_map.hpp"
#include "store/types.hpp"

#include <string>

/**
 * Pairs an SMBIOS processor with the first KOVD processor that matches and appends the processor's
 * tuple to `additions`, also when the pair is refused. When none matches that is logged and
 * `additions` stays as it was.
 */
void IterateKOVDCPUObjs(const PropertyMap& smbiosProperties, const std::string& smbiosPath,
                        AssociationList& additions);

/**
 * The mirror of IterateKOVDCPUObjs. `matchedPath` becomes the path of the SMBIOS processor and
 * stays as it was when none matches.
 */
void IterateSMBIOSCPUObjs(const PropertyMap& kovdProperties, const std::string& kovdPath,
                          std::string& matchedPath, AssociationList& additions);
