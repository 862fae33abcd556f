/*
 * The other end of a connection: a thread that plays the bus and one object on it, so that a
 * connection comes up without a bus.
 *
 * As the bus it gives the name ":1.7" and accepts every match rule but one with the path /refused.
 * As the object it has the methods
 *   Echo(s) -> s         answers the text,
 *   Refuse()             answers the error test.Error.Refused, "not today",
 *   RefuseWithoutText()  answers the same error without a text,
 *   Ignore()             answers never,
 *   Emit(s)              sends the signal test.Peer.Emitted(s), then answers.
 *
 * Made and destroyed by the main thread; its own thread ends when the client's end is closed.
 */
#pragma once

#include <systemd/sd-bus.h>

#include <thread>

class Peer
{
  public:
    Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // REQUIRES: the client's end is closed.
    ~Peer();

    // The client's end, started; whoever takes it owns it. To be taken once.
    sd_bus* takeClient();

  private:
    sd_bus* client_ = nullptr;
    std::thread thread_;
};
