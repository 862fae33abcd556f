/*
 * Reading device descriptors and slot designations: pure text, ASCII only.
 *
 * Bytes of 0x80 and more pass through unchanged, and no function here looks at the locale. None
 * takes a lock, logs or allocates, except as told.
 */
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

/** A copy with `a`..`z` raised to `A`..`Z` and nothing else changed. */
std::string toUpperCopy(std::string_view text);

/**
 * Whether `text` contains `needle` in any case. An empty text contains only an empty needle; an
 * empty needle is not contained in any other text.
 */
bool containsNoCase(std::string_view text, std::string_view needle);

/** Same length and same bytes. */
bool equalsExact(std::string_view left, std::string_view right);

/**
 * A descriptor split at every "-" and ".": X.Slot.4-1 has the tokens X, Slot, 4 and 1. Empty
 * tokens are never produced. No rule reads beyond the third token, so only the first three are
 * kept; `count` tells how many there were. The tokens are views of the text that was split.
 */
struct FqddTokens
{
    std::array<std::string_view, 3> token;
    std::size_t count = 0;
};
FqddTokens splitFqdd(std::string_view fqdd);

/**
 * The number whose digits start at `position`; -1 when there is no digit. Throws
 * std::out_of_range when the run of digits does not fit an int. Allocates for a run of more than
 * fifteen.
 */
int parseDigitsAt(std::string_view text, std::size_t position);

/** What a designation such as "SLOT 3 BAY 1" names; -1 stands for "not named". */
struct SlotAndBay
{
    int slot = -1;
    int bay = -1;
};

/**
 * Reads the number behind the first "SLOT " and the one behind the first "BAY ", in any case. True
 * only when both were read; `out` keeps what was read even when the result is false. Only the
 * first occurrence counts, even when no digit follows it. Throws as parseDigitsAt does.
 */
bool parseSlotAndBay(std::string_view designation, SlotAndBay& out);

/** Whether the descriptor is that of a drive bay, by its text "Disk.Bay." in that case. */
bool namesDriveBay(std::string_view fqdd);

/** What a descriptor such as "Disk.Bay.3:Enclosure.Internal.0-1" names; -1: not named. */
struct DiskBay
{
    int disk = -1;
    int enclosure = -1;
};

/**
 * True when both texts were found, "Disk.Bay." with a ":" behind it; a number may still be -1 when
 * no digit follows. `out` keeps what was read even when the result is false. Throws as
 * parseDigitsAt does.
 */
bool parseDiskBayFqdd(std::string_view fqdd, DiskBay& out);
