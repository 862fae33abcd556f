/* What the tests of CompareAssociationProperties share. */
#pragma once

#include "store/property_map.hpp"

#include <string>
#include <vector>

namespace compare_checks
{

/** What is logged when a property has another type than the rule reads. */
inline const std::string badAccess = "1 CompareAssociationProperties: Exception in "
                                     "CompareAssociationProperties: std::get: wrong index for "
                                     "variant";

/** The lines of the operation itself, without those of the slot rule. */
std::vector<std::string> ownLines();

/**
 * Expects a match, and none without any one of the properties of either map or with a value of any
 * other type in its place.
 */
void expectEachPropertyNeeded(const PropertyMap& smbios, const PropertyMap& kovd, int type);

} // namespace compare_checks
