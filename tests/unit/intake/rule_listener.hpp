/*
 * A bus of the least kind: one client may say hello and add matches, and every rule is written
 * down. What a program subscribes to is seen as it goes over the wire.
 *
 * One object at a time: its address is in DBUS_SYSTEM_BUS_ADDRESS as long as it lives. It serves
 * on a thread of its own, which ends with the client's connection; the connection is to be closed
 * before the object goes.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class RuleListener
{
  public:
    /** Accepts so many rules and refuses the next ones. */
    explicit RuleListener(std::size_t accepted);
    ~RuleListener();

    RuleListener(const RuleListener&) = delete;
    RuleListener& operator=(const RuleListener&) = delete;

    /** All rules heard, the refused ones too. Any thread; takes its own lock. */
    std::vector<std::string> rules();

  private:
    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);
    int answer(sd_bus_message* message);
    int addMatch(sd_bus_message* message);
    void serve();

    std::string folder_;
    int socket_ = -1;
    std::size_t accepted_;
    std::mutex mutex_;
    std::vector<std::string> rules_;
    std::thread thread_;
};
