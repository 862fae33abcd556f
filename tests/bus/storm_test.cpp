// Many signals at once, and signals while the daemon starts: none is lost.

#include "compare/differences.hpp"
#include "environment.hpp"
#include "kit/bus_test.hpp"

#include <algorithm>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace
{

using namespace std::chrono_literals;
using kit::inSlot;
using kit::Lists;
using sim::Value;

class Storm : public kit::BusTest
{
  protected:
    /** How many records a worker has taken with these words; the probes of settle() left out. */
    std::size_t taken(const std::string& worker, const std::string& words)
    {
        daemon().catchUp();
        const auto fits = [&](const rig::LogLine& line)
        {
            return line.function == worker && line.text.ends_with(words) &&
                   line.text.find("_settled_") == std::string::npos;
        };
        return daemon().log().count(fits);
    }
};

// The slow suite asks for 1,500 slots, which makes 12,000 signals; the other sizes follow.
const unsigned slots = environment::slots(200);
const unsigned cpus = 20;
const unsigned manyCpus = std::max(slots / 4, cpus);
const unsigned turns = 2 * slots;

/** The order of the tuples tells in which order the signals have come. */
Lists sorted(Lists lists)
{
    for (auto& [path, list] : lists)
    {
        std::sort(list.begin(), list.end());
    }
    return lists;
}

/** Adds all objects and changes each once; a signal for each. */
void addAndChange(sim::Player& player, const sim::Objects& objects)
{
    for (const auto& [path, interfaces] : objects)
    {
        player.addObject(path, interfaces);
        // Not a property that anybody keeps: the record is worked off and changes nothing.
        player.changeProperties(path, interfaces.begin()->first, {{"Revision", Value::byte(2)}});
    }
}

TEST_F(Storm, OfNewAndChangedObjectsLosesNoSignal)
{
    // Slots, devices, twins, processors and caches alike arrive from both services at once.
    const auto inventory = sim::makeInventory(slots, cpus);
    publish(smbios);
    publish(kovd);
    startDaemon({}, 1);
    settle();

    // From both services at the same time.
    std::thread other(
        [&]
        { smbios.perform([&](sim::Player& player) { addAndChange(player, inventory.smbios); }); });
    kovd.perform([&](sim::Player& player) { addAndChange(player, inventory.kovd); });
    other.join();
    settle();

    const std::string smbiosWorker = "processSmbiosMessagesInQueue";
    EXPECT_EQ(taken(smbiosWorker, " Add ObjPath"), inventory.smbios.size());
    EXPECT_EQ(taken(smbiosWorker, " :Object path to be updated"), inventory.smbios.size());
    EXPECT_EQ(taken("processKovdMessagesInQueue", " :Object path to be updated"),
              inventory.kovd.size());
    EXPECT_TRUE(sameEntries(lists(), kit::listsOf(slots, cpus)));
}

TEST_F(Storm, OfProcessorsAndCachesLosesNoTuple)
{
    publish(smbios);
    publish(kovd);
    startDaemon({}, 5);
    settle();
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);

    // Both workers are at the list of one processor again and again.
    std::mt19937 random(seed);
    for (unsigned cpu = 1; cpu <= manyCpus; ++cpu)
    {
        std::vector<std::pair<sim::Service*, sim::Object>> objects{
            {&smbios, sim::makeSmbiosCpu(cpu)}, {&kovd, sim::makeKovdCpu(cpu)}};
        for (unsigned level = 1; level <= 3; ++level)
        {
            objects.emplace_back(&smbios, sim::makeSmbiosCache(cpu, level));
        }
        std::shuffle(objects.begin(), objects.end(), random);
        for (const auto& [service, object] : objects)
        {
            service->addObject(object.first, object.second);
        }
    }
    settle();

    EXPECT_TRUE(sameEntries(sorted(lists()), sorted(kit::listsOf(0, manyCpus))));
}

TEST_F(Storm, OfRemovalsClearsWhatIsGone)
{
    publish(sim::makeInventory(slots, cpus));
    startDaemon({}, 1);
    settle();
    smbios.perform(
        [](sim::Player& player)
        {
            for (unsigned slot = 1; slot <= slots; slot += 2)
            {
                player.removeObject(sim::smbiosSlotPath(slot));
            }
            for (unsigned cpu = 1; cpu <= cpus; cpu += 2)
            {
                player.removeObject(sim::smbiosCpuPath(cpu));
                player.removeObject(sim::smbiosCachePath(cpu + 1, 2));
            }
        });
    settle();

    Lists expected = kit::listsOf(slots, cpus);
    for (unsigned slot = 1; slot <= slots; slot += 2)
    {
        expected.erase(sim::kovdSlotPath(slot));
    }
    for (unsigned cpu = 1; cpu <= cpus; cpu += 2)
    {
        expected.erase(sim::kovdCpuPath(cpu));
        expected[sim::kovdCpuPath(cpu + 1)] = kit::ofProcessor(cpu + 1, {1, 3});
    }
    EXPECT_TRUE(sameEntries(lists(), expected));
}

TEST_F(Storm, OnOneObjectEndsWithItsLastState)
{
    publish(sim::makeInventory(1));
    startDaemon({}, 1);
    settle();
    const auto slot = sim::makeSmbiosSlot(1);
    smbios.perform(
        [&](sim::Player& player)
        {
            for (unsigned turn = 0; turn < turns; ++turn)
            {
                player.removeObject(slot.first);
                player.addObject(slot.first, slot.second);
            }
            player.removeObject(slot.first);
        });
    settle();

    EXPECT_EQ(kovd.associationsOf(sim::kovdSlotPath(1)), sim::Associations());
    EXPECT_EQ(kovd.journal().setsOn(sim::kovdSlotPath(1)).size(), 2 * turns + 2);
}

// ---- while the daemon starts ----

class StartUpSignals : public Storm
{
  protected:
    /** Starts a daemon whose discovery waits for the SMBIOS service until `meanwhile` is over. */
    template <typename Meanwhile>
    void startWith(const Meanwhile& meanwhile)
    {
        smbios.addFault({"GetManagedObjects", "", sim::Delay{500ms}, 1});
        publish(smbios, base_.smbios);
        publish(kovd, base_.kovd);
        startDaemon();
        ASSERT_TRUE(smbios.journal().waitForCalls("GetManagedObjects", "", 1, kit::patience));
        waitUntilSubscribed();
        meanwhile();
        settle();
    }

    const sim::InventoryCapture base_ = sim::makeInventory(5, 1);

  private:
    /** Discovery is under way, so the main loop cannot answer; the decoder can. */
    void waitUntilSubscribed()
    {
        const auto answered = rig::says("GetKovdMsgData", "Invalid signature = s");
        const auto deadline = sim::Clock::now() + kit::patience;
        do
        {
            ASSERT_LT(sim::Clock::now(), deadline) << "the daemon does not listen";
            kovd.emitSignal({sim::names::chassisRoot,
                             sim::names::objectManager,
                             "InterfacesAdded",
                             "s",
                             {"hello"}});
        } while (!daemon().log().waitFor(answered, 20ms));
    }
};

TEST_F(StartUpSignals, OfNewObjectsAreFollowed)
{
    const auto more = sim::makeInventory(8);
    startWith(
        [&]
        {
            for (const auto& [path, interfaces] : more.smbios)
            {
                smbios.addObject(path, interfaces);
            }
            for (const auto& [path, interfaces] : more.kovd)
            {
                kovd.addObject(path, interfaces);
            }
        });

    // Whoever comes first, the queue or discovery: each slot has been paired.
    Lists found = lists();
    for (unsigned slot = 1; slot <= 8; ++slot)
    {
        EXPECT_EQ(found[sim::kovdSlotPath(slot)], inSlot(sim::smbiosSlotPath(slot)));
    }
}

TEST_F(StartUpSignals, OfVanishedObjectsAreFollowed)
{
    startWith(
        [&]
        {
            smbios.removeObject(sim::smbiosSlotPath(2));
            smbios.removeObject(sim::smbiosCachePath(1, 3));
        });

    // The late answer no longer lists them.
    Lists expected = kit::listsOf(5, 1);
    expected.erase(sim::kovdSlotPath(2));
    expected.erase(sim::kovdDevicePath(2, 1));
    expected.erase(sim::kovdChassisPath(2));
    expected[sim::kovdCpuPath(1)] = kit::ofProcessor(1, {1, 2});
    EXPECT_EQ(lists(), expected);
}

TEST_F(StartUpSignals, OfChangesAreFollowed)
{
    startWith(
        [&]
        {
            smbios.changeProperties(sim::smbiosSlotPath(3), sim::names::smbiosSlot,
                                    {{"SlotID", Value::uint16(77)}});
            kovd.changeProperties(sim::kovdSlotPath(3), sim::names::kovdSlot,
                                  {{"PCIeLocatorInstanceNum", Value::uint16(77)}});
        });

    EXPECT_EQ(lists(), kit::listsOf(5, 1));
}

TEST_F(StartUpSignals, OfALateServiceArePairedAtOnce)
{
    const auto inventory = sim::makeInventory(5, 2);
    publish(smbios, inventory.smbios);
    startDaemon();
    settle();
    EXPECT_EQ(times("GetAllManagedObjects", "KOVD dbus Service is not available"), 1u);
    publish(kovd);
    for (const auto& [path, interfaces] : inventory.kovd)
    {
        kovd.addObject(path, interfaces);
    }
    settle();

    EXPECT_EQ(lists(), kit::listsOf(5, 2));
}

} // namespace
