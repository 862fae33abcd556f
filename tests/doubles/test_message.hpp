/*
 * Messages without a bus: made on a connection whose other end never speaks, filled by sd-bus
 * itself and rewound, so they are as a match callback gets them.
 *
 * A message that cannot be made throws std::runtime_error: the test is wrong. Main thread only.
 */
#pragma once

#include <sdbusplus/message.hpp>
#include <systemd/sd-bus.h>

#include <string>
#include <utility>

namespace test_message
{

struct Head
{
    std::string path;
    std::string interface;
    std::string member;
};

/** A signal without a body, open for appending; reading it fails with EPERM. */
sdbusplus::message_t draft(const Head& head);

/** Ends the writing and puts the read position at the begin. */
sdbusplus::message_t seal(sdbusplus::message_t message);

/** A signal ready to be read; `types` and what follows as sd_bus_message_append takes them. */
template <class... Values>
sdbusplus::message_t signal(const Head& head, const char* types, Values... values);

/** A signal whose body has that signature: every array empty, every other value empty or zero. */
sdbusplus::message_t withSignature(const Head& head, const std::string& signature);

sdbusplus::message_t methodError();
sdbusplus::message_t methodReturn(); // has no member

/** Whether everything in the message has been read. */
bool atEnd(sdbusplus::message_t& message);

void readToEnd(sdbusplus::message_t& message);

void require(int result);

} // namespace test_message

template <class... Values>
sdbusplus::message_t test_message::signal(const Head& head, const char* types, Values... values)
{
    sdbusplus::message_t message = draft(head);
    require(sd_bus_message_append(message.get(), types, values...));
    return seal(std::move(message));
}
