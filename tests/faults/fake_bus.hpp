#pragma once

// A bus that hands out any bytes, which a real one would keep from its clients.
//
// Who connects is let in, whatever it says it is, and its calls of the bus and of both services are
// answered as on a bus where both run and show nothing. A test can change each answer, hold it
// back, or have the connection end instead; and it can send bytes to whoever has asked for signals.
//
// It has a thread of its own. Any thread; takes its own lock. Throws sim::Error.

#include "child/pipe.hpp"
#include "faults/wire.hpp"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace faults
{

class FakeBus
{
  public:
    /** The whole bytes of the answer. */
    using Answer = std::function<std::string(const WireMessage& call)>;

    FakeBus();
    ~FakeBus();
    FakeBus(const FakeBus&) = delete;
    FakeBus& operator=(const FakeBus&) = delete;

    const std::string& address() const
    {
        return address_;
    }

    /** How calls of this member are answered from now on. */
    void answer(const std::string& member, Answer answer);

    /** Calls of this member wait until release(). */
    void hold(const std::string& member);
    void release(const std::string& member);

    /** Whoever calls this member loses its connection. "AUTH" is the first line that a client
     *  sends. */
    void hangUpAt(const std::string& member);

    /** Sends bytes to the connection that has added match rules; there must be one. */
    void signal(const std::string& bytes);

    /** True when that connection is still there. */
    bool hasListener();

    /** Waits until so many calls of this member have come; false when the time ran out. */
    bool waitForCalls(const std::string& member, std::size_t count,
                      std::chrono::milliseconds limit);

    std::vector<WireMessage> calls(const std::string& member);
    void forgetCalls();

    /** Waits until so many connections are open; false when the time ran out. */
    bool waitForClients(std::size_t count, std::chrono::milliseconds limit);

  private:
    struct Client
    {
        child::Descriptor socket;
        std::string received;
        bool isIn = false;
        bool listens = false;
        bool gone = false;
    };

    struct Held
    {
        int number;
        WireMessage call;
    };

    void run();
    void accept();
    void receive(int number, Client& client);
    void letIn(Client& client);
    void handle(int number, Client& client, const WireMessage& call);
    void reply(Client& client, const WireMessage& call);
    static void send(Client& client, const std::string& bytes);
    void wake() const;

    std::string folder_;
    std::string address_;
    child::Descriptor listener_;
    child::Pipe wake_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<int, Client> clients_; // by number, in the order of their coming
    int nextNumber_ = 1;
    std::map<std::string, Answer> answers_;
    std::set<std::string> held_;
    std::vector<Held> waiting_;
    std::string hangUpAt_;
    std::vector<WireMessage> calls_;
    bool ends_ = false;

    std::thread thread_; // the last: it uses the others
};

/** A reply to the call with that signature and body. */
std::string replyTo(const WireMessage& call, const std::string& signature, const std::string& body);

} // namespace faults
