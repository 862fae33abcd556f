/*
 * Which SMBIOS object stands for the same hardware as which KOVD object: PCIe and processor pairs
 * alike, one-to-one.
 *
 * Example: after add("/s/slot1", "/k/slot1") both add("/s/slot1", "/k/slot2") and
 * add("/s/slot2", "/k/slot1") are refused and change nothing.
 *
 * The class has no lock of its own; the process-wide table is `associationPairs`, guarded by
 * `associationPairsMutex`, which the free functions take: any thread. A failing mutex throws
 * std::system_error, memory that runs out std::bad_alloc, with nothing changed in either case.
 */
#pragma once

#include "base/mutex.hpp"

#include <map>
#include <optional>
#include <string>
#include <string_view>

/** The sides of a pair, as callers name them. */
inline constexpr int kovdSide = 1;
inline constexpr int smbiosSide = 2;

class AssociationPairs
{
  public:
    AssociationPairs() = default;
    AssociationPairs(const AssociationPairs&) = delete; // each index points into the other one
    AssociationPairs& operator=(const AssociationPairs&) = delete;
    AssociationPairs(AssociationPairs&&) = default;
    AssociationPairs& operator=(AssociationPairs&&) = default;

    /** False, with nothing changed, when either path is already paired. */
    bool add(const std::string& smbiosPath, const std::string& kovdPath);

    /** The partner of a path; null when it has none. Valid until the next change. */
    const std::string* kovdPartner(std::string_view smbiosPath) const;
    const std::string* smbiosPartner(std::string_view kovdPath) const;

    /** False when there is no such pair. */
    bool eraseByKOVDPath(std::string_view kovdPath);
    bool eraseBySMBIOSPath(std::string_view smbiosPath);

  private:
    /** Path to its partner, which is a key of the other index. */
    using Index = std::map<std::string, const std::string*, std::less<>>;

    static bool erase(Index& from, Index& other, std::string_view path);

    Index bySMBIOSPath_;
    Index byKOVDPath_;
};

extern Mutex associationPairsMutex;
extern AssociationPairs associationPairs GUARDED_BY(associationPairsMutex);

/** True when inserted; false, with nothing changed, when either path is already paired. */
bool addAssociationPair(const std::string& smbiosPath, const std::string& kovdPath)
    EXCLUDES(associationPairsMutex);

/** Whether the path is paired on that side; false for any other side. */
bool isPathAssociated(int side, std::string_view path) EXCLUDES(associationPairsMutex);

/** A copy of the partner's path; nothing when there is none. */
std::optional<std::string> findAssociatedSMBIOSPath(std::string_view kovdPath)
    EXCLUDES(associationPairsMutex);
std::optional<std::string> findAssociatedKOVDPath(std::string_view smbiosPath)
    EXCLUDES(associationPairsMutex);

/** Erases the pair of the SMBIOS path; its KOVD path, or nothing when there was no pair. */
std::optional<std::string> takeAssociatedKOVDPath(std::string_view smbiosPath)
    EXCLUDES(associationPairsMutex);

/** False when no pair has this KOVD path. */
bool eraseAssociationPairByKOVDPath(std::string_view kovdPath) REQUIRES(associationPairsMutex);
