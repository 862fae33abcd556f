/*
 * The two workers: each pops the records of its queue and turns them into store updates and
 * association work.
 */
#pragma once

#include "base/log.hpp"
#include "intake/message_queue.hpp"
#include "store/one_piece.hpp"

/** Bodies of the worker threads. Return only when their queue's `stop` is set. */
void processSmbiosMessagesInQueue() EXCLUDES(pieceMutex);
void processKovdMessagesInQueue() EXCLUDES(pieceMutex);

/**
 * Processes one record as one piece, logging at `site`. Whatever it throws is logged there, once,
 * and costs this record alone: recovery is requested in its place.
 *
 * Any thread; takes none of the queue's locks. Throws nothing but std::system_error, when the mutex
 * of the recovery request fails.
 */
void processSmbiosRecord(const Site& site, const SignalRecord& record) EXCLUDES(pieceMutex);
void processKovdRecord(const Site& site, const SignalRecord& record) EXCLUDES(pieceMutex);
