/*
 * Memory that runs out where libsystemd allocates too: in the decoders of signals, and in the unit
 * that writes a property.
 */
#include "allocations_kit.hpp"
#include "bus/association_writer.hpp"
#include "doubles/failing_allocation.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/platform_daemon.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/records.hpp"
#include "doubles/test_message.hpp"
#include "intake/signal_decoding.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <string>

namespace
{

using allocations::pathOf;
using allocations::survived;
using machine::Kind;
using std::string;

// The decoders, fed with what a service sends.

constexpr const char* objectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

using Message = sdbusplus::message_t;
using Decoder = void (*)(Message&);

Message addedMessage(Kind kind)
{
    auto message = test_message::draft({"/manager", objectManager, "InterfacesAdded"});
    test_message::require(sd_bus_message_append(
        message.get(), "oa{sa{sv}}", pathOf(kind).c_str(), 1, machine::interfaceOf(kind).c_str(), 2,
        "A text that does not fit a short string", "s", "and a value that does not fit one either",
        "Names", "as", 2, "one that does not fit a short string", "another one of that size"));
    return test_message::seal(std::move(message));
}

Message changedMessage(Kind kind)
{
    return test_message::signal(
        {pathOf(kind), propertiesInterface, "PropertiesChanged"}, "sa{sv}as",
        machine::interfaceOf(kind).c_str(), 1, "A text that does not fit a short string", "s",
        "and a value that does not fit one either", 1, "An invalidated one of such a size");
}

Message removedMessage(Kind kind)
{
    return test_message::signal({"/manager", objectManager, "InterfacesRemoved"}, "oas",
                                pathOf(kind).c_str(), 1, machine::interfaceOf(kind).c_str());
}

/** libsystemd's own words when it has no memory. */
bool tellsOfMemory(const string& text)
{
    return text.find("std::bad_alloc") != string::npos ||
           text.find("Cannot allocate memory") != string::npos ||
           text.find("Out of memory") != string::npos;
}

void expectWholeOrTold(std::size_t queued)
{
    // Either the record came through whole, or its loss is told and recovery asked for.
    const auto lines = recorded_log::lines();
    const bool told = std::any_of(lines.begin(), lines.end(),
                                  [](const LogLine& line) { return tellsOfMemory(line.text); });
    EXPECT_NE(told, queued == 1) << queued;
}

std::size_t takeQueued()
{
    return takeRecords(smbiosMessageQueue).size() + takeRecords(kovdMessageQueue).size();
}

std::size_t failEachOfDecoding(Decoder decode, Message (*make)(Kind), Kind kind)
{
    std::size_t points = 0;
    for (const std::size_t failures : {1U, 2U})
    {
        for (points = 0;; ++points)
        {
            SCOPED_TRACE(points);
            resetStore();
            Message message = make(kind);
            failing_allocation::arm(points, failures);
            EXPECT_NO_THROW(decode(message));
            const bool failed = failing_allocation::disarm();
            const std::size_t queued = takeQueued();
            if (!failed)
            {
                EXPECT_EQ(queued, 1U);
                break;
            }
            expectWholeOrTold(queued);
            ++survived;
        }
    }
    resetStore();
    return points;
}

class DecodeMemory : public testing::Test
{
};

TEST_F(DecodeMemory, ofAnAddedObject)
{
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, addedMessage, Kind::smbiosSlot), 10U);
    EXPECT_GT(failEachOfDecoding(GetKovdMsgData, addedMessage, Kind::kovdSlot), 10U);
}

TEST_F(DecodeMemory, ofARemovedObject)
{
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, removedMessage, Kind::smbiosSlot), 3U);
    EXPECT_GT(failEachOfDecoding(GetKovdMsgData, removedMessage, Kind::kovdSlot), 3U);
}

TEST_F(DecodeMemory, ofAChangedObject)
{
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, changedMessage, Kind::smbiosSlot), 5U);
    EXPECT_GT(failEachOfDecoding(GetSmbiosMsgData, changedMessage, Kind::smbiosCache), 5U);
    EXPECT_GT(failEachOfDecoding(GetKovdMsgData, changedMessage, Kind::kovdSlot), 5U);
}

// The unit on the main loop: what it throws, the executor logs.

/** False when it failed. */
bool setOnce(std::size_t spared, std::size_t failures)
{
    PlatformDaemon platform;
    busConnection = platform.connection();
    AssociationRequest request{pathOf(Kind::kovdSlot),
                               {{"chassis", "pcieslot", pathOf(Kind::smbiosSlot)}}};
    failing_allocation::arm(spared, failures);
    try
    {
        setAssociations(nullptr, &request, sizeof request);
    }
    catch (const std::exception& e)
    {
        failing_allocation::disarm();
        busConnection.reset();
        EXPECT_STRNE(e.what(), ""); // in libsystemd's words, which are not always of memory
        return false;
    }
    const bool failed = failing_allocation::disarm();
    busConnection.reset();
    return !failed;
}

TEST(ExecuteMemory, ofAUnit)
{
    for (const std::size_t failures : {1U, 2U})
    {
        std::size_t points = 0;
        while (!setOnce(points, failures))
        {
            ++points;
            ++survived;
        }
        EXPECT_GT(points, 10U);
    }
    resetStore();
}

} // namespace
