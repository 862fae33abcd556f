// Messages that are large, or have nothing in them: each is worked off in bounded time, and its
// memory is given back.

#include "faults/counts.hpp"
#include "faults/kit/process.hpp"
#include "faults/message_faults.hpp"

#include <chrono>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using faults::Kind;
using faults::MessageFaults;
using sim::Json;
using sim::Value;

/** Pages that the C library may keep here and there. */
constexpr long tolerance = 1024; // KiB

class LargeMessages : public MessageFaults
{
  protected:
    LargeMessages()
    {
        publishWithCanaries(sim::makeInventory(1, 1));
        startSettled({}, {}, 1);
    }

    /** Does it, and waits for the line of the worker; a sanitizer may take ten times as long. */
    template <typename Deed>
    void expectWithin(std::chrono::milliseconds limit, const std::string& worker,
                      const std::string& line, const Deed& deed)
    {
        const auto said = rig::says(worker, line);
        const std::size_t before = times(worker, line);
        deed(); // the signal is with the bus when this returns
        const auto sent = sim::Clock::now();
        const auto most = kit::sanitized() ? 10 * limit : limit;
        EXPECT_TRUE(daemon().log().waitFor(said, kit::patience, 0, before + 1))
            << kit::tailOf(daemon().log());
        const auto took = sim::Clock::now() - sent;
        EXPECT_LE(took, most) << line;
        slowest_ = std::max(slowest_, std::chrono::nanoseconds(took));
    }

    /** What is resident once the daemon has given back what it can. */
    long settledMemory()
    {
        settle();
        const auto deadline = sim::Clock::now() + kit::patience;
        long memory = kit::statusNumber(daemon().pid(), "VmRSS");
        for (auto since = sim::Clock::now();
             sim::Clock::now() < deadline && sim::Clock::now() - since < 600ms;)
        {
            std::this_thread::yield();
            if (const long now = kit::statusNumber(daemon().pid(), "VmRSS"); now != memory)
            {
                memory = now;
                since = sim::Clock::now();
            }
        }
        return memory;
    }

    /** Two rounds; the second adds nothing. */
    template <typename Round>
    void expectNoGrowth(const Round& round)
    {
        round();
        const long first = settledMemory();
        round();
        const long second = settledMemory();
        if (!kit::sanitized() && !daemon().emulated())
        {
            EXPECT_LE(second, first + tolerance);
        }
        kit::measured("slowest " + kit::inMilliseconds(slowest_) + ", resident " +
                      std::to_string(first) + " KiB, then " + std::to_string(second) + " KiB");
        expectCanary();
        expectHealthy();
    }

    void expectAdded(const Kind& kind, unsigned number, const std::string& property,
                     const Value& value, std::chrono::milliseconds limit)
    {
        expectWithin(limit, "processSmbiosMessagesInQueue",
                     kind.make(number).first + " Add ObjPath",
                     [&] { announceWith(kind, number, property, value); });
    }

  private:
    std::chrono::nanoseconds slowest_{};
};

constexpr std::size_t megabyte = 1U << 20U;

TEST_F(LargeMessages, M4AMegabyteInEachText)
{
    // The platform's worker says nothing of an added object at this level; a change that has
    // nothing in it follows and is announced.
    const Kind& change = faults::kinds().at(1);
    const auto [path, interfaces] = change.make(3);
    const std::string interface = interfaces.begin()->first;
    expectNoGrowth(
        [&]
        {
            for (const Kind& kind : faults::kinds())
            {
                for (const auto& kept : kind.kept)
                {
                    const Value text = Value::string(std::string(megabyte, 'x'));
                    if (kept.type != 's')
                    {
                        continue;
                    }
                    if (kind.ofSmbios)
                    {
                        expectAdded(kind, 2, kept.name, text, 1s);
                        continue;
                    }
                    expectWithin(1s, "processKovdMessagesInQueue",
                                 path + " :Object path to be updated",
                                 [&]
                                 {
                                     announceWith(kind, 2, kept.name, text);
                                     kovd.emitSignal({path,
                                                      sim::names::properties,
                                                      "PropertiesChanged",
                                                      "sa{sv}as",
                                                      {interface, Json::object(), Json::array()}});
                                 });
                }
            }
        });
}

TEST_F(LargeMessages, M4ASignalOfThirtyOneMegabytes)
{
    const Kind& kind = faults::kinds().front();
    expectNoGrowth(
        [&] { expectAdded(kind, 2, "Large", Value::string(std::string(31 * megabyte, 'x')), 5s); });
}

TEST_F(LargeMessages, M4TenThousandInterfaces)
{
    const Kind& kind = faults::kinds().front();
    auto [path, interfaces] = kind.make(2);
    for (int number = 0; number < 10'000; ++number)
    {
        interfaces["an.Interface" + std::to_string(number)]["Key"] = Value::string("value");
    }
    expectNoGrowth(
        [&]
        {
            expectWithin(5s, "processSmbiosMessagesInQueue", path + " Add ObjPath",
                         [&] { announce(kind, path, interfaces); });
        });
}

TEST_F(LargeMessages, M4AHundredThousandProperties)
{
    const Kind& kind = faults::kinds().front();
    auto [path, interfaces] = kind.make(2);
    for (int number = 0; number < 100'000; ++number)
    {
        interfaces.begin()->second["Property" + std::to_string(number)] = Value::string("value");
    }
    expectNoGrowth(
        [&]
        {
            expectWithin(5s, "processSmbiosMessagesInQueue", path + " Add ObjPath",
                         [&] { announce(kind, path, interfaces); });
        });
}

TEST_F(LargeMessages, M4NothingAtAll)
{
    const auto [path, interfaces] = sim::makeSmbiosSlot(1);
    const std::string interface = interfaces.begin()->first;
    const std::size_t sets = kovd.journal().setCount();
    expectNoGrowth(
        [&]
        {
            expectWithin(1s, "processSmbiosMessagesInQueue", path + " :Object path to be updated",
                         [&]
                         {
                             smbios.emitSignal({path,
                                                sim::names::properties,
                                                "PropertiesChanged",
                                                "sa{sv}as",
                                                {interface, Json::object(), Json::array()}});
                         });
        });
    EXPECT_EQ(linesOf("InsertSMBIOSPCIeSlotObj"), 0u);
    EXPECT_EQ(kovd.journal().setCount(), sets + 1) << "the canary's";
}

} // namespace
