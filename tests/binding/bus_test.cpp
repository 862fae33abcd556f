#include "peer.hpp"
#include "types.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/bus.hpp>
#include <sdbusplus/bus/match.hpp>
#include <sdbusplus/server/manager.hpp>
#include <sdeventplus/event.hpp>

#include <chrono>
#include <functional>
#include <optional>
#include <type_traits>

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
    Bus() : bus(raw, std::false_type())
    {
        bus.set_should_close(true);
    }

    sdbusplus::message_t method(const char* name)
    {
        return bus.new_method_call("test.Service", "/peer", "test.Peer", name);
    }

    // Calls a method with one text.
    void call(const char* name, const auto& argument)
    {
        auto m = method(name);
        m.append(argument);
        bus.call(m, patience);
    }

    // Works on the connection until something has come true.
    void settle(const std::function<bool()>& done)
    {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!done() && std::chrono::steady_clock::now() < deadline)
        {
            if (!bus.process_discard())
            {
                bus.wait(100000);
            }
        }
        EXPECT_TRUE(done());
    }

    Peer peer;
    sd_bus* raw = peer.takeClient();
    sdbusplus::bus_t bus;
};

TEST_F(Bus, HasItsUniqueName)
{
    EXPECT_EQ(bus.get_unique_name(), ":1.7");
}

TEST_F(Bus, KeepsTheReferenceThatItTookOver)
{
    sdbusplus::bus_t second(raw);
    EXPECT_EQ(second.get_unique_name(), ":1.7");
    sdbusplus::bus_t moved(std::move(second));
    EXPECT_EQ(moved.get_unique_name(), ":1.7");
}

TEST_F(Bus, MethodCallHasItsAddress)
{
    auto m = method("Echo");
    EXPECT_STREQ(m.get_destination(), "test.Service");
    EXPECT_STREQ(m.get_path(), "/peer");
    EXPECT_STREQ(m.get_interface(), "test.Peer");
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
    m.append("hello");
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
        EXPECT_STREQ(error.name(), "test.Error.Refused");
        EXPECT_STREQ(error.description(), "not today");
        EXPECT_STREQ(error.what(), "sd_bus_call: test.Error.Refused: not today");
    }
}

TEST_F(Bus, CallThrowsWhenTheTimeIsUp)
{
    auto m = method("Ignore");
    try
    {
        bus.call(m, 1ms);
        FAIL() << "nobody answers";
    }
    catch (const sdbusplus::exception::SdBusError& error)
    {
        EXPECT_EQ(error.get_errno(), ETIMEDOUT);
    }
}

TEST_F(Bus, MatchCallsBackForWhatItSelects)
{
    std::vector<std::string> texts;
    sdbusplus::bus::match_t match(bus, emittedRule,
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
        sdbusplus::bus::match_t first(bus, emittedRule, keep);
        sdbusplus::bus::match_t second(std::move(first));
        call("Emit", "heard");
        settle([&] { return !texts.empty(); });
    }
    call("Emit", "unheard");
    sdbusplus::bus::match_t third(bus, emittedRule, keep);
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
            sdbusplus::bus::match_t match(bus, rule, nothing);
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

TEST_F(Bus, ManagerAnswersForItsPath)
{
    std::string answer;
    sdbusplus::bus::match_t match(bus, emittedRule,
                                  [&](sdbusplus::message_t& m) { m.read(answer); });
    const auto ask = [&]
    {
        answer.clear();
        call("AskObjects", compat::ObjectPath(std::string("/managed")));
        settle([&] { return !answer.empty(); });
        return answer;
    };
    {
        sdbusplus::server::manager_t manager(bus, "/managed");
        EXPECT_EQ(ask(), "a{oa{sa{sv}}}");
    }
    EXPECT_EQ(ask(), "org.freedesktop.DBus.Error.UnknownObject");
}

TEST_F(Bus, EventLoopDoesItsWork)
{
    const auto event = sdeventplus::Event::get_new();
    ASSERT_GE(sd_bus_attach_event(raw, event.get(), SD_EVENT_PRIORITY_NORMAL), 0);
    std::string text;
    sdbusplus::bus::match_t match(bus, emittedRule, [&](sdbusplus::message_t& m) { m.read(text); });
    call("Emit", "one");
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (text.empty() && std::chrono::steady_clock::now() < deadline)
    {
        event.run(100ms);
    }
    EXPECT_EQ(text, "one");
}

} // namespace
