#include "kit/bus_test.hpp"

#include "doubles/seen_lines.hpp"
#include "rig/settle.hpp"

#include <cstdlib>
#include <sstream>

namespace kit
{
namespace
{

constexpr std::size_t tailLength = 40;

} // namespace

sim::Associations inSlot(const std::string& smbiosSlot)
{
    return {{"chassis", "pcieslot", smbiosSlot}};
}

sim::Associations ofProcessor(unsigned cpu, const std::vector<unsigned>& cacheLevels)
{
    sim::Associations list{{"chassis", "processor", sim::smbiosCpuPath(cpu)}};
    for (const unsigned level : cacheLevels)
    {
        const std::string handle = "L" + std::to_string(level) + "CacheHandle";
        list.push_back({"processor", handle, sim::smbiosCachePath(cpu, level)});
    }
    return list;
}

Lists listsOf(unsigned slots, unsigned cpus)
{
    Lists lists;
    for (unsigned slot = 1; slot <= slots; ++slot)
    {
        const auto list = inSlot(sim::smbiosSlotPath(slot));
        lists[sim::kovdSlotPath(slot)] = list;
        lists[sim::kovdDevicePath(slot, 1)] = list;
        lists[sim::kovdChassisPath(slot)] = list;
    }
    for (unsigned cpu = 1; cpu <= cpus; ++cpu)
    {
        lists[sim::kovdCpuPath(cpu)] = ofProcessor(cpu, {1, 2, 3});
    }
    return lists;
}

std::string daemonProgram()
{
    const char* other = std::getenv("HWINV_DAEMON");
    return other != nullptr ? other : BUILT_DAEMON;
}

std::string daemonLauncher()
{
    const char* launcher = std::getenv("HWINV_LAUNCHER");
    return launcher != nullptr ? launcher : "";
}

std::vector<std::string> daemonCommand(std::vector<std::string> environment)
{
    const std::string launcher = daemonLauncher();
    environment.insert(environment.begin(), launcher.empty() ? "env" : launcher);
    environment.push_back(daemonProgram());
    return environment;
}

std::string tailOf(const rig::Log& log)
{
    const std::size_t size = log.size();
    std::ostringstream text;
    for (const auto& line : log.lines(size > tailLength ? size - tailLength : 0))
    {
        text << "  " << line << '\n';
    }
    return "the daemon's log ends:\n" + text.str();
}

BusTest::BusTest(const sim::BusOptions& options)
    : bus(options), smbios(bus.address(), sim::smbiosProfile()),
      kovd(bus.address(), sim::kovdProfile()), observer(bus.address())
{
}

BusTest::~BusTest() = default;

void BusTest::publish(sim::Service& service, const sim::Objects& objects)
{
    service.load(objects);
    service.start();
}

void BusTest::publish(const sim::InventoryCapture& inventory)
{
    publish(smbios, inventory.smbios);
    publish(kovd, inventory.kovd);
}

rig::Daemon& BusTest::startDaemon(const std::vector<std::string>& environment, int logLevel)
{
    daemon_ = std::make_unique<rig::Daemon>(rig::DaemonOptions{
        .program = daemonProgram(),
        .launcher = daemonLauncher(),
        .address = bus.address(),
        .logLevel = logLevel,
        .environment = environment,
        .logFile = "",
    });
    return *daemon_;
}

rig::Daemon& BusTest::daemon()
{
    return *daemon_;
}

void BusTest::settle()
{
    rig::settle(observer, *daemon_, {&kovd, &smbios}, patience);
}

testing::AssertionResult BusTest::waitForLine(const std::string& function, const std::string& text,
                                              std::size_t number)
{
    if (daemon_->log().waitFor(rig::says(function, text), patience, 0, number))
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << function << " did not say \"" << text << "\" " << number
                                       << " times; " << tailOf(daemon_->log());
}

testing::AssertionResult BusTest::waitForList(const std::string& path,
                                              const sim::Associations& list)
{
    if (kovd.waitForAssociations(path, list, patience))
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << path << " has " << testing::PrintToString(kovd.associationsOf(path)) << ", not "
           << testing::PrintToString(list) << "; " << tailOf(daemon_->log());
}

Lists BusTest::lists()
{
    return observer.allAssociations();
}

Texts BusTest::logged(const std::string& function) const
{
    daemon_->catchUp();
    Texts texts;
    for (const auto& line : daemon_->log().lines())
    {
        if (line.function == function)
        {
            texts.push_back(line.text);
        }
    }
    return texts;
}

std::size_t BusTest::times(const std::string& function, const std::string& text) const
{
    daemon_->catchUp();
    return daemon_->log().count(rig::says(function, text));
}

void BusTest::TearDown()
{
    if (daemon_ == nullptr)
    {
        return;
    }
    if (!mayEnd_)
    {
        EXPECT_TRUE(daemon_->running())
            << "the daemon ended by itself, wait status "
            << daemon_->waitForEnd(patience).value_or(-1) << "; " << tailOf(daemon_->log());
    }
    daemon_->kill();
    daemon_->log().waitForEnd(patience);
    for (const auto& line : daemon_->log().lines())
    {
        EXPECT_NE(line.level, 0) << "no line of the log: " << line;
        EXPECT_NE(line.file, "dlog") << "the log lost lines: " << line;
        sawLine(line.text);
    }
}

} // namespace kit
