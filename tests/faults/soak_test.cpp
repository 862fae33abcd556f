// A random fault every two seconds, and after each of them the question whether the daemon still
// does its work; at the end, whether it has kept memory or descriptors.
//
// HWINV_MINUTES says how long, HWINV_SEED which faults. scripts/soak runs it.
//
// What asks here is a slot of the platform that matches a stored slot of the SMBIOS service. There
// are a few of them, used in turns, so that the daemon's memory is of the same size at the end: its
// SMBIOS slot goes and comes back, and the platform's names something else until it is announced.

#include "faults/kit/fault_test.hpp"
#include "faults/kit/process.hpp"

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto betweenFaults = 2s;
constexpr unsigned canaries = 16;
constexpr auto setTimeout = 1s;
constexpr unsigned elsewhere = 20'000; // no SMBIOS slot has such a number

double numberFromEnvironment(const char* name, double otherwise)
{
    const char* text = std::getenv(name);
    return text == nullptr ? otherwise : std::stod(text);
}

class Soak : public kit::FaultTest
{
  protected:
    struct Fault
    {
        const char* name;
        std::function<void()> inject;
        std::chrono::milliseconds later{}; // the time-out of the call that it makes hang
    };

    void start()
    {
        for (unsigned canary = 0; canary < canaries; ++canary)
        {
            const unsigned number = kit::firstCanary + canary;
            inventory.kovd.insert(otherSlot(number));
        }
        publishWithCanaries(inventory, canaries);
        startSettled({}, {"SYSTEMD_BUS_TIMEOUT=1s"}, 1);
        for (unsigned canary = 0; canary < canaries; ++canary)
        {
            askOne({});
        }
        forgetCanaries();
        memory = idleMemory();
        noteDescriptors();
    }

    /** The canary's slot while it matches nothing. */
    static sim::Object otherSlot(unsigned number)
    {
        return {sim::kovdSlotPath(number), sim::makeKovdSlot(number + elsewhere).second};
    }

    /** Makes the next canary ready: known to both services, and not paired. */
    unsigned nextCanary()
    {
        const unsigned number = kit::firstCanary + asked % canaries;
        smbios.removeObject(sim::smbiosSlotPath(number));
        settleUnderUniqueName();
        const auto other = otherSlot(number);
        kovd.addObject(other.first, other.second);
        settleUnderUniqueName();
        const auto slot = sim::makeSmbiosSlot(number);
        smbios.addObject(slot.first, slot.second);
        settleUnderUniqueName();
        return number;
    }

    /** Announces a canary; false when its list does not come in time, once and right. */
    bool announce(unsigned number, std::chrono::milliseconds later)
    {
        const auto slot = sim::makeKovdSlot(number);
        const std::string& path = slot.first;
        const std::size_t before = kovd.journal().setsOn(path).size();
        const auto announced = Clock::now();
        kovd.addObject(path, slot.second);
        const bool arrived = kovd.journal().waitUntil(
            [&] { return kovd.journal().setsOn(path).size() > before; }, 1s + later);
        slowest = std::max<std::chrono::nanoseconds>(slowest, Clock::now() - announced - later);
        settleUnderUniqueName();
        const auto sets = kovd.journal().setsOn(path);
        return arrived && sets.size() == before + 1 && sets.back().accepted &&
               sim::toAssociations(sets.back().value) == kit::inSlot(sim::smbiosSlotPath(number));
    }

    void askOne(const Fault& fault)
    {
        const unsigned number = nextCanary();
        if (fault.inject)
        {
            fault.inject();
        }
        const bool right = announce(number, fault.later);
        ++asked;
        answered += right ? 1 : 0;
        EXPECT_TRUE(right) << "after: " << (fault.name == nullptr ? "nothing" : fault.name) << "; "
                           << kit::tailOf(daemon().log());
        kovd.journal().clear();
    }

    /** From here on they count. */
    void forgetCanaries()
    {
        asked = 0;
        answered = 0;
        slowest = {};
    }

    /** Resident memory, in KiB, when the daemon has had nothing to do for a while. */
    long idleMemory()
    {
        EXPECT_FALSE(daemon().waitForEnd(betweenFaults).has_value());
        return kit::statusNumber(daemon().pid(), "VmRSS");
    }

    void tellMinute(int minute)
    {
        std::cout << "minute " << minute << ": " << answered << " of " << asked
                  << " canaries, the slowest after " << kit::inMilliseconds(slowest) << "; "
                  << kit::statusNumber(daemon().pid(), "VmRSS") - memory
                  << " KiB more than at the start, " << kit::descriptorsOf(daemon().pid()).size()
                  << " descriptors" << std::endl;
    }

    std::vector<Fault> faults();
    void writeOnce();
    void restart(sim::Service& service);
    void stopForAMoment();
    void forge(unsigned count);
    void callOften(unsigned count);
    void takeName();

    sim::InventoryCapture inventory = sim::makeInventory(4, 2);
    unsigned asked = 0;
    unsigned answered = 0;
    std::chrono::nanoseconds slowest{};
    long memory = 0;
};

// ---- the faults ----

/** A device is written whenever it appears. */
void Soak::writeOnce()
{
    const auto device = sim::makeKovdDevice(1, 1);
    kovd.addObject(device.first, device.second);
}

void Soak::restart(sim::Service& service)
{
    service.stop();
    service.start();
}

void Soak::stopForAMoment()
{
    daemon().signal(SIGSTOP);
    smbios.perform(
        [](sim::Player& player)
        {
            for (int i = 0; i < 500; ++i)
            {
                player.changeProperties(sim::smbiosSlotPath(2), sim::names::smbiosSlot,
                                        {{"CurrentUsage", sim::Value::byte(3)}});
            }
        });
    daemon().waitForEnd(200ms);
    daemon().signal(SIGCONT);
}

/** Signals to the daemon alone, from somebody who is none of the services. */
void Soak::forge(unsigned count)
{
    const sim::Connection stranger = sim::connectTo(bus.address());
    for (unsigned number = 0; number < count; ++number)
    {
        sd_bus_message* raw = nullptr;
        sim::check(sd_bus_message_new_signal(stranger.get(), &raw, sim::names::boardRoot,
                                             sim::names::objectManager, "InterfacesAdded"),
                   "make a signal");
        const sim::Message signal(raw);
        sim::check(sd_bus_message_append(raw, "s", "forged"), "write a signal");
        sim::check(sd_bus_message_set_destination(raw, uniqueName().c_str()), "address a signal");
        sim::check(sd_bus_send(stranger.get(), raw, nullptr), "send a signal");
    }
    sim::check(sd_bus_flush(stranger.get()), "empty the queue to the bus");
}

void Soak::callOften(unsigned count)
{
    const sim::Connection caller = sim::connectTo(bus.address());
    for (unsigned number = 0; number < count; ++number)
    {
        sim::check(sd_bus_call_method_async(caller.get(), nullptr, uniqueName().c_str(), "/",
                                            "an.Interface", "Call", nullptr, nullptr, "s", "text"),
                   "make a call");
    }
    sim::check(sd_bus_flush(caller.get()), "empty the queue to the bus");
}

void Soak::takeName()
{
    const sim::Connection rival = sim::connectTo(bus.address());
    sim::check(sd_bus_request_name(rival.get(), rig::daemonName, SD_BUS_NAME_REPLACE_EXISTING),
               "take the name");
}

sim::Signal toBoard(const std::string& signature, const sim::Json& body)
{
    return {sim::names::boardRoot, sim::names::objectManager, "InterfacesAdded", signature, body};
}

sim::Signal ofSize(std::size_t bytes)
{
    const sim::Json blob{{"type", "s"}, {"data", std::string(bytes, 'x')}};
    return toBoard("oa{sa{sv}}",
                   {sim::kovdSlotPath(7000), {{sim::names::kovdSlot, {{"Blob", blob}}}}});
}

std::vector<Soak::Fault> Soak::faults()
{
    const auto refused = [](const std::string& member) {
        return sim::Fault{member, "", sim::FailWith{sim::names::failed}, 1};
    };
    const auto unreadable = [this]
    {
        smbios.addObject(sim::smbiosSlotPath(8000),
                         {{sim::names::smbiosSlot, {{"SlotID", sim::Value::uint32(1)}}}});
        smbios.removeObject(sim::smbiosSlotPath(8000));
    };
    return {
        {"a write is refused", [=, this] { kovd.addFault(refused("Set")), writeOnce(); }},
        {"a write is never answered",
         [this] {
             kovd.addFault({"Set", "", sim::Hang{}, 1}), writeOnce();
         },
         setTimeout},
        {"a write is answered too late",
         [this] {
             kovd.addFault({"Set", "", sim::Delay{1500ms}, 1}), writeOnce();
         },
         setTimeout},
        {"an object that cannot be read asks for a resync", unreadable},
        {"the next resync finds an SMBIOS service that refuses",
         [=, this] { smbios.addFault(refused("GetManagedObjects")), unreadable(); }},
        {"the next resync finds a platform that refuses",
         [=, this] { kovd.addFault(refused("GetManagedObjects")), unreadable(); }},
        {"the SMBIOS service restarts", [this] { restart(smbios); }},
        {"the platform restarts", [this] { restart(kovd); }},
        {"the daemon is stopped for a moment", [this] { stopForAMoment(); }},
        {"signals with wrong bodies",
         [this]
         {
             kovd.emitSignal(toBoard("s", {"text"}));
             kovd.emitSignal(toBoard("oas", {"/a", {"b.c"}}));
             kovd.emitSignal(toBoard("", sim::Json::array()));
         }},
        {"a signal of eight megabytes", [this] { kovd.emitSignal(ofSize(8 << 20)); }},
        {"two thousand signals at once",
         [this]
         {
             for (int i = 0; i < 2000; ++i)
             {
                 kovd.emitSignal(ofSize(10));
             }
         }},
        {"forged signals", [this] { forge(500); }},
        {"calls that nobody answers", [this] { callOften(500); }},
        {"the name is taken away", [this] { takeName(); }},
    };
}

TEST_F(Soak, KeepsPairing)
{
    const double minutes = numberFromEnvironment("HWINV_MINUTES", 0.5);
    const auto seed =
        static_cast<unsigned>(numberFromEnvironment("HWINV_SEED", std::random_device()()));
    std::cout << "HWINV_SEED=" << seed << std::endl;
    std::mt19937 random(seed);
    start();
    const auto all = faults();
    std::uniform_int_distribution<std::size_t> any(0, all.size() - 1);
    const auto begun = Clock::now();
    const auto end = begun + std::chrono::duration_cast<Clock::duration>(minutes * 60s);
    int minute = 0;
    for (auto next = begun; next < end && daemon().running(); next += betweenFaults)
    {
        daemon().waitForEnd(
            std::chrono::duration_cast<std::chrono::milliseconds>(next - Clock::now()));
        askOne(all[any(random)]);
        if (Clock::now() >= begun + (minute + 1) * 60s)
        {
            tellMinute(++minute);
        }
    }
    kovd.clearFaults();
    smbios.clearFaults();
    const long grown = idleMemory() - memory;
    tellMinute(minute + 1);
    if (!kit::sanitized())
    {
        EXPECT_LE(grown, 1024) << "KiB";
    }
    // The fallback thread has ended after eight minutes.
    expectHealthy(minutes > 8.5 ? kit::threadsAfterFallback : kit::allThreads);
    const unsigned failed = asked - answered + (HasFailure() && asked == answered ? 1 : 0);
    std::cout << answered + (HasFailure() ? 0 : 1) << " passed, " << failed << " failed"
              << std::endl;
}

} // namespace
