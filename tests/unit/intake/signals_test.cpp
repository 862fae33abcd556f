/* The three match callbacks, called as the bus connection would. */
#include "doubles/recorded_log.hpp"
#include "intake/signals.hpp"
#include "unit/intake/decoding_kit.hpp"
#include "unit/intake/rule_listener.hpp"

#include <sdbusplus/exception.hpp>
#include <systemd/sd-event.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <thread>

namespace
{

using sdbusplus::exception::SdBusError;

const std::string smbiosCpu = "/xyz/openbmc_project/inventory/system/chassis/motherboard/cpu0";
const std::string cpuInterface = "xyz.openbmc_project.Inventory.Item.Cpu";
const std::string kovdSlot = "/xyz/openbmc_project/inventory/system/board/pcie/slot1";
const std::string slotInterface = "xyz.openbmc_project.Inventory.Item.PCIeSlotDevice";
const std::string chassisDevice =
    "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie/dev1";
const std::string deviceInterface = "xyz.openbmc_project.Inventory.Item.PCIeDevice";

struct Callback
{
    std::string function;
    void (*call)(sdbusplus::message_t&);
    std::string decoder;
    std::string path;
    std::string interface;
    MessageQueue& queue;
    Lines linesOfAChange;
};

const Callback smbios{
    .function = "SmbiosInterfacesEventCallback",
    .call = SmbiosInterfacesEventCallback,
    .decoder = "GetSmbiosMsgData",
    .path = smbiosCpu,
    .interface = cpuInterface,
    .queue = smbiosMessageQueue,
    .linesOfAChange = {},
};
const Callback kovd{
    .function = "KovdInterfacesEventCallback",
    .call = KovdInterfacesEventCallback,
    .decoder = "GetKovdMsgData",
    .path = kovdSlot,
    .interface = slotInterface,
    .queue = kovdMessageQueue,
    .linesOfAChange = {},
};
const Callback chassis{
    .function = "KovdChassisPathInterfaceEventCallback",
    .call = KovdChassisPathInterfaceEventCallback,
    .decoder = "GetKovdMsgData",
    .path = chassisDevice,
    .interface = deviceInterface,
    .queue = kovdMessageQueue,
    .linesOfAChange = {"1 GetKovdMsgData: " + chassisDevice + " :Object path to be updated"},
};

std::string nameOf(const testing::TestParamInfo<const Callback*>& info)
{
    return info.param->function;
}

class EachCallback : public Decoding, public testing::WithParamInterface<const Callback*>
{
  protected:
    const Callback& callback = *GetParam();

    void call(sdbusplus::message_t message)
    {
        callback.call(message);
    }

    std::string line(int level, const std::string& text) const
    {
        return std::to_string(level) + " " + callback.function + ": " + text;
    }

    /** The next line that is logged throws, and only that one. */
    template <class Thrown>
    static void throwAtTheNextLine(Thrown thrown)
    {
        recorded_log::setHook(
            [thrown](const LogLine&)
            {
                recorded_log::setHook(nullptr);
                thrown();
            });
    }
};

INSTANTIATE_TEST_SUITE_P(Services, EachCallback, testing::Values(&smbios, &kovd, &chassis), nameOf);

TEST_P(EachCallback, handsAddedObjectsToItsDecoder)
{
    call(addedMessage(callback.path, "any.Other"));
    EXPECT_EQ(takeRecords(callback.queue),
              Records{addedRecord(callback.path, addedInterfaces({"any.Other"}))});
    expectDropped("the rest");
}

TEST_P(EachCallback, handsRemovedObjectsToItsDecoder)
{
    call(removedMessage(callback.path, {"any.Other"}));
    EXPECT_EQ(takeRecords(smbiosMessageQueue),
              Records{removedRecord(callback.path, {"any.Other"})});
    expectDropped("the rest");
}

TEST_P(EachCallback, handsChangesToItsDecoder)
{
    call(changedMessage(callback.path, callback.interface));
    EXPECT_EQ(takeRecords(callback.queue), Records{changedOf(callback.path, callback.interface)});
    EXPECT_EQ(utilLines(), callback.linesOfAChange);
    expectNothingQueued("the rest");
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EachCallback, leavesTheJudgementOfTheMessageToItsDecoder)
{
    for (const char* member : {"InterfacesAdded", "InterfacesRemoved", "PropertiesChanged"})
    {
        recorded_log::clear();
        call(test_message::withSignature({callback.path, "any.Interface", member}, "us"));
        EXPECT_EQ(utilLines(), Lines{"1 " + callback.decoder + ": Invalid signature = us"});
        expectNothingQueued(member);
        EXPECT_FALSE(takeRecoveryRequest());
    }
}

TEST_P(EachCallback, ignoresEveryOtherMemberSilently)
{
    for (const char* member : {"interfacesAdded", "InterfacesAdde", "InterfacesRemovedX",
                               "PropertiesChange", "NameOwnerChanged"})
    {
        call(test_message::signal({callback.path, objectManager, member}, "u", 1));
        expectDropped(member);
    }
    call(test_message::methodReturn());
    expectDropped("no member");
}

TEST_P(EachCallback, logsAMethodErrorAndDropsIt)
{
    call(test_message::methodError());
    EXPECT_EQ(utilLines(), Lines{line(5, "method error")});
    expectNothingQueued("error");
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EachCallback, letsNoExceptionOut)
{
    throwAtTheNextLine([] { throw std::runtime_error("out of order"); });
    call(test_message::methodError());
    EXPECT_EQ(utilLines(), (Lines{line(5, "method error"),
                                  line(1, "failed to read message err[out of order]")}));

    recorded_log::clear();
    throwAtTheNextLine([] { throw SdBusError(EIO, "line"); });
    call(test_message::methodError());
    const std::string expected = SdBusError(EIO, "line").what();
    EXPECT_EQ(utilLines(), (Lines{line(5, "method error"),
                                  line(1, "failed to read message err[" + expected + "]")}));

    recorded_log::clear();
    throwAtTheNextLine([] { throw 1; });
    call(test_message::methodError());
    EXPECT_EQ(utilLines(), (Lines{line(5, "method error"), line(1, "failed to read message")}));
    expectNothingQueued("error");
    EXPECT_FALSE(takeRecoveryRequest());
}

TEST_P(EachCallback, catchesWhatEscapesItsDecoder)
{
    int failures = 0;
    recorded_log::setHook(
        [&](const LogLine& logged)
        {
            if (logged.function == callback.decoder)
            {
                ++failures;
                throw std::runtime_error("failure " + std::to_string(failures));
            }
        });
    call(test_message::withSignature({callback.path, objectManager, "InterfacesAdded"}, "s"));
    EXPECT_EQ(utilLines(),
              (Lines{"1 " + callback.decoder + ": Invalid signature = s",
                     "1 " + callback.decoder + ": failed to read message err[failure 1]",
                     line(1, "failed to read message err[failure 2]")}));
    expectNothingQueued("failed");
}

TEST_P(EachCallback, goesOnWithTheNextMessageAfterAFailure)
{
    throwAtTheNextLine([] { throw 1; });
    call(test_message::methodError());
    call(addedMessage(callback.path, "any.Other"));
    EXPECT_EQ(takeRecords(callback.queue).size(), 1U);
}

/** What the event loop does at its n-th turn, from 1, in place of waiting. */
std::function<int(int turn)> eventLoop;
int turns = 0;
std::uint64_t lastTimeout = 0;

class SubscribeToEvents : public FreshStore
{
  protected:
    SubscribeToEvents()
    {
        turns = 0;
        eventLoop = [](int) -> int { throw 1; };
    }

    ~SubscribeToEvents() override
    {
        // The matches keep the connection, and the listener serves until it is closed.
        eventMatches.clear();
    }

    void listen(std::size_t accepted = 100)
    {
        bus = std::make_unique<RuleListener>(accepted);
    }

    /** On a thread of its own, so on a connection of its own. */
    static void subscribe()
    {
        std::thread(::SubscribeToEvents).join();
    }

    std::unique_ptr<RuleListener> bus;
};

const Strings allRules{
    "type='signal',sender='xyz.openbmc_project.Smbios.MDRV2',member='InterfacesAdded',"
    "path='/xyz/openbmc_project/inventory',interface='org.freedesktop.DBus.ObjectManager',",
    "type='signal',sender='xyz.openbmc_project.Smbios.MDRV2',member='InterfacesRemoved',"
    "path='/xyz/openbmc_project/inventory',interface='org.freedesktop.DBus.ObjectManager',",
    "type='signal',sender='xyz.openbmc_project.Smbios.MDRV2',member='PropertiesChanged',"
    "interface='org.freedesktop.DBus.Properties',",
    "type='signal',sender='com.vexa.bmc.kovd',member='InterfacesAdded',"
    "path='/xyz/openbmc_project/inventory/system/board',"
    "interface='org.freedesktop.DBus.ObjectManager',",
    "type='signal',sender='com.vexa.bmc.kovd',member='InterfacesRemoved',"
    "path='/xyz/openbmc_project/inventory/system/board',"
    "interface='org.freedesktop.DBus.ObjectManager',",
    "type='signal',sender='com.vexa.bmc.kovd',member='PropertiesChanged',"
    "interface='org.freedesktop.DBus.Properties',",
    "type='signal',sender='com.vexa.bmc.kovd',member='InterfacesAdded',"
    "path='/xyz/openbmc_project/inventory/system/chassis',"
    "interface='org.freedesktop.DBus.ObjectManager',",
    "type='signal',sender='com.vexa.bmc.kovd',member='InterfacesRemoved',"
    "path='/xyz/openbmc_project/inventory/system/chassis',"
    "interface='org.freedesktop.DBus.ObjectManager',",
};

TEST_F(SubscribeToEvents, installsTheEightMatchesInOrderBeforeTheLoopRuns)
{
    listen();
    Strings rulesAtFirstTurn;
    eventLoop = [&](int) -> int
    {
        rulesAtFirstTurn = bus->rules();
        throw std::runtime_error("enough");
    };
    subscribe();
    EXPECT_EQ(rulesAtFirstTurn, allRules);
    EXPECT_EQ(bus->rules(), allRules);
    EXPECT_EQ(eventMatches.size(), 8U);
}

TEST_F(SubscribeToEvents, runsTheLoopForEverWithoutATimeout)
{
    listen();
    eventLoop = [](int turn) { return turn < 100 ? 1 : throw std::runtime_error("enough"); };
    subscribe();
    EXPECT_EQ(turns, 100);
    EXPECT_EQ(lastTimeout, std::numeric_limits<std::uint64_t>::max());
}

TEST_F(SubscribeToEvents, endsWithTheTextOfAStandardException)
{
    listen();
    eventLoop = [](int) -> int { throw std::runtime_error("enough"); };
    subscribe();
    EXPECT_EQ(utilLines(), Lines{"1 SubscribeToEvents: exception: enough"});
    EXPECT_EQ(eventMatches.size(), 8U);
}

TEST_F(SubscribeToEvents, endsWithAFixedTextForAnythingElse)
{
    listen();
    eventLoop = [](int) -> int { throw 1; };
    subscribe();
    EXPECT_EQ(utilLines(), Lines{"1 SubscribeToEvents: exception occured!"});
    EXPECT_EQ(eventMatches.size(), 8U);
}

TEST_F(SubscribeToEvents, keepsTheMatchesMadeBeforeAFailureAndNeverRunsTheLoop)
{
    listen(2);
    subscribe();
    EXPECT_EQ(bus->rules(), Strings(allRules.begin(), allRules.begin() + 3));
    EXPECT_EQ(eventMatches.size(), 2U);
    EXPECT_EQ(turns, 0);
    const Lines lines = utilLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].find("1 SubscribeToEvents: exception: "), 0U) << lines[0];
}

TEST_F(SubscribeToEvents, endsWithALineWhenThereIsNoBus)
{
    ASSERT_EQ(setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1), 0);
    subscribe();
    const Lines lines = utilLines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].find("1 SubscribeToEvents: exception: "), 0U) << lines[0];
    EXPECT_NE(lines[0].find("No such file or directory"), std::string::npos) << lines[0];
    EXPECT_TRUE(eventMatches.empty());
    EXPECT_EQ(turns, 0);
    EXPECT_FALSE(takeRecoveryRequest());
}

} // namespace

/** In place of libsystemd's: no test waits for an event. */
int sd_event_run(sd_event*, std::uint64_t timeout)
{
    lastTimeout = timeout;
    ++turns;
    return eventLoop(turns);
}
