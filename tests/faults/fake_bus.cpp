#include "faults/fake_bus.hpp"

#include "sim/bus.hpp"
#include "sim/error.hpp"
#include "sim/names.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace faults
{
namespace
{

constexpr const char* busName = "org.freedesktop.DBus";
const std::string guid(32, 'a');

child::Descriptor listenAt(const std::string& path)
{
    child::Descriptor listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener.get(), SOMAXCONN) != 0)
    {
        throw sim::Error("fake bus: cannot listen at " + path + ": " + std::strerror(errno));
    }
    return listener;
}

std::string empty(const WireMessage& call)
{
    return replyTo(call, "", "");
}

std::string uniqueName(const WireMessage& call)
{
    return replyTo(call, "s", Wire().text(":1.7").bytes());
}

/** That the name is the caller's now. */
std::string primaryOwner(const WireMessage& call)
{
    return replyTo(call, "u", Wire().uint32(1).bytes());
}

std::string bothServices(const WireMessage& call)
{
    const auto names = [](Wire& list)
    { list.text(busName).text(sim::names::smbiosService).text(sim::names::kovdService); };
    return replyTo(call, "as", Wire().array(4, names).bytes());
}

std::string noObjects(const WireMessage& call)
{
    return replyTo(call, "a{oa{sa{sv}}}", Wire().array(8, [](Wire&) {}).bytes());
}

} // namespace

FakeBus::FakeBus()
    : folder_(sim::makeTemporaryFolder()), address_("unix:path=" + folder_ + "/socket"),
      listener_(listenAt(folder_ + "/socket")),
      wake_(child::makePipe()), answers_{{"Hello", uniqueName},
                                         {"RequestName", primaryOwner},
                                         {"ListNames", bothServices},
                                         {"GetManagedObjects", noObjects}},
      thread_([this] { run(); })
{
}

FakeBus::~FakeBus()
{
    {
        const std::lock_guard lock(mutex_);
        ends_ = true;
    }
    wake();
    thread_.join();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void FakeBus::answer(const std::string& member, Answer answer)
{
    const std::lock_guard lock(mutex_);
    answers_[member] = std::move(answer);
}

void FakeBus::hold(const std::string& member)
{
    const std::lock_guard lock(mutex_);
    held_.insert(member);
}

void FakeBus::release(const std::string& member)
{
    const std::lock_guard lock(mutex_);
    held_.erase(member);
    std::erase_if(waiting_,
                  [&](const Held& held)
                  {
                      const bool released = held.call.member == member;
                      if (released && clients_.contains(held.number))
                      {
                          reply(clients_.at(held.number), held.call);
                      }
                      return released;
                  });
}

void FakeBus::hangUpAt(const std::string& member)
{
    const std::lock_guard lock(mutex_);
    hangUpAt_ = member;
}

void FakeBus::signal(const std::string& bytes)
{
    const std::lock_guard lock(mutex_);
    for (auto& [number, client] : clients_)
    {
        if (client.listens)
        {
            return send(client, bytes);
        }
    }
    throw sim::Error("fake bus: nobody listens");
}

bool FakeBus::hasListener()
{
    const std::lock_guard lock(mutex_);
    return std::any_of(clients_.begin(), clients_.end(),
                       [](const auto& client) { return client.second.listens; });
}

bool FakeBus::waitForCalls(const std::string& member, std::size_t count,
                           std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex_);
    const auto enough = [&]
    {
        const auto fits = [&](const WireMessage& call) { return call.member == member; };
        return static_cast<std::size_t>(std::count_if(calls_.begin(), calls_.end(), fits)) >= count;
    };
    return changed_.wait_for(lock, limit, enough);
}

std::vector<WireMessage> FakeBus::calls(const std::string& member)
{
    const std::lock_guard lock(mutex_);
    std::vector<WireMessage> found;
    std::copy_if(calls_.begin(), calls_.end(), std::back_inserter(found),
                 [&](const WireMessage& call) { return call.member == member; });
    return found;
}

void FakeBus::forgetCalls()
{
    const std::lock_guard lock(mutex_);
    calls_.clear();
}

void FakeBus::wake() const
{
    if (write(wake_.write.get(), "", 1) < 0)
    {
        throw sim::Error("fake bus: cannot wake its thread");
    }
}

bool FakeBus::waitForClients(std::size_t count, std::chrono::milliseconds limit)
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return clients_.size() == count; });
}

void FakeBus::run()
{
    while (true)
    {
        std::vector<pollfd> files{{listener_.get(), POLLIN, 0}, {wake_.read.get(), POLLIN, 0}};
        std::vector<int> numbers;
        {
            const std::lock_guard lock(mutex_);
            std::erase_if(clients_, [](const auto& client) { return client.second.gone; });
            changed_.notify_all();
            for (const auto& [number, client] : clients_)
            {
                files.push_back({client.socket.get(), POLLIN, 0});
                numbers.push_back(number);
            }
        }
        poll(files.data(), files.size(), -1);
        const std::lock_guard lock(mutex_);
        if (ends_)
        {
            return;
        }
        for (std::size_t i = 0; i < numbers.size(); ++i)
        {
            if (files[i + 2].revents != 0)
            {
                receive(numbers[i], clients_.at(numbers[i]));
            }
        }
        if (files[0].revents != 0)
        {
            accept();
        }
    }
}

void FakeBus::accept()
{
    Client client;
    client.socket = child::Descriptor{accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)};
    clients_.emplace(nextNumber_++, std::move(client));
}

void FakeBus::receive(int number, Client& client)
{
    char bytes[65536];
    const ssize_t count = recv(client.socket.get(), bytes, sizeof bytes, 0);
    if (count <= 0)
    {
        client.gone = true;
        return;
    }
    client.received.append(bytes, static_cast<std::size_t>(count));
    if (!client.isIn)
    {
        letIn(client);
    }
    while (client.isIn && !client.gone)
    {
        const auto size = sizeOfMessage(client.received);
        if (!size || client.received.size() < *size)
        {
            return;
        }
        const WireMessage call = parseMessage(client.received.substr(0, *size));
        client.received.erase(0, *size);
        handle(number, client, call);
    }
}

/** What a client says before its first message, line by line. */
void FakeBus::letIn(Client& client)
{
    std::size_t end = 0;
    while (!client.isIn && (end = client.received.find("\r\n")) != std::string::npos)
    {
        std::string line = client.received.substr(0, end);
        client.received.erase(0, end + 2);
        line.erase(0, line.find_first_not_of('\0'));
        if (line.starts_with(hangUpAt_) && !hangUpAt_.empty())
        {
            client.gone = true;
            return;
        }
        if (line == "BEGIN")
        {
            client.isIn = true;
        }
        else if (line == "NEGOTIATE_UNIX_FD")
        {
            send(client, "AGREE_UNIX_FD\r\n");
        }
        else if (line == "AUTH EXTERNAL")
        {
            send(client, "DATA\r\n");
        }
        else
        {
            send(client, "OK " + guid + "\r\n");
        }
    }
}

void FakeBus::handle(int number, Client& client, const WireMessage& call)
{
    if (call.type != MessageType::call)
    {
        return;
    }
    calls_.push_back(call);
    changed_.notify_all();
    client.listens = client.listens || call.member == "AddMatch";
    if (call.member == hangUpAt_)
    {
        client.gone = true;
    }
    else if (held_.contains(call.member))
    {
        waiting_.push_back({number, call});
    }
    else
    {
        reply(client, call);
    }
}

void FakeBus::reply(Client& client, const WireMessage& call)
{
    const auto found = answers_.find(call.member);
    send(client, found == answers_.end() ? empty(call) : found->second(call));
}

void FakeBus::send(Client& client, const std::string& bytes)
{
    const ssize_t sent = ::send(client.socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    client.gone = client.gone || sent != static_cast<ssize_t>(bytes.size());
}

std::string replyTo(const WireMessage& call, const std::string& signature, const std::string& body)
{
    static std::atomic<std::uint32_t> serial{0};
    WireMessage reply;
    reply.type = MessageType::reply;
    reply.serial = ++serial;
    reply.replySerial = call.serial;
    reply.destination = ":1.7";
    reply.sender = busName;
    reply.signature = signature;
    reply.body = body;
    return reply.bytes();
}

} // namespace faults
