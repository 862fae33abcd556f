// The fault catalogue, section S: the two services are not there, go away, fail, or keep silent.

#include "faults/kit/fault_test.hpp"
#include "faults/kit/process.hpp"
#include "rig/backlog.hpp"

#include <array>
#include <csignal>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using kit::Lists;
using kit::Texts;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr const char* objectsCall = "GetManagedObjects";

sim::Fault hanging(const std::string& member)
{
    return {member, "", sim::Hang{}, sim::Fault::always};
}

/** Slots of both services that match each other, and nothing else. */
sim::InventoryCapture plainSlots(unsigned slots)
{
    sim::InventoryCapture inventory;
    for (unsigned slot = 1; slot <= slots; ++slot)
    {
        inventory.smbios.insert(sim::makeSmbiosSlot(slot));
        inventory.kovd.insert(sim::makeKovdSlot(slot));
    }
    return inventory;
}

class ServiceFaults : public kit::FaultTest
{
  protected:
    /** The paths of all Sets so far, in order. */
    Texts written()
    {
        Texts paths;
        for (const auto& set : kovd.journal().sets())
        {
            paths.push_back(set.path);
        }
        return paths;
    }
};

// ---- not there at the start ----

/** What there is of the services when the daemon starts. */
struct Beginning
{
    const char* name;
    bool smbios = false;
    bool kovd = false;
    bool longerNames = false;  // services whose names only begin like theirs
    bool earlySignals = false; // the platform announces its objects before it takes its name
};

void PrintTo(const Beginning& beginning, std::ostream* stream)
{
    *stream << beginning.name;
}

sim::Profile renamed(sim::Profile profile, const std::string& busName)
{
    profile.busName = busName;
    return profile;
}

class AbsentServices : public ServiceFaults, public testing::WithParamInterface<Beginning>
{
  protected:
    AbsentServices()
        : longerSmbios(bus.address(), renamed(sim::smbiosProfile(),
                                              std::string(sim::names::smbiosService) + ".extra")),
          longerKovd(bus.address(),
                     renamed(sim::kovdProfile(), std::string(sim::names::kovdService) + ".extra")),
          nameless(bus.address(), renamed(sim::kovdProfile(), "org.example.NotYetNamed"))
    {
    }

    void expectLinesOf(const Beginning& beginning)
    {
        EXPECT_EQ(times("GetAllManagedObjects", "SMBIOS service is not available"),
                  beginning.smbios ? 0u : 1u);
        EXPECT_EQ(times("GetAllManagedObjects", "KOVD dbus Service is not available"),
                  beginning.kovd ? 0u : 1u);
        EXPECT_EQ(times("GetManagedObjsSMBIOS", "SMBIOS service is available"),
                  beginning.smbios ? 1u : 0u);
    }

    const sim::InventoryCapture inventory = sim::makeInventory(2, 1);
    sim::Service longerSmbios;
    sim::Service longerKovd;
    sim::Service nameless;
};

TEST_P(AbsentServices, S1ServicesMissingAtTheStart)
{
    constexpr int warp = 10; // what a busy machine adds counts ten times only
    const Beginning& beginning = GetParam();
    beginning.smbios ? publish(smbios, inventory.smbios) : void();
    beginning.kovd ? publish(kovd, inventory.kovd) : void();
    if (beginning.longerNames)
    {
        publish(longerSmbios, inventory.smbios);
        publish(longerKovd, inventory.kovd);
    }
    const auto begun = Clock::now();
    startWith({.warp = warp});
    settle();
    const auto started = Clock::now();
    expectLinesOf(beginning);
    if (beginning.earlySignals)
    {
        publish(nameless);
        for (const auto& [path, interfaces] : inventory.kovd)
        {
            nameless.addObject(path, interfaces);
        }
    }
    publish(inventory); // and nobody signals it

    ASSERT_TRUE(kovd.journal().waitForSets(kit::listsOf(2, 1).size(), kit::patience));
    const auto first = kovd.journal().sets().front().time;
    EXPECT_GE(Seconds(first - begun).count() * warp, 185.0);
    EXPECT_LE(Seconds(first - started).count() * warp, kit::sanitized() ? 190.0 : 186.0);
    kit::measured("written after " + std::to_string(Seconds(first - started).count() * warp) +
                  " s of daemon time");
    settle();
    EXPECT_EQ(lists(), kit::listsOf(2, 1));
    // Of a platform that was known before, devices and twins are written when their slots pair and
    // when they are read again.
    EXPECT_EQ(kovd.journal().setCount(), kit::listsOf(2, 1).size() + (beginning.kovd ? 4u : 0u));
    EXPECT_EQ(longerKovd.journal().calls() + longerSmbios.journal().calls(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Of, AbsentServices,
                         testing::Values(Beginning{"Nothing"},
                                         Beginning{.name = "SmbiosOnly", .smbios = true},
                                         Beginning{.name = "PlatformOnly", .kovd = true},
                                         Beginning{.name = "LongerNamesOnly", .longerNames = true},
                                         Beginning{.name = "SmbiosAndEarlySignals",
                                                   .smbios = true,
                                                   .earlySignals = true}),
                         [](const auto& beginning) { return beginning.param.name; });

// ---- gone, or failing, while the daemon reads them ----

TEST_F(ServiceFaults, S2SmbiosServiceDiesDuringItsReply)
{
    smbios.addFault({objectsCall, "", sim::Hang{}, 1});
    publishWithCanaries(sim::makeInventory(2, 1));
    startWith({.warp = 60});
    ASSERT_TRUE(smbios.journal().waitForCalls(objectsCall, "", 1, kit::patience));
    smbios.stop();
    settle();
    noteState();

    EXPECT_EQ(linesWith("exception: "), 1u) << kit::tailOf(daemon().log());
    EXPECT_TRUE(logged("GetManagedObjsSMBIOS")
                    .back()
                    .starts_with("exception: sd_bus_call: org.freedesktop.DBus.Error.NoReply: "));
    smbios.start();
    resync();
    EXPECT_EQ(lists(), kit::listsOf(2, 1));
    expectCanary();
    expectHealthy();
}

TEST_F(ServiceFaults, S2PlatformDiesBetweenBoardAndChassis)
{
    // The observer's call comes after the daemon's, so its answer is the later one.
    kovd.addFault({objectsCall, sim::names::boardRoot, sim::Delay{300ms}, 2});
    publishWithCanaries(sim::makeInventory(2, 1));
    startWith({.warp = 60}, {"SYSTEMD_BUS_TIMEOUT=1h"});
    ASSERT_TRUE(kovd.journal().waitForCalls(objectsCall, sim::names::boardRoot, 1, kit::patience));
    daemon().signal(SIGSTOP);
    observer.managedObjects(sim::names::kovdService, sim::names::boardRoot);
    kovd.stop();
    daemon().signal(SIGCONT);
    settle();
    noteState();

    EXPECT_EQ(linesWith("exception: "), 1u) << kit::tailOf(daemon().log());
    EXPECT_EQ(times("GetManagedObjsKOVD", "KOVD object path = " + sim::kovdSlotPath(2)), 1u);
    EXPECT_EQ(kovd.journal().calls(objectsCall, sim::names::chassisRoot), 0u);
    kovd.start();
    resync();
    EXPECT_EQ(times("GetManagedObjsKOVD", "KOVD object path = " + sim::kovdChassisPath(2)), 1u);
    expectCanary();
    expectHealthy();
}

TEST_F(ServiceFaults, S3ErrorsInPlaceOfTheObjects)
{
    const std::array<std::string, 3> errors{
        "org.freedesktop.DBus.Error.AccessDenied",
        "org.freedesktop.DBus.Error.UnknownObject",
        "org.example." + std::string(255 - std::string("org.example.").size(), 'E'),
    };
    publishWithCanaries(sim::makeInventory(2, 1), errors.size());
    for (const std::string& error : errors)
    {
        SCOPED_TRACE(error);
        smbios.addFault({objectsCall, "", sim::FailWith{error}, 1});
        kovd.addFault({objectsCall, sim::names::boardRoot, sim::FailWith{error}, 1});
        startWith({.warp = 60}, {"SYSTEMD_BUS_TIMEOUT=1h"});
        // The bus may not have noticed yet that the daemon before is gone.
        ASSERT_TRUE(observer.waitForOwner(rig::daemonName, kit::patience, uniqueName()));
        settle();
        noteState();

        EXPECT_EQ(linesWith("exception: sd_bus_call: " + error + ": failed on request"), 2u)
            << kit::tailOf(daemon().log());
        EXPECT_EQ(linesWith("exception: "), 2u) << kit::tailOf(daemon().log());
        EXPECT_EQ(times("GetManagedObjsKOVD", "KOVD chassis object reply received"), 0u);
        resync();
        EXPECT_EQ(lists(), kit::listsOf(2, 1));
        expectHealthy();
    }
}

TEST_F(ServiceFaults, S4BothServicesSilentAtTheStart)
{
    const auto inventory = plainSlots(5);
    smbios.addFault(hanging(objectsCall));
    kovd.addFault(hanging(objectsCall));
    publishWithCanaries({});
    const auto begun = Clock::now();
    startWith({}, {kit::shortTimeout});
    ASSERT_TRUE(smbios.journal().waitForCalls(objectsCall, "", 1, kit::patience));
    waitUntilSubscribed();
    for (const auto& [path, interfaces] : inventory.smbios)
    {
        smbios.addObject(path, interfaces);
    }
    for (const auto& [path, interfaces] : inventory.kovd)
    {
        kovd.addObject(path, interfaces);
    }
    observer.ping(rig::daemonName);
    const auto reached = Clock::now() - begun;
    EXPECT_LE(reached, kit::allowed(5s));
    kit::measured("main loop after " + kit::inMilliseconds(reached));
    settle();
    noteState();

    EXPECT_EQ(linesWith(": Connection timed out"), 2u);
    EXPECT_EQ(kovd.journal().setCount(), inventory.kovd.size());
    smbios.clearFaults();
    kovd.clearFaults();
    Lists expected;
    for (unsigned slot = 1; slot <= inventory.kovd.size(); ++slot)
    {
        expected[sim::kovdSlotPath(slot)] = kit::inSlot(sim::smbiosSlotPath(slot));
    }
    EXPECT_EQ(lists(), expected);
    expectHealthy();
}

// ---- writes that fail ----

constexpr unsigned lateUnits = 20;
constexpr auto setTimeout = 500ms;

class LateSets : public ServiceFaults
{
  protected:
    void startWithLateSets()
    {
        kovd.addFault({"Set", "", sim::Delay{3 * setTimeout}, lateUnits});
        publishWithCanaries(plainSlots(lateUnits));
        startWith({}, {"SYSTEMD_BUS_TIMEOUT=500ms"});
        for (unsigned slot = 1; slot <= lateUnits; ++slot)
        {
            inOrder.push_back(sim::kovdSlotPath(slot));
        }
    }

    Texts inOrder;
};

TEST_F(LateSets, S5TwentySetsAnsweredTooLate)
{
    startWithLateSets();
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", "", lateUnits, kit::patience));
    ASSERT_TRUE(daemon().log().waitFor(
        [](const rig::LogLine& line)
        { return line.text.find("exception in a unit of work: ") != std::string::npos; },
        kit::patience, 0, lateUnits));
    noteState();
    // The answers to the last three are still to come.
    ASSERT_LT(kovd.journal().setCount(), lateUnits);
    const auto slot = sim::makeKovdSlot(kit::firstCanary);
    kovd.addObject(slot.first, slot.second);
    inOrder.push_back(slot.first);
    ASSERT_TRUE(kovd.journal().waitForSets(lateUnits + 1, kit::patience));
    settle();

    Texts came = written();
    // The late ones are carried out when they are due, the prompt one at once.
    std::erase(came, slot.first);
    came.push_back(slot.first);
    EXPECT_EQ(came, inOrder);
    EXPECT_EQ(failedUnits(), lateUnits);
    EXPECT_EQ(kovd.associationsOf(slot.first), kit::inSlot(sim::smbiosSlotPath(kit::firstCanary)));
    skipCanary();
    expectCanary();
    expectHealthy();
}

TEST_F(LateSets, S5InterruptBetweenTwoLateSets)
{
    startWithLateSets();
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", "", 3, kit::patience));
    noteState();
    const auto begun = Clock::now();
    interrupt();
    const auto took = Clock::now() - begun;
    EXPECT_LE(took, kit::allowed(setTimeout + 500ms));
    kit::measured("interrupt handled after " + kit::inMilliseconds(took));
    ASSERT_TRUE(kovd.journal().waitForSets(lateUnits, kit::patience));

    EXPECT_EQ(written(), inOrder);
    EXPECT_NO_THROW(observer.ping(rig::daemonName));
    EXPECT_EQ(failedUnits(), lateUnits);
    expectHealthy(kit::threadsAfterInterrupt);
}

TEST_F(ServiceFaults, S6SetsRefusedAndThenAccepted)
{
    constexpr unsigned slots = 3;
    kovd.addFault({"Set", "", sim::FailWith{sim::names::failed}, slots});
    publishWithCanaries(plainSlots(slots));
    startSettled({.warp = 60}, {"SYSTEMD_BUS_TIMEOUT=1h"});
    EXPECT_EQ(kovd.journal().calls("Set"), slots);
    EXPECT_EQ(failedUnits(), slots);

    const std::string already = "SMBIOS object already associated with KOVD object: ";
    const std::size_t before = linesWith(already);
    resync();
    EXPECT_EQ(linesWith(already), before + slots);
    EXPECT_EQ(kovd.journal().calls("Set"), slots) << "a failed write is not repeated";
    EXPECT_EQ(lists(), Lists{});
    expectCanary();
    expectHealthy();
}

// ---- coming back, or giving way ----

TEST_F(ServiceFaults, S7PlatformRestartsAfterTheFallbacks)
{
    auto inventory = sim::makeInventory(3, 1);
    inventory.smbios.insert(sim::makeSmbiosSlot(4));
    publishWithCanaries(inventory);
    startSettled({.warp = 60}, {"SYSTEMD_BUS_TIMEOUT=1h"});
    ASSERT_TRUE(waitForLine("startDelayedFallbackResync",
                            "Fallback resync thread completed all 2 resync triggers."));
    ASSERT_TRUE(
        waitForLine("startRecovery", "Recovery: resync completed. Entering cool-down...", 2));
    settle();
    kovd.journal().clear();
    kovd.stop();
    kovd.load({});
    kovd.start();
    const std::vector<sim::Object> announced{
        sim::makeKovdSlot(1),      sim::makeKovdDevice(1, 1), sim::makeKovdChassisDevice(1),
        sim::makeKovdSlot(2),      sim::makeKovdCpu(1),       sim::makeKovdSlot(4),
        sim::makeKovdDevice(4, 1),
    };
    for (const auto& [path, interfaces] : announced)
    {
        kovd.addObject(path, interfaces);
    }
    settle();

    // Devices and twins have no pair of their own, so theirs are written whenever they appear.
    EXPECT_EQ(written(), (Texts{sim::kovdDevicePath(1, 1), sim::kovdChassisPath(1),
                                sim::kovdSlotPath(4), sim::kovdDevicePath(4, 1)}));
    kovd.journal().clear();
    // The third slot has not come back, yet its pair is still there.
    smbios.removeObject(sim::smbiosSlotPath(3));
    settle();
    EXPECT_EQ(written(), Texts{sim::kovdSlotPath(3)});
    expectCanary();
    expectHealthy(kit::threadsAfterFallback);
}

TEST_F(ServiceFaults, S8FiftyThousandPlatformObjects)
{
    constexpr unsigned slots = 32;
    constexpr unsigned others = 50'000 - slots;
    auto inventory = plainSlots(slots);
    // Numbers that no SMBIOS slot has, and no canary.
    for (unsigned slot = 10'001; slot <= 10'000 + others; ++slot)
    {
        inventory.kovd.insert(sim::makeKovdSlot(slot));
    }
    publishWithCanaries(inventory);
    const auto begun = Clock::now();
    startWith({}, {"SYSTEMD_BUS_TIMEOUT=5min"}, 1);
    observer.waitForOwner(rig::daemonName, kit::patience);
    ASSERT_TRUE(waitForThreads());
    const auto whole = Clock::now() - begun;
    const auto own = kit::firstThreadOf(daemon().pid());
    ASSERT_TRUE(kovd.journal().waitForSets(slots, kit::patience));
    settle();
    noteState();
    const long peak = kit::statusNumber(daemon().pid(), "VmHWM");
    kit::measured("start-up passes in " + kit::inMilliseconds(whole) +
                  ", in which the daemon ran " + kit::inMilliseconds(own.ran) + ", waited " +
                  kit::inMilliseconds(own.waited) +
                  " for a processor, and for the simulator's replies the rest");
    kit::measured(std::to_string(peak / 1024) + " MiB at the most");

    // The simulator and a busy machine have their own time.
    EXPECT_LE(own.ran, kit::allowed(10s));
    if (!kit::sanitized())
    {
        EXPECT_LE(peak, 256 * 1024);
    }
    EXPECT_EQ(kovd.journal().setCount(), slots);
    EXPECT_EQ(failedUnits(), 0u);
    expectCanary();
    expectHealthy();
}

// ---- many signals, and signals of the wrong one ----

class OneSlot : public ServiceFaults
{
  protected:
    /** 10,000 signals a second, half of them removals; the slot is gone at the end. */
    void emitFor(std::chrono::seconds duration, sim::Service& service, const sim::Object& slot)
    {
        constexpr unsigned inOneGo = 50;
        constexpr auto between = 5ms;
        unsigned sent = 1;
        const auto begun = Clock::now();
        while (Clock::now() < begun + duration)
        {
            const auto next = Clock::now() + between;
            service.perform(
                [&](sim::Player& player)
                {
                    for (unsigned i = 0; i < inOneGo / 2; ++i)
                    {
                        player.removeObject(slot.first);
                        player.addObject(slot.first, slot.second);
                    }
                });
            sent += inOneGo;
            std::this_thread::sleep_until(next); // the pace is the fault
        }
        service.removeObject(slot.first);
        kit::measured(std::to_string(sent) + " signals in " +
                      kit::inMilliseconds(Clock::now() - begun));
    }

    /** The worker says so when it comes to a signal that is sent now. */
    void expectQueueEmptySoon(sim::Service& service, const sim::Object& slot)
    {
        const auto ended = Clock::now();
        const auto worked = [&](const rig::LogLine& line)
        { return line.text == slot.first + " :Object path to be updated"; };
        service.emitSignal({slot.first,
                            sim::names::properties,
                            "PropertiesChanged",
                            "sa{sv}as",
                            {slot.second.begin()->first, sim::Json::object(), sim::Json::array()}});
        ASSERT_TRUE(daemon().log().waitFor(worked, kit::patience));
        const auto took = Clock::now() - ended;
        EXPECT_LE(took, kit::allowed(5s));
        kit::measured("queue empty " + kit::inMilliseconds(took) + " later");
    }

    /** Waits until the main thread has written everything, however long that takes. */
    void waitForWrites()
    {
        const auto from = Clock::now();
        std::size_t before = 0;
        while (rig::hasBacklog(daemon().pid()))
        {
            // Each minute brings further writes, or there will be none.
            const std::size_t now = kovd.journal().setCount();
            ASSERT_TRUE(before == 0 || now > before);
            before = now;
            const auto minute = Clock::now() + 60s;
            kovd.journal().waitUntil(
                [&] { return !rig::hasBacklog(daemon().pid()) || Clock::now() > minute; }, 60s);
        }
        kit::measured("all written " + kit::inMilliseconds(Clock::now() - from) + " later");
    }
};

TEST_F(OneSlot, S11TenThousandSignalsASecondForOnePlatformSlot)
{
    publishWithCanaries(plainSlots(1));
    startSettled({}, {}, 1);
    const auto slot = sim::makeKovdSlot(1);
    emitFor(30s, kovd, slot);
    kovd.addObject(slot.first, slot.second);
    expectQueueEmptySoon(kovd, slot);
    settle();

    // The pair was made before; a slot that comes back is not written again.
    EXPECT_EQ(kovd.journal().setCount(), 1u);
    EXPECT_EQ(lists(), Lists{});
    expectCanary();
    expectHealthy();
}

TEST_F(OneSlot, S11TenThousandSignalsASecondForOneSmbiosSlot)
{
    publishWithCanaries(plainSlots(1));
    startSettled({}, {}, 1);
    const auto slot = sim::makeSmbiosSlot(1);
    emitFor(5s, smbios, slot);
    expectQueueEmptySoon(smbios, slot);
    waitForWrites();
    settle();
    EXPECT_EQ(kovd.associationsOf(sim::kovdSlotPath(1)), sim::Associations{});

    smbios.addObject(slot.first, slot.second);
    settle();
    EXPECT_EQ(kovd.associationsOf(sim::kovdSlotPath(1)), kit::inSlot(slot.first));
    expectCanary();
    expectHealthy();
}

/** Somebody who has the platform's name, or had it. */
class Owner
{
  public:
    Owner(const std::string& address, std::uint64_t flags) : bus_(sim::connectTo(address))
    {
        sim::check(sd_bus_request_name(bus_.get(), sim::names::kovdService, flags),
                   "take the platform's name");
    }

    /** Signals that a decoder answers with a line. Returns when the bus has dealt with them. */
    void emit(unsigned count, const std::string& signature)
    {
        for (unsigned number = 0; number < count; ++number)
        {
            sd_bus_message* raw = nullptr;
            sim::check(sd_bus_message_new_signal(bus_.get(), &raw, sim::names::boardRoot,
                                                 sim::names::objectManager, "InterfacesAdded"),
                       "make a signal");
            const sim::Message signal(raw);
            sim::check(signature == "s" ? sd_bus_message_append(raw, "s", "text")
                                        : sd_bus_message_append(raw, "u", 1U),
                       "write a signal");
            sim::check(sd_bus_send(bus_.get(), raw, nullptr), "send a signal");
        }
        sim::check(sd_bus_call_method(bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                      "org.freedesktop.DBus", "GetId", nullptr, nullptr, nullptr),
                   "ask the bus");
    }

  private:
    sim::Connection bus_;
};

TEST_F(ServiceFaults, S12FormerOwnerOfThePlatformsNameGoesOnEmitting)
{
    constexpr unsigned forged = 1000;
    publishWithCanaries({});
    kovd.stop();
    startSettled();
    const auto fromFormer = rig::says("GetKovdMsgData", "Invalid signature = s");
    {
        Owner former(bus.address(), SD_BUS_NAME_ALLOW_REPLACEMENT);
        former.emit(1, "s");
        ASSERT_TRUE(daemon().log().waitFor(fromFormer, kit::patience));
        Owner next(bus.address(), SD_BUS_NAME_REPLACE_EXISTING);
        former.emit(forged, "s");
        next.emit(1, "u");
        ASSERT_TRUE(waitForLine("GetKovdMsgData", "Invalid signature = u"));
    }
    settle();
    const std::size_t received = times("GetKovdMsgData", "Invalid signature = s") - 1;
    EXPECT_EQ(received, 0u);
    kit::measured(std::to_string(received) + " of 1000 signals of the former owner received");
    kovd.start();
    expectCanary();
    expectHealthy();
}

} // namespace
