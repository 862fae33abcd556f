#include "peer.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/exception.hpp>
#include <sdbusplus/message.hpp>
#include <sdeventplus/event.hpp>
#include <systemd/sd-bus.h>

#include <chrono>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using namespace std::chrono_literals;
namespace rules = sdbusplus::bus::match::rules;

constexpr auto patience = 10s;
const std::string emittedRule =
    rules::type::signal() + rules::path("/peer") + rules::interface("test.Peer");

class Bus : public testing::Test
{
  protected:
    ~Bus() override
    {
        sd_bus_close_unref(raw);
    }

    sdbusplus::message_t method(const char* name)
    {
        return bus.new_method_call("test.Service", "/peer", "test.Peer", name);
    }

    // Calls a method with one text.
    void call(const char* name, const std::string& text)
    {
        auto m = method(name);
        m.append(text);
        bus.call(m);
    }

    // Works on the connection until something has come true.
    void settle(const std::function<bool()>& done)
    {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!done() && std::chrono::steady_clock::now() < deadline)
        {
            if (sd_bus_process(raw, nullptr) == 0)
            {
                sd_bus_wait(raw, 100000);
            }
        }
        EXPECT_TRUE(done());
    }

    Peer peer;
    sd_bus* raw = peer.takeClient();
    sdbusplus::bus_t bus{sd_bus_ref(raw), std::false_type()};
};

TEST_F(Bus, MovesWithItsConnection)
{
    auto m = method("Echo");
    m.append(std::string("hello"));
    sdbusplus::bus_t moved(std::move(bus));
    std::string text;
    moved.call(m).read(text);
    EXPECT_EQ(text, "hello");
}

TEST_F(Bus, MethodCallHasItsAddress)
{
    auto m = method("Echo");
    EXPECT_STREQ(sd_bus_message_get_destination(m.get()), "test.Service");
    EXPECT_STREQ(m.get_path(), "/peer");
    EXPECT_STREQ(sd_bus_message_get_interface(m.get()), "test.Peer");
    EXPECT_STREQ(m.get_member(), "Echo");
}

TEST_F(Bus, MethodCallWithInvalidPath)
{
    try
    {
        bus.new_method_call("test.Service", "no path", "test.Peer", "Echo");
        FAIL() << "made a call to an invalid path";
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        EXPECT_STREQ(error.what(), "sd_bus_message_new_method_call: "
                                   "org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
    }
}

TEST_F(Bus, CallReturnsTheReply)
{
    auto m = method("Echo");
    m.append(std::string("hello"));
    auto reply = bus.call(m);
    std::string text;
    reply.read(text);
    EXPECT_EQ(text, "hello");
    EXPECT_FALSE(reply.is_method_error());
}

TEST_F(Bus, CallThrowsTheErrorThatWasAnswered)
{
    auto m = method("Refuse");
    try
    {
        bus.call(m);
        FAIL() << "an error is no reply";
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        EXPECT_STREQ(error.what(), "sd_bus_call: test.Error.Refused: not today");
    }
}

TEST_F(Bus, CallThrowsTheErrorWithoutText)
{
    auto m = method("RefuseWithoutText");
    try
    {
        bus.call(m);
        FAIL() << "an error is no reply";
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        EXPECT_STREQ(error.what(), "sd_bus_call: test.Error.Refused");
    }
}

TEST_F(Bus, CallThrowsWhenTheTimeIsUp)
{
    ASSERT_GE(sd_bus_set_method_call_timeout(raw, 1000), 0);
    auto m = method("Ignore");
    try
    {
        bus.call(m);
        FAIL() << "nobody answers";
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        EXPECT_STREQ(error.what(),
                     "sd_bus_call: org.freedesktop.DBus.Error.Timeout: Connection timed out");
    }
}

TEST_F(Bus, MatchCallsBackForWhatItSelects)
{
    std::vector<std::string> texts;
    sdbusplus::bus::match_t match(bus, emittedRule.c_str(),
                                  [&](sdbusplus::message_t& m)
                                  {
                                      EXPECT_STREQ(m.get_member(), "Emitted");
                                      m.read(texts.emplace_back());
                                  });
    sdbusplus::bus::match_t other(bus, "type='signal',member='Other'",
                                  [](sdbusplus::message_t&) { FAIL() << "selected too much"; });
    call("Emit", "one");
    call("Emit", "two");
    settle([&] { return texts.size() == 2; });
    EXPECT_EQ(texts, (std::vector<std::string>{"one", "two"}));
}

TEST_F(Bus, MatchEndsWithItsObject)
{
    std::vector<std::string> texts;
    const auto keep = [&](sdbusplus::message_t& m) { m.read(texts.emplace_back()); };
    {
        sdbusplus::bus::match_t first(bus, emittedRule.c_str(), keep);
        sdbusplus::bus::match_t second(std::move(first));
        call("Emit", "heard");
        settle([&] { return !texts.empty(); });
    }
    call("Emit", "unheard");
    sdbusplus::bus::match_t third(bus, emittedRule.c_str(), keep);
    call("Emit", "heard again");
    settle([&] { return texts.size() == 2 || texts.back() == "heard again"; });
    EXPECT_EQ(texts.front(), "heard");
    EXPECT_EQ(texts.back(), "heard again");
}

TEST_F(Bus, MatchThatIsRefusedThrows)
{
    const auto nothing = [](sdbusplus::message_t&) {};
    const auto what = [&](const std::string& rule) -> std::string
    {
        try
        {
            sdbusplus::bus::match_t match(bus, rule.c_str(), nothing);
        }
        catch (const sdbusplus::exception::SdBusError& error)
        {
            return error.what();
        }
        return "registered";
    };
    EXPECT_EQ(what("no rule"),
              "sd_bus_match: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
    EXPECT_EQ(what(rules::path("/refused")),
              "sd_bus_match: org.freedesktop.DBus.Error.LimitsExceeded: No buffer space available");
}

TEST_F(Bus, EventLoopDoesItsWork)
{
    const auto event = sdeventplus::Event::get_new();
    ASSERT_GE(sd_bus_attach_event(raw, event.get(), SD_EVENT_PRIORITY_NORMAL), 0);
    std::string text;
    sdbusplus::bus::match_t match(bus, emittedRule.c_str(),
                                  [&](sdbusplus::message_t& m) { m.read(text); });
    call("Emit", "one");
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (text.empty() && std::chrono::steady_clock::now() < deadline)
    {
        event.run(100ms);
    }
    EXPECT_EQ(text, "one");
}

} // namespace
