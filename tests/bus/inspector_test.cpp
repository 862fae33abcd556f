// The inspector and the daemon agree: on random machines, what runEngine() gives is what the real
// daemon writes on a bus. HWINV_ROUNDS says on how many.

#include "environment.hpp"
#include "inspect/engine_run.hpp"
#include "kit/bus_test.hpp"
#include "random_worlds.hpp"
#include "rig/settle.hpp"

namespace
{

using worlds::RandomWorlds;

kit::Lists listsByTheInspector(const inspect::World& world)
{
    kit::Lists lists;
    for (const auto& [path, list] : inspect::runEngine(world).lists)
    {
        for (const auto& [forward, reverse, endpoint] : list)
        {
            lists[path].push_back({forward, reverse, endpoint});
        }
    }
    return lists;
}

/** One bus and both services for all machines; a daemon for each. */
class Bench
{
  public:
    /** What the daemon writes at its start on this machine. */
    kit::Lists written(const inspect::World& world)
    {
        sim::Objects platform = world.board;
        platform.insert(world.chassis.begin(), world.chassis.end());
        smbios_.load(world.smbios);
        kovd_.load(platform);
        smbios_.start();
        kovd_.start();
        const kit::Lists lists = listsByTheDaemon();
        smbios_.stop();
        kovd_.stop();
        return lists;
    }

  private:
    kit::Lists listsByTheDaemon()
    {
        rig::Daemon daemon(rig::DaemonOptions{
            .program = kit::daemonProgram(),
            .address = bus_.address(),
            .logLevel = 9,
            .environment = {},
            .logFile = "",
        });
        rig::settle(observer_, daemon, {&kovd_, &smbios_}, kit::patience);
        return observer_.allAssociations();
    }

    sim::PrivateBus bus_;
    sim::Service smbios_{bus_.address(), sim::smbiosProfile()};
    sim::Service kovd_{bus_.address(), sim::kovdProfile()};
    rig::Observer observer_{bus_.address()};
};

TEST(Inspector, GivesWhatTheDaemonWritesOfRandomMachines)
{
    RandomWorlds random(RandomWorlds::Types::right); // else the daemon soon reads all again
    Bench bench;
    std::size_t written = 0;
    const std::uint64_t rounds = environment::rounds(20);
    for (std::uint64_t round = 0; round < rounds; ++round)
    {
        SCOPED_TRACE(round);
        const inspect::World world = random.next();
        const kit::Lists wanted = listsByTheInspector(world);
        ASSERT_EQ(bench.written(world), wanted);
        written += wanted.size();
    }
    EXPECT_GT(written, 2 * rounds);
}

} // namespace
