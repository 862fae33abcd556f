/*
 * The subscription thread: what it listens to and who decodes it.
 *
 * It has a bus connection and an event loop of its own and must keep that loop moving: a callback
 * decodes one message, pushes one record and returns.
 */
#pragma once

#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/message.hpp>

#include <vector>

/** The installed matches, in the order of installation; filled once and kept. */
extern std::vector<sdbusplus::bus::match_t> eventMatches;

/** Body of the subscription thread. Returns, logged, only after an exception. */
void SubscribeToEvents();

/** The match callbacks. Subscription thread only. Nothing thrown leaves them. */
void SmbiosInterfacesEventCallback(sdbusplus::message_t& message);
void KovdInterfacesEventCallback(sdbusplus::message_t& message);
void KovdChassisPathInterfaceEventCallback(sdbusplus::message_t& message);
