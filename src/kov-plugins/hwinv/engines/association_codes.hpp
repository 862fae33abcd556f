/*
 * The codes by which objects are handed to the dispatcher and from there to the searches. Constant
 * after start-up.
 */
#pragma once

#include "store/association_pairs.hpp"

/**
 * Which service an object comes from: the first argument of FindAssociation. A service's code is
 * its side of a pair.
 */
namespace source
{
inline constexpr int kovd = kovdSide;
inline constexpr int smbios = smbiosSide;
inline constexpr int fullPass = 3;
} // namespace source

/** What kind of object the path names: the second argument of FindAssociation. */
namespace object_type
{
inline constexpr int smbiosSlot = 1;
inline constexpr int kovdSlot = 2;
inline constexpr int kovdSlotDevice = 3;
inline constexpr int kovdChassisSlot = 4;
inline constexpr int smbiosCpu = 5;
inline constexpr int smbiosCache = 6;
inline constexpr int kovdCpu = 7;
} // namespace object_type
