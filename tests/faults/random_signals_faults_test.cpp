/*
 * A hundred thousand random signals, each a real message, through decoders and workers: what stands
 * at the end is what the model says. One signal in ten is broken. The seed is fixed.
 */
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/records.hpp"
#include "doubles/test_message.hpp"
#include "faults/counts.hpp"
#include "intake/signal_decoding.hpp"
#include "intake/workers.hpp"
#include "unit/model/machine.hpp"
#include "unit/model/model.hpp"
#include "unit/model/state.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <random>
#include <set>
#include <utility>

namespace
{

using machine::Event;
using machine::Kind;
using std::string;
using test_message::require;

constexpr unsigned seed = 20221122;

const string inventoryRoot = "/xyz/openbmc_project/inventory";
constexpr const char* objectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

bool ofSmbios(Kind kind)
{
    return kind == Kind::smbiosSlot || kind == Kind::smbiosCpu || kind == Kind::smbiosCache;
}

// ---- messages ----

struct VariantWriter
{
    sd_bus_message* message;

    void basic(char type, const void* value) const
    {
        const char contents[] = {type, '\0'};
        require(sd_bus_message_open_container(message, 'v', contents));
        require(sd_bus_message_append_basic(message, type, value));
        require(sd_bus_message_close_container(message));
    }

    void operator()(const string& text) const
    {
        basic('s', text.c_str());
    }

    void operator()(std::uint16_t number) const
    {
        basic('q', &number);
    }

    void operator()(std::uint8_t number) const
    {
        basic('y', &number);
    }

    void operator()(std::uint32_t number) const
    {
        basic('u', &number);
    }

    void operator()(std::int64_t number) const
    {
        basic('x', &number);
    }

    void operator()(double number) const
    {
        basic('d', &number);
    }

    /** What stands for every type that the daemon does not know. */
    void operator()(const std::vector<string>& /*none*/) const
    {
        basic('o', "/unknown");
    }

    template <class Other>
    void operator()(const Other& /*value*/) const
    {
        throw std::logic_error("no such value is generated");
    }
};

void appendProperties(sd_bus_message* message, const ReceivedProperties& properties)
{
    require(sd_bus_message_open_container(message, 'a', "{sv}"));
    for (const auto& [name, value] : properties)
    {
        require(sd_bus_message_open_container(message, 'e', "sv"));
        require(sd_bus_message_append(message, "s", name.c_str()));
        std::visit(VariantWriter{message}, value);
        require(sd_bus_message_close_container(message));
    }
    require(sd_bus_message_close_container(message));
}

sdbusplus::message_t addedSignal(const Event& event)
{
    auto message = test_message::draft({inventoryRoot, objectManager, "InterfacesAdded"});
    require(sd_bus_message_append(message.get(), "o", event.path.c_str()));
    require(sd_bus_message_open_container(message.get(), 'a', "{sa{sv}}"));
    require(sd_bus_message_open_container(message.get(), 'e', "sa{sv}"));
    require(sd_bus_message_append(message.get(), "s", machine::interfaceOf(event.kind).c_str()));
    appendProperties(message.get(), event.properties);
    require(sd_bus_message_close_container(message.get()));
    require(sd_bus_message_close_container(message.get()));
    return test_message::seal(std::move(message));
}

sdbusplus::message_t changedSignal(const Event& event)
{
    auto message = test_message::draft({event.path, propertiesInterface, "PropertiesChanged"});
    require(sd_bus_message_append(message.get(), "s", machine::interfaceOf(event.kind).c_str()));
    appendProperties(message.get(), event.properties);
    require(sd_bus_message_append(message.get(), "as", 0));
    return test_message::seal(std::move(message));
}

sdbusplus::message_t removedSignal(const Event& event)
{
    const test_message::Head head{inventoryRoot, objectManager, "InterfacesRemoved"};
    return test_message::signal(head, "oas", event.path.c_str(), 1,
                                machine::interfaceOf(event.kind).c_str());
}

// ---- the generator ----

class Generator
{
  public:
    /** One that both services could send. */
    Event healthy()
    {
        Event event;
        event.kind = static_cast<Kind>(below(machine::kindCount));
        const auto paths = validPaths(event.kind);
        const int index = below(static_cast<int>(paths.size()));
        event.path = paths.at(static_cast<std::size_t>(index));
        if (below(5) == 0)
        {
            event.type = Event::Type::removal;
            return event;
        }
        event.properties = machine::wholeObject(event.kind, std::min(index + 1, 3));
        if (below(2) == 0)
        {
            change(event);
        }
        return event;
    }

    /** A kept property of a type that its insert refuses. */
    void spoil(Event& event)
    {
        const PropertyValue values[] = {std::uint32_t{1}, std::vector<string>{}, 1.5,
                                        std::int64_t{1}};
        const auto& all = machine::propertiesOf(event.kind);
        const auto& property =
            all.at(static_cast<std::size_t>(below(static_cast<int>(all.size()))));
        event.properties[property.name] = values[below(4)];
    }

    int below(int end)
    {
        return static_cast<int>(random_() % static_cast<unsigned>(end));
    }

  private:
    /** Some properties with values that they take on this machine, or only those. */
    void change(Event& event)
    {
        if (below(2) == 0)
        {
            event.properties.clear();
        }
        const auto& all = machine::propertiesOf(event.kind);
        for (int changes = below(3); changes >= 0; --changes)
        {
            const auto& property =
                all.at(static_cast<std::size_t>(below(static_cast<int>(all.size()))));
            const auto& values = property.values;
            event.properties[property.name] =
                values.at(static_cast<std::size_t>(below(static_cast<int>(values.size()))));
        }
    }

    /** The machine has paths, too, that no message can carry. */
    static std::vector<string> validPaths(Kind kind)
    {
        std::vector<string> paths;
        for (const string& path : machine::pathsOf(kind))
        {
            if (sd_bus_object_path_is_valid(path.c_str()) > 0)
            {
                paths.push_back(path);
            }
        }
        return paths;
    }

    std::mt19937 random_{seed};
};

// ---- daemon and model ----

void decode(Kind kind, sdbusplus::message_t message)
{
    ofSmbios(kind) ? GetSmbiosMsgData(message) : GetKovdMsgData(message);
}

/** Works off what the decoders have queued, in the place of the two threads. */
void work()
{
    for (const SignalRecord& record : takeRecords(smbiosMessageQueue))
    {
        processSmbiosRecord({log_label::util, "processSmbiosMessagesInQueue"}, record);
    }
    for (const SignalRecord& record : takeRecords(kovdMessageQueue))
    {
        processKovdRecord({log_label::util, "processKovdMessagesInQueue"}, record);
    }
}

/** A message that its decoder drops whole; the model hears nothing of it. */
void decodeBroken(Generator& generator, const Event& event)
{
    const char* const signatures[] = {"", "o", "oa{sv}", "sa{sv}", "oao", "sas", "oa{sa{sv}}s"};
    const char* const members[] = {"InterfacesAdded", "InterfacesRemoved", "PropertiesChanged"};
    const test_message::Head head{event.path, objectManager, members[generator.below(3)]};
    switch (generator.below(3))
    {
        case 0:
            return decode(event.kind,
                          test_message::withSignature(head, signatures[generator.below(7)]));
        case 1:
            return decode(event.kind, test_message::signal({"/elsewhere", objectManager, "Changed"},
                                                           "s", "nothing"));
        default:
            return decode(event.kind,
                          test_message::signal({inventoryRoot, objectManager, "InterfacesAdded"},
                                               "oa{sa{sv}}", "/elsewhere", 1,
                                               machine::interfaceOf(event.kind).c_str(), 0));
    }
}

void happen(Generator& generator, const Event& event, model::Model& expected)
{
    if (event.type == Event::Type::removal)
    {
        decode(event.kind, removedSignal(event));
        if (ofSmbios(event.kind)) // a platform object's removal reaches the wrong worker
        {
            expected.happen(event);
        }
        return;
    }
    decode(event.kind, generator.below(2) == 0 ? addedSignal(event) : changedSignal(event));
    expected.happen(event);
}

/** Each path is in one pair at most, and each pair is seen from both sides. */
void expectBijection(const state::State& state)
{
    const std::set<model::PathPair> pairs(state.pairs.begin(), state.pairs.end());
    std::set<string> firsts;
    for (const auto& [path, partner] : pairs)
    {
        EXPECT_TRUE(firsts.insert(path).second) << path << " has two partners";
        EXPECT_TRUE(pairs.contains({partner, path})) << path << " is no partner of " << partner;
    }
}

/** The first line that differs; empty when none does. */
string difference(const state::Texts& actual, const state::Texts& expected)
{
    const auto [left, right] =
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
    if (left == actual.end() && right == expected.end())
    {
        return "";
    }
    return "daemon: " + (left != actual.end() ? *left : "nothing") +
           "; model: " + (right != expected.end() ? *right : "nothing");
}

TEST(RandomSignals, M11LeaveWhatTheModelSays)
{
    const int count = faults::rounds(10'000, 100'000);
    constexpr int compareEvery = 100;
    resetStore();
    recorded_log::setLevel(0);
    Generator generator;
    model::Model expected;
    int broken = 0;
    bool requested = false; // the model forgets a request at the next event
    for (int number = 1; number <= count && !testing::Test::HasFailure(); ++number)
    {
        Event event = generator.healthy();
        const int fate = generator.below(20);
        broken += fate < 2 ? 1 : 0;
        if (fate == 0)
        {
            decodeBroken(generator, event);
        }
        else
        {
            if (fate == 1 && event.type == Event::Type::insert)
            {
                generator.spoil(event);
            }
            expected.world.recoveryRequested = false;
            happen(generator, event, expected);
            requested = requested || expected.world.recoveryRequested;
        }
        work();
        expected.log.clear();
        if (number % compareEvery == 0)
        {
            expected.world.recoveryRequested = std::exchange(requested, false);
            const state::State actual = state::ofTheDaemon();
            EXPECT_EQ(
                difference(state::shown(actual), state::shown(state::ofTheModel(expected.world))),
                "")
                << "after " << number << " signals, the last to " << event;
            expectBijection(actual);
            expected.world.handOvers.clear();
            recorded_requests::clear();
        }
    }
    std::cout << "[ MEASURED ] " << count << " signals, " << broken << " of them broken\n";
    resetStore();
}

} // namespace
