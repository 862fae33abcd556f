#include "doubles/test_message.hpp"

#include <memory>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

/** One for all messages of the process; each message keeps it referenced. */
class SilentConnection
{
  public:
    SilentConnection()
    {
        int ends[2];
        test_message::require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
        otherEnd_ = ends[1];
        test_message::require(sd_bus_new(&bus_));
        test_message::require(sd_bus_set_fd(bus_, ends[0], ends[0]));
        test_message::require(sd_bus_start(bus_));
    }

    SilentConnection(const SilentConnection&) = delete;
    SilentConnection& operator=(const SilentConnection&) = delete;

    ~SilentConnection()
    {
        sd_bus_close_unref(bus_);
        close(otherEnd_);
    }

    sd_bus* bus() const
    {
        return bus_;
    }

  private:
    sd_bus* bus_ = nullptr;
    int otherEnd_ = -1;
};

sd_bus* silentBus()
{
    static const SilentConnection connection;
    return connection.bus();
}

sdbusplus::message_t owned(sd_bus_message* message)
{
    return sdbusplus::message_t(message, std::false_type());
}

sdbusplus::message_t methodCall()
{
    sd_bus_message* call = nullptr;
    test_message::require(sd_bus_message_new_method_call(silentBus(), &call, "test.Service",
                                                         "/test", "test.Interface", "Ask"));
    return test_message::seal(owned(call));
}

/** Where the value that begins at `begin` ends within the signature. */
std::size_t endOfType(const std::string& signature, std::size_t begin)
{
    if (signature[begin] == 'a')
    {
        return endOfType(signature, begin + 1);
    }
    if (signature[begin] != '{')
    {
        return begin + 1;
    }
    std::size_t end = begin + 1;
    while (signature.at(end) != '}')
    {
        end = endOfType(signature, end);
    }
    return end + 1;
}

void appendEmpty(sd_bus_message* message, const std::string& type)
{
    if (type[0] == 'a')
    {
        test_message::require(sd_bus_message_open_container(message, 'a', type.c_str() + 1));
        test_message::require(sd_bus_message_close_container(message));
        return;
    }
    constexpr std::uint64_t zero = 0;
    const char* const text = type == "o" ? "/" : "";
    const bool isText = type == "s" || type == "o" || type == "g";
    test_message::require(sd_bus_message_append_basic(
        message, type[0], isText ? static_cast<const void*>(text) : &zero));
}

} // namespace

void test_message::require(int result)
{
    if (result < 0)
    {
        throw std::runtime_error("cannot make a message for the test");
    }
}

sdbusplus::message_t test_message::draft(const Head& head)
{
    sd_bus_message* message = nullptr;
    require(sd_bus_message_new_signal(silentBus(), &message, head.path.c_str(),
                                      head.interface.c_str(), head.member.c_str()));
    return owned(message);
}

sdbusplus::message_t test_message::seal(sdbusplus::message_t message)
{
    require(sd_bus_message_seal(message.get(), 1, 0));
    require(sd_bus_message_rewind(message.get(), 1));
    return message;
}

sdbusplus::message_t test_message::withSignature(const Head& head, const std::string& signature)
{
    sdbusplus::message_t message = draft(head);
    for (std::size_t begin = 0; begin < signature.size();)
    {
        const std::size_t end = endOfType(signature, begin);
        appendEmpty(message.get(), signature.substr(begin, end - begin));
        begin = end;
    }
    return seal(std::move(message));
}

sdbusplus::message_t test_message::methodError()
{
    sdbusplus::message_t call = methodCall();
    sd_bus_message* error = nullptr;
    require(sd_bus_message_new_method_errorf(call.get(), &error, "test.Error", "refused"));
    return seal(owned(error));
}

sdbusplus::message_t test_message::methodReturn()
{
    sdbusplus::message_t call = methodCall();
    sd_bus_message* reply = nullptr;
    require(sd_bus_message_new_method_return(call.get(), &reply));
    return seal(owned(reply));
}

bool test_message::atEnd(sdbusplus::message_t& message)
{
    const int result = sd_bus_message_at_end(message.get(), 1);
    require(result);
    return result > 0;
}

void test_message::readToEnd(sdbusplus::message_t& message)
{
    require(sd_bus_message_skip(message.get(), nullptr));
}
