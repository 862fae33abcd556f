// Memory that a burst took and freed is given back when the daemon has fallen idle.

#include "environment.hpp"
#include "kit/bus_test.hpp"

#include <fstream>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/** What may stay behind, in KiB. */
constexpr long tolerance = 1024;

/** The daemon gives back 0.3 s after its last work. The rest is for a busy machine. */
constexpr auto givenBackWithin = 5s;

constexpr auto betweenLooks = 10ms;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool sanitized = true;
#elif defined(__has_feature)
constexpr bool sanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool sanitized = false;
#endif

class Memory : public kit::BusTest
{
  protected:
    void SetUp() override
    {
        if (sanitized)
        {
            GTEST_SKIP() << "a sanitizer's heap gives nothing back";
        }
        publish(sim::makeInventory(20, 2));
        startDaemon({}, 1);
        settle();
        if (daemon().emulated())
        {
            GTEST_SKIP() << "an emulator keeps memory of its own in the same process";
        }
        before_ = settledMemory();
    }

    /** What the daemon has for itself alone, in KiB. */
    long privateMemory()
    {
        std::ifstream rollup("/proc/" + std::to_string(daemon().pid()) + "/smaps_rollup");
        const std::string wanted = "Private_Dirty:";
        for (std::string line; std::getline(rollup, line);)
        {
            if (line.starts_with(wanted))
            {
                return std::stol(line.substr(wanted.size()));
            }
        }
        throw sim::Error("the kernel does not tell the daemon's memory");
    }

    /** As above; returns when it has not changed for longer than the daemon waits. */
    long settledMemory()
    {
        const auto deadline = Clock::now() + kit::patience;
        long memory = privateMemory();
        for (auto since = Clock::now(); Clock::now() < deadline && Clock::now() - since < 500ms;)
        {
            std::this_thread::sleep_for(betweenLooks); // the kernel tells nobody of a page
            if (const long now = privateMemory(); now != memory)
            {
                memory = now;
                since = Clock::now();
            }
        }
        return memory;
    }

    void expectGivenBack()
    {
        const auto deadline = Clock::now() + givenBackWithin;
        long memory = privateMemory();
        while (memory > before_ + tolerance && Clock::now() < deadline)
        {
            std::this_thread::sleep_for(betweenLooks); // likewise
            memory = privateMemory();
        }
        EXPECT_LE(memory, before_ + tolerance) << "it was " << before_ << " KiB before";
    }

    /** An object that has so many properties that nobody keeps: about 100 bytes of message each. */
    void announce(const std::string& path, unsigned properties)
    {
        sim::Json kept = sim::Json::object();
        for (unsigned i = 0; i < properties; ++i)
        {
            kept["Property" + std::to_string(i)] = {{"type", "s"}, {"data", std::string(64, 'x')}};
        }
        smbios.emitSignal({sim::names::smbiosRoot,
                           sim::names::objectManager,
                           "InterfacesAdded",
                           "oa{sa{sv}}",
                           {path, {{sim::names::smbiosSlot, std::move(kept)}}}});
    }

    /** Method calls that nobody answers, of 1,300 bytes each. */
    void flood(unsigned calls)
    {
        const sim::Connection client = sim::connectTo(bus.address());
        const std::string payload(1200, 'x');
        for (unsigned i = 0; i < calls; ++i)
        {
            sd_bus_message* raw = nullptr;
            sim::check(sd_bus_message_new_method_call(client.get(), &raw, rig::daemonName, "/",
                                                      "an.Interface", "Call"),
                       "make a call");
            const sim::Message call(raw);
            sim::check(sd_bus_message_append(raw, "s", payload.c_str()), "fill a call");
            sim::check(sd_bus_message_set_expect_reply(raw, 0), "want no reply");
            sim::check(sd_bus_send(client.get(), raw, nullptr), "send a call");
            sim::check(sd_bus_flush(client.get()), "empty the queue to the bus");
        }
    }

    const std::string newSlot = sim::smbiosSlotPath(99);

  private:
    long before_ = 0;
};

// They make a signal of 10 MB; the slow suite asks for 31 MB.
const auto manyProperties = static_cast<unsigned>(environment::number("HWINV_PROPERTIES", 100'000));

TEST_F(Memory, OfALargeSignalIsGivenBack)
{
    announce(newSlot, manyProperties);
    ASSERT_TRUE(waitForLine("processSmbiosMessagesInQueue", newSlot + " Add ObjPath"));

    expectGivenBack();
}

TEST_F(Memory, OfLargeSignalsThatNobodyWantsIsGivenBack)
{
    for (const unsigned megabytes : {12U, 11U, 10U})
    {
        smbios.emitSignal(
            {"/elsewhere",
             sim::names::properties,
             "PropertiesChanged",
             "sa{sv}as",
             {"an.Interface",
              {{"Text", {{"type", "s"}, {"data", std::string(megabytes << 20U, 'x')}}}},
              sim::Json::array()}});
    }
    settle();

    expectGivenBack();
}

TEST_F(Memory, OfAFloodOfCallsDuringASetIsGivenBack)
{
    kovd.addFault({"Set", "", sim::Hang{}, sim::Fault::always});
    const auto [path, slot] = sim::makeKovdSlot(99);
    const auto [partner, partnersSlot] = sim::makeSmbiosSlot(99);
    kovd.addObject(path, slot);
    smbios.addObject(partner, partnersSlot);
    ASSERT_TRUE(kovd.journal().waitForCalls("Set", path, 1, kit::patience));

    // They all wait in the daemon until the call has ended.
    flood(20'000);
    kovd.stop();
    observer.ping(rig::daemonName);

    expectGivenBack();
}

} // namespace
