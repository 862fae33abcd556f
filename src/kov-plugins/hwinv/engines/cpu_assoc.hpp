/*
 * Pairing SMBIOS processors with platform processors, in both directions, and writing the list of
 * the pair on the platform processor.
 *
 * The SMBIOS direction adds to the list last handed over; the KOVD direction writes exactly what it
 * finds now and replaces whatever the object carried.
 *
 * Any thread; takes its own lock. CPUAssociation begins a piece for each of its steps
 * (store/one_piece.hpp); the others run inside a piece. The three entry points never throw: every
 * outcome is a log line.
 */
#pragma once

#include "store/one_piece.hpp"
#include "store/types.hpp"

#include <string>

/** The full pass over the stored SMBIOS processors, in path order, each as one piece. */
void CPUAssociation() EXCLUDES(pieceMutex);

/** Finds what an SMBIOS processor still lacks, partner or caches, and adds it to the list. */
void AssocForSmbiosCPU(const std::string& smbiosPath);

/** Finds the SMBIOS processor of a platform processor and writes its list anew. */
void AssocForKovdCPU(const std::string& kovdPath);

/**
 * A partner and exactly three caches: nothing is left to find for this SMBIOS processor. Throws
 * std::system_error when a mutex fails.
 */
bool isFullyAssociated(const std::string& smbiosPath);
