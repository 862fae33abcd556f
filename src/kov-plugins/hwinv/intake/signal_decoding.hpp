/*
 * From a delivered signal to a record on a worker's queue.
 *
 * Each decoder checks the body's signature, reads the body into a SignalRecord, drops silently what
 * no row's path fits, and pushes the rest. A PropertiesChanged is checked before its body is read.
 * A message that cannot be read is logged and dropped, and the recovery thread is asked for a
 * resync in its place, except for a removal that the platform daemon announces; a wrong signature
 * is logged alone.
 *
 * Subscription thread only. Takes the lock of the queue or of the recovery request, never for
 * long; makes no bus call. Neither decoder throws anything but
 * std::system_error, when the mutex of the recovery request fails.
 */
#pragma once

#include <sdbusplus/message.hpp>

#include <string_view>

/** A signal of the SMBIOS service; goes to smbiosMessageQueue. */
void GetSmbiosMsgData(sdbusplus::message_t& message);

/**
 * A signal of the platform daemon; goes to kovdMessageQueue. A removal goes to smbiosMessageQueue,
 * whose worker has no row for a platform object: it has no effect.
 */
void GetKovdMsgData(sdbusplus::message_t& message);

/** Empty when the message has no member. */
std::string_view memberOf(sdbusplus::message_t& message);

bool isSmbiosPathOfInterest(std::string_view path);
bool isKovdPathOfInterest(std::string_view path);
