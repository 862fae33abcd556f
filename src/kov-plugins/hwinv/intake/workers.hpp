/*
 * The two workers: each pops the records of its queue and turns them into store updates and
 * association work.
 */
#pragma once

#include "base/log.hpp"
#include "intake/message_queue.hpp"

/** Bodies of the worker threads. Return only when their queue's `stop` is set. */
void processSmbiosMessagesInQueue();
void processKovdMessagesInQueue();

/**
 * Processes one record, logging at `site`. Whatever it throws is logged there, once, and costs
 * this record alone: recovery is requested in its place.
 *
 * Any thread; takes none of the queue's locks. Never throws.
 */
void processSmbiosRecord(const Site& site, const SignalRecord& record);
void processKovdRecord(const Site& site, const SignalRecord& record);
