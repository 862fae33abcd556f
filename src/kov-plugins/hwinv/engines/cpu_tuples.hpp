/*
 * The list of associations on each platform processor.
 *
 * A processor match, up to three cache matches and removals each contribute to the one list of a
 * KOVD processor, at different times. So the list last handed over is kept in CPUKOVDAssocTuples,
 * read back before each change, merged or pruned, written whole, and only then, when the hand-over
 * succeeded, stored as the new one. All of that happens inside one piece (store/one_piece.hpp): the
 * next writer of the processor starts from the list that this one has left.
 *
 * Any thread. Get, Update and Remove take CPUKOVDAssocTuplesMutex, the two writers the executor's
 * lock as well; MergeAssocTuples, cpuTuple and cacheTuple take none. A failing mutex throws
 * std::system_error, memory that runs out std::bad_alloc.
 */
#pragma once

#include "base/log.hpp"
#include "store/store.hpp"

#include <string>

/** Copies the list last handed over out; -1, with `list` left as it was, when there is none. */
int GetCurrentAssocTuples(const std::string& kovdCPUPath, AssociationList& list)
    EXCLUDES(CPUKOVDAssocTuplesMutex);

/** Stores the list as the one last handed over. An empty path is logged and changes nothing. */
void UpdateCurrentAssocTuples(const std::string& kovdCPUPath, const AssociationList& list)
    EXCLUDES(CPUKOVDAssocTuplesMutex);

/** Removes every tuple with this endpoint; 0 when there was one, -1 when there was none. */
int RemoveAssocTuple(AssociationList& list, const std::string& endpoint)
    EXCLUDES(CPUKOVDAssocTuplesMutex);

/** Appends each addition that is not in `current` yet; 0 when there was one, -1 when none. */
int MergeAssocTuples(AssociationList& current, const std::string& kovdCPUPath,
                     const AssociationList& additions);

/** Hands the complete list to the main loop and, when that succeeded, stores it. */
void writeAssocTuples(const Site& site, const std::string& kovdCPUPath,
                      const AssociationList& list);

/**
 * Adds to the list last handed over and writes the result. False, with nothing written, when all
 * additions were there already.
 */
bool addAssocTuples(const Site& site, const std::string& kovdCPUPath,
                    const AssociationList& additions);

/** The tuple that a KOVD processor carries for its SMBIOS processor. */
AssociationTuple cpuTuple(const std::string& smbiosCPUPath);

/** The tuple that it carries for a cache; an empty handle name stands for "not known". */
AssociationTuple cacheTuple(const std::string& handleName, const std::string& cachePath);
