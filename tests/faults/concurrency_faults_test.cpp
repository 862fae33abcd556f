// Several at once: two discoveries, both workers and a flood; and a loop that refuses the executor.

#include "compare/differences.hpp"
#include "faults/counts.hpp"
#include "faults/kit/fault_test.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <fstream>
#include <set>
#include <thread>

namespace
{

using namespace std::chrono_literals;
using kit::Lists;

class ConcurrencyFaults : public kit::FaultTest
{
};

// ---- an executor without a loop ----

const std::string refused = "DBusService OneWayChannel Registration failed";

class RefusingLoop : public ConcurrencyFaults
{
  protected:
    /** A start in which that call of epoll_ctl fails; what main says of its executor, or of what it
     *  ends with. */
    std::string starts(unsigned number)
    {
        kit::Preloads preloads;
        preloads.failing.push_back(
            {.function = "epoll_ctl", .error = ENOSPC, .first = number, .mainOnly = true});
        startWith(preloads);
        const auto decided = [](const rig::LogLine& line)
        {
            return line.text == refused || line.text == "OneWayChannel Registration success" ||
                   line.text.starts_with("Caught an exception: ");
        };
        EXPECT_TRUE(daemon().log().waitFor(decided, kit::patience)) << number;
        daemon().catchUp();
        for (const auto& line : daemon().log().lines())
        {
            if (decided(line))
            {
                return line.text;
            }
        }
        return "";
    }
};

TEST_F(RefusingLoop, C10EveryEpollCtlOfTheStartFailsOnce)
{
    constexpr unsigned most = 16;
    publish(sim::makeInventory(2, 1));
    unsigned withoutExecutor = 0;
    unsigned ended = 0;
    for (unsigned number = 1; number <= most && !HasFailure(); ++number)
    {
        const std::string said = starts(number);
        if (said == refused)
        {
            ++withoutExecutor;
            settle();
            EXPECT_EQ(linesWith("OneWayChannel_Execute failed, execRet = -1"),
                      kit::listsOf(2, 1).size());
            EXPECT_EQ(times("setAssociations", "Setting associations"), 0u);
            noteState();
            expectHealthy();
        }
        else if (said.starts_with("Caught"))
        {
            EXPECT_EQ(daemon().waitForEnd(kit::patience), 0);
            ++ended;
        }
        daemon().kill();
    }
    expectEnd();
    EXPECT_EQ(withoutExecutor, 1u);
    kit::measured(std::to_string(ended) + " of " + std::to_string(most) +
                  " starts ended with status 0, one went on without an executor");
}

TEST_F(RefusingLoop, C10ATimerThatCannotBeMadeCostsNoPairs)
{
    publishWithCanaries(sim::makeInventory(2, 1));
    kit::Preloads preloads;
    preloads.failing.push_back(
        {.function = "timerfd_create", .error = EMFILE, .first = 2, .mainOnly = true});
    startSettled(preloads);
    EXPECT_EQ(logged("giveBackHeap"),
              kit::Texts{"Free memory will not be given back: timerfd_create: System.Error.EMFILE: "
                         "Too many open files"});
    EXPECT_TRUE(lists() == kit::listsOf(2, 1));
    expectCanary();
    expectHealthy();
}

// ---- two discoveries ----

/** Every SMBIOS path in the lists of one platform slot or processor at most. */
void expectOneOwnerEach(const Lists& lists)
{
    std::set<std::string> owned;
    for (const auto& [path, list] : lists)
    {
        const bool device = path.find("/device") != std::string::npos;
        const bool twin = path.find("/chassis/") != std::string::npos;
        for (const auto& [forward, backward, endpoint] : list)
        {
            EXPECT_TRUE(device || twin || owned.insert(endpoint).second) << endpoint;
        }
    }
}

TEST_F(ConcurrencyFaults, C12TwoDiscoveriesAndBothWorkersOnTheSameObjects)
{
    const int rounds = faults::rounds(2, 30);
    constexpr unsigned slots = 30;
    constexpr unsigned cpus = 4;
    const auto inventory = sim::makeInventory(slots, cpus);
    publish(inventory);
    for (int round = 0; round < rounds && !HasFailure(); ++round)
    {
        // Both discoveries wait for the same service and go on at the same moment: the debounce of
        // the second one takes a quarter of a second at this pace.
        smbios.addFault({"GetManagedObjects", "", sim::Delay{600ms}, 1});
        smbios.addFault({"GetManagedObjects", "", sim::Delay{250ms}, 1});
        startWith({.warp = 20}, {}, 4);
        waitUntilSubscribed();
        auto unreadable = sim::makeSmbiosSlot(8000);
        unreadable.second[sim::names::smbiosSlot]["SlotID"] = sim::Value::uint32(1);
        smbios.addObject(unreadable.first, unreadable.second);
        smbios.removeObject(unreadable.first);
        const std::size_t former = smbios.journal().calls("GetManagedObjects");
        {
            std::jthread other(
                [&]
                {
                    for (const auto& [path, interfaces] : inventory.smbios)
                    {
                        smbios.addObject(path, interfaces);
                    }
                });
            for (const auto& [path, interfaces] : inventory.kovd)
            {
                kovd.addObject(path, interfaces);
            }
        }
        EXPECT_TRUE(
            smbios.journal().waitForCalls("GetManagedObjects", "", former + 1, kit::patience));
        EXPECT_TRUE(
            waitForLine("startRecovery", "Recovery: resync completed. Entering cool-down..."));
        settle();

        Lists found = lists();
        expectOneOwnerEach(found);
        for (unsigned slot = 1; slot <= slots; ++slot)
        {
            EXPECT_EQ(found[sim::kovdSlotPath(slot)], kit::inSlot(sim::smbiosSlotPath(slot)));
        }
        for (unsigned cpu = 1; cpu <= cpus; ++cpu)
        {
            auto list = found[sim::kovdCpuPath(cpu)];
            auto expected = kit::ofProcessor(cpu, {1, 2, 3});
            std::sort(list.begin(), list.end());
            std::sort(expected.begin(), expected.end());
            EXPECT_EQ(list, expected);
        }
        daemon().kill();
    }
    expectEnd();
    kit::measured(std::to_string(rounds) + " rounds");
}

// ---- a flood ----

/** Reads a daemon's log without keeping it: counts the records that its worker has taken, and those
 *  that did not come in their turn. */
class Counter
{
  public:
    explicit Counter(std::string stem) : stem_(std::move(stem)) {}

    void take(std::string_view bytes)
    {
        rest_ += bytes;
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = rest_.find('\n', begin)) != std::string::npos;
             begin = end + 1)
        {
            takeLine(std::string_view(rest_).substr(begin, end - begin));
        }
        rest_.erase(0, begin);
    }

    long count() const
    {
        return count_;
    }

    long wrong() const
    {
        return wrong_;
    }

    /** A decoder has refused a signal: the daemon listens. */
    bool listens() const
    {
        return listens_;
    }

  private:
    void takeLine(std::string_view line)
    {
        listens_ = listens_ || line.ends_with("Invalid signature = s");
        const std::size_t at = line.find(stem_);
        if (at == std::string_view::npos)
        {
            return;
        }
        long number = -1;
        std::from_chars(line.data() + at + stem_.size(), line.data() + line.size(), number);
        wrong_ += number == count_ ? 0 : 1;
        ++count_;
    }

    const std::string stem_;
    std::string rest_;
    std::atomic<long> count_{0};
    std::atomic<long> wrong_{0};
    std::atomic<bool> listens_{false};
};

/** Sends what a decoder refuses with a line until there is one. */
void waitUntilItListens(sd_bus* bus, const Counter& counter)
{
    const auto deadline = sim::Clock::now() + kit::patience;
    while (!counter.listens() && sim::Clock::now() < deadline)
    {
        sim::check(sd_bus_emit_signal(bus, sim::names::boardRoot, sim::names::objectManager,
                                      "InterfacesAdded", "s", "hello"),
                   "send a signal");
        std::this_thread::sleep_for(20ms); // for the line of this one
    }
}

/** How long this thread could have run and had no processor, since others had them. */
std::chrono::nanoseconds waitForProcessor()
{
    std::ifstream file("/proc/thread-self/schedstat");
    long long ran = 0;
    long long waited = 0;
    file >> ran >> waited;
    return std::chrono::nanoseconds(waited);
}

/** Sends so many changes of nothing, each of another object; the longest that one took, as far as
 *  it is not the machine that had no processor for the sender. */
std::chrono::nanoseconds flood(sd_bus* bus, const std::string& stem, long signals)
{
    std::chrono::nanoseconds longest{};
    for (long number = 0; number < signals; ++number)
    {
        const std::string path = stem + std::to_string(number);
        sd_bus_message* raw = nullptr;
        sim::check(sd_bus_message_new_signal(bus, &raw, path.c_str(), sim::names::properties,
                                             "PropertiesChanged"),
                   "make a signal");
        const sim::Message signal(raw);
        sim::check(sd_bus_message_append(raw, "sa{sv}as", sim::names::kovdSlot, 0, 0),
                   "write a signal");
        const auto waited = waitForProcessor();
        const auto begin = sim::Clock::now();
        sim::check(sd_bus_send(bus, raw, nullptr), "send a signal");
        sim::check(sd_bus_flush(bus), "send a signal");
        const auto took = std::chrono::nanoseconds(sim::Clock::now() - begin);
        longest = std::max(longest, took - (waitForProcessor() - waited));
    }
    return longest;
}

TEST_F(ConcurrencyFaults, C6AFloodOfAMillionSignalsLosesNone)
{
    const long signals = faults::rounds(20'000, 1'000'000);
    const std::string stem = std::string(sim::names::boardRoot) + "/pcie_flood_";
    child::Pipe pipe = child::makePipe();
    child::Child process({.command = kit::daemonCommand(
                              {"DBUS_SYSTEM_BUS_ADDRESS=" + bus.address(), "DLOG_LEVEL=1"}),
                          .environment = {"JOURNAL_STREAM"},
                          // A daemon that a launcher started outlives the test; it must not hold
                          // our standard output.
                          .streams = {.output = pipe.write.get(), .error = pipe.write.get()}});
    pipe.write.reset();
    Counter counter(stem);
    std::jthread reader(
        [&](const std::stop_token& stop)
        {
            while (!stop.stop_requested())
            {
                const auto bytes = child::readSome(pipe.read.get(), child::Clock::now() + 100ms);
                counter.take(bytes.value_or(""));
            }
        });
    ASSERT_TRUE(observer.waitForOwner(rig::daemonName, kit::patience));
    observer.ping(rig::daemonName);
    const sim::Connection emitter = sim::connectTo(bus.address());
    sim::check(sd_bus_request_name(emitter.get(), sim::names::kovdService, 0), "take the name");
    waitUntilItListens(emitter.get(), counter);

    const auto begin = sim::Clock::now();
    const auto longest = flood(emitter.get(), stem, signals);
    const std::chrono::duration<double> sent = sim::Clock::now() - begin;
    const auto deadline = sim::Clock::now() + 5 * kit::patience;
    while (counter.count() < signals && sim::Clock::now() < deadline)
    {
        std::this_thread::sleep_for(10ms); // the log tells nobody that it has grown
    }
    const std::chrono::duration<double> took = sim::Clock::now() - begin;
    EXPECT_TRUE(process.running());
    process.kill();
    reader.request_stop();
    reader.join();
    EXPECT_EQ(counter.count(), signals);
    EXPECT_EQ(counter.wrong(), 0);
    EXPECT_LE(longest, 50ms) << "the platform would have been held up";
    kit::measured(std::to_string(signals) + " signals sent in " + std::to_string(sent.count()) +
                  " s, worked off after " + std::to_string(took.count()) + " s, longest send " +
                  kit::inMilliseconds(longest));
}

} // namespace
