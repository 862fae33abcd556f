// What a service does wrong on request, and what happens when it or its bus goes away.

#include "service_fixture.hpp"
#include "sim/names.hpp"

#include <thread>

namespace
{

using namespace std::chrono_literals;
using namespace sim::names;
using sim::Json;
using sim::Value;
using std::string;

class ServiceFaults : public ServiceTest
{
};

TEST_F(ServiceFaults, FailsOnRequest)
{
    kovd.addFault({"GetManagedObjects", boardRoot, sim::FailWith{"com.example.Broken"}, 1});
    EXPECT_EQ(watcher.managedObjects(kovdService, chassisRoot).error, "");
    EXPECT_EQ(watcher.managedObjects(kovdService, boardRoot).error, "com.example.Broken");
    EXPECT_EQ(watcher.managedObjects(kovdService, boardRoot).error, "");
}

TEST_F(ServiceFaults, DoesNotCarryOutAFailedSet)
{
    kovd.addFault({"Set", "", sim::FailWith{"com.example.Broken"}, 1});
    const Value value = Value::associations(pair);
    EXPECT_EQ(watcher.set(kovdService, slot1, associationDefinitions, associations, value).error,
              "com.example.Broken");
    EXPECT_EQ(kovd.associationsOf(slot1), sim::Associations());
    EXPECT_EQ(kovd.journal().calls("Set"), 1U);
    EXPECT_EQ(kovd.journal().setCount(), 0U);
}

TEST_F(ServiceFaults, HangsOnRequest)
{
    kovd.addFault({"Get", "", sim::Hang{}, 1});
    const Json arguments{kovdSlot, "PCIeFQDD"};
    EXPECT_EQ(watcher.call(kovdService, slot1, properties, "Get", "ss", arguments, 50ms).error,
              "org.freedesktop.DBus.Error.Timeout");
    EXPECT_EQ(watcher.call(kovdService, slot1, properties, "Get", "ss", arguments).error, "");
}

TEST_F(ServiceFaults, AnswersLateOnRequest)
{
    kovd.addFault({"Get", "", sim::Delay{150ms}, 1});
    const auto start = sim::Clock::now();
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeFQDD").error, "");
    EXPECT_GE(sim::Clock::now() - start, 150ms);
}

TEST_F(ServiceFaults, CarriesOutALateSetLate)
{
    kovd.addFault({"Set", "", sim::Delay{100ms}, 1});
    const auto start = sim::Clock::now();
    watcher.set(kovdService, slot1, associationDefinitions, associations,
                Value::associations(pair));
    ASSERT_EQ(kovd.journal().setCount(), 1U);
    EXPECT_GE(kovd.journal().sets()[0].time - start, 100ms);
}

TEST_F(ServiceFaults, AnswersSomethingElseOnRequest)
{
    kovd.addFault({"GetManagedObjects", "", sim::ReplyWith{"as", Json::array({{"x"}})}, 1});
    const auto answer = watcher.managedObjects(kovdService, boardRoot);
    EXPECT_EQ(answer.signature, "as");
    EXPECT_EQ(answer.body, Json::array({{"x"}}));
}

TEST_F(ServiceFaults, ForgetsFaults)
{
    kovd.addFault({"", "", sim::Hang{}, sim::Fault::always});
    kovd.clearFaults();
    EXPECT_EQ(watcher.get(kovdService, slot1, kovdSlot, "PCIeFQDD").error, "");
}

TEST_F(ServiceFaults, StopsAndComesBackWithItsObjects)
{
    const string before = watcher.ownerOf(kovdService);
    kovd.stop();
    EXPECT_FALSE(kovd.running());
    EXPECT_EQ(watcher.ownerOf(kovdService), "");
    kovd.addObject(below, {{"x.y", {}}});
    kovd.start();
    EXPECT_TRUE(kovd.running());
    EXPECT_NE(watcher.ownerOf(kovdService), "");
    EXPECT_NE(watcher.ownerOf(kovdService), before);
    EXPECT_TRUE(watcher.managedObjects(kovdService, boardRoot).body[0].contains(below));
    EXPECT_TRUE(watcher.waitFor("InterfacesAdded", 0).empty()) << "nothing announced while away";
}

TEST_F(ServiceFaults, CannotSendWhileStopped)
{
    kovd.stop();
    EXPECT_THROW(kovd.emitSignal({"/a", "a.b", "C", "", Json::array()}), sim::Error);
}

TEST_F(ServiceFaults, SaysThatItsNameIsTaken)
{
    sim::Service other(address(), sim::kovdProfile());
    EXPECT_THROW(other.start(), sim::BusError);
    EXPECT_FALSE(other.running());
    kovd.stop();
    EXPECT_NO_THROW(other.start());
}

TEST_F(ServiceFaults, NoticesThatTheBusIsGone)
{
    sim::PrivateBus lost;
    sim::Service service(lost.address(), sim::kovdProfile());
    service.start();
    lost.kill();
    const auto deadline = sim::Clock::now() + 20s;
    while (service.running() && sim::Clock::now() < deadline)
    {
        std::this_thread::yield();
    }
    EXPECT_FALSE(service.running());
    EXPECT_THROW(service.start(), sim::BusError);
}

} // namespace
