// Processors and caches that come, change and go while the daemon runs.

#include "kit/bus_test.hpp"

namespace
{

using kit::Lists;
using kit::ofProcessor;
using sim::Value;

const auto smbiosCpu1 = sim::smbiosCpuPath(1);
const auto kovdCpu1 = sim::kovdCpuPath(1);

sim::Association cacheTuple(unsigned cpu, unsigned level)
{
    return ofProcessor(cpu, {level}).back();
}

class LiveCpu : public kit::BusTest
{
  protected:
    void start(const sim::InventoryCapture& inventory)
    {
        publish(inventory);
        startDaemon();
        settle();
    }

    /** Two processors with their caches, but for the named objects of either service. */
    static sim::InventoryCapture without(const std::vector<std::string>& paths)
    {
        auto inventory = sim::makeInventory(0, 2);
        for (const std::string& path : paths)
        {
            inventory.smbios.erase(path);
            inventory.kovd.erase(path);
        }
        return inventory;
    }

    static void add(sim::Service& service, const sim::Object& object)
    {
        service.addObject(object.first, object.second);
    }

    sim::Associations list(unsigned cpu = 1)
    {
        return observer.associationsOf(sim::kovdCpuPath(cpu));
    }
};

// ---- appearing ----

TEST_F(LiveCpu, AnSmbiosProcessorBringsItsCaches)
{
    start(without({smbiosCpu1}));
    EXPECT_EQ(list(), sim::Associations());
    add(smbios, sim::makeSmbiosCpu(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(0, 2));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosCpu1 + " Add ObjPath"), 1u);
}

TEST_F(LiveCpu, APlatformProcessorGetsTheWholeListAtOnce)
{
    start(without({kovdCpu1}));
    add(kovd, sim::makeKovdCpu(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(0, 2));
    EXPECT_EQ(kovd.journal().setsOn(kovdCpu1).size(), 1u);
    EXPECT_EQ(times("processKovdMessagesInQueue", kovdCpu1 + " ObjPath to be added"), 1u);
}

TEST_F(LiveCpu, ALateCacheIsAddedToTheList)
{
    start(without({sim::smbiosCachePath(1, 2)}));
    EXPECT_EQ(list(), ofProcessor(1, {1, 3}));
    add(smbios, sim::makeSmbiosCache(1, 2));
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {1, 3, 2}));
    EXPECT_EQ(list(2), ofProcessor(2, {1, 2, 3}));
}

TEST_F(LiveCpu, CachesThatComeFirstWaitForTheirProcessor)
{
    start({{}, {sim::makeKovdCpu(1)}});
    for (const unsigned level : {3u, 1u, 2u})
    {
        add(smbios, sim::makeSmbiosCache(1, level));
    }
    settle();
    EXPECT_EQ(kovd.journal().setCount(), 0u);
    add(smbios, sim::makeSmbiosCpu(1));
    settle();

    // In the order of their paths, whenever they came.
    EXPECT_EQ(list(), ofProcessor(1, {1, 2, 3}));
}

TEST_F(LiveCpu, CachesThatComeLaterFollowInTheirOrder)
{
    start({{sim::makeSmbiosCpu(1)}, {sim::makeKovdCpu(1)}});
    for (const unsigned level : {3u, 1u, 2u})
    {
        add(smbios, sim::makeSmbiosCache(1, level));
    }
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {3, 1, 2}));
}

TEST_F(LiveCpu, AProcessorThatIsAddedTwiceIsWrittenOnce)
{
    start(sim::makeInventory(0, 1));
    add(smbios, sim::makeSmbiosCpu(1));
    add(kovd, sim::makeKovdCpu(1));
    add(smbios, sim::makeSmbiosCache(1, 1));
    settle();

    EXPECT_EQ(kovd.journal().setCount(), 1u);
    EXPECT_EQ(times("InsertSMBIOSCPUObj", "Associations exists " + smbiosCpu1), 1u);
    EXPECT_EQ(times("InsertKOVDCPUObj", "Association exists " + kovdCpu1), 1u);
    EXPECT_EQ(times("InsertSMBIOSCacheObj", "Association exists " + sim::smbiosCachePath(1, 1)),
              1u);
}

TEST_F(LiveCpu, AnObjectOfAnotherPathIsNoPlatformProcessor)
{
    start({sim::makeInventory(0, 1).smbios, {}});
    kovd.addObject("/xyz/openbmc_project/inventory/system/board/fan1", sim::makeKovdCpu(1).second);
    settle();

    EXPECT_EQ(kovd.journal().setCount(), 0u);
}

// ---- changing ----

TEST_F(LiveCpu, AnSmbiosProcessorPairsWhenItsSocketComesRight)
{
    auto inventory = sim::makeInventory(0, 1);
    inventory.smbios[smbiosCpu1][sim::names::smbiosCpu]["Socket"] = Value::string("CPU9");
    start(inventory);
    EXPECT_EQ(lists(), Lists());
    // The handles are not part of the change: what is stored is merged with it.
    smbios.changeProperties(smbiosCpu1, sim::names::smbiosCpu, {{"Socket", Value::string("cpu1")}});
    settle();

    // The caches were paired before and are not searched again.
    EXPECT_EQ(list(), ofProcessor(1, {}));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosCpu1 + " :Object path to be updated"),
              1u);
}

TEST_F(LiveCpu, APlatformProcessorPairsWhenItsKeyComesRight)
{
    auto inventory = sim::makeInventory(0, 1);
    inventory.kovd[kovdCpu1][sim::names::item]["TargetDevKey"] = Value::string("Kov.Socket.7");
    start(inventory);
    EXPECT_EQ(lists(), Lists());
    kovd.changeProperties(kovdCpu1, sim::names::item,
                          {{"TargetDevKey", Value::string("Kov.Socket.1")}});
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {1, 2, 3}));
    EXPECT_EQ(times("GetKovdMsgData", kovdCpu1 + " :Object path to be updated"), 1u);
    EXPECT_EQ(times("processKovdMessagesInQueue", kovdCpu1 + " :Object path to be updated"), 1u);
}

TEST_F(LiveCpu, ACachePairsWhenItsHandleComesRight)
{
    auto inventory = sim::makeInventory(0, 1);
    const auto cache = sim::smbiosCachePath(1, 2);
    inventory.smbios[cache][sim::names::smbiosCache]["Handle"] = Value::uint16(0);
    start(inventory);
    EXPECT_EQ(list(), ofProcessor(1, {1, 3}));
    smbios.changeProperties(cache, sim::names::smbiosCache,
                            {{"Handle", Value::uint16(sim::cacheHandle(1, 2))}});
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {1, 3, 2}));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", cache + " :Object path to be updated"), 1u);
}

TEST_F(LiveCpu, AWholeProcessorIsNotUpdated)
{
    start(sim::makeInventory(0, 1));
    smbios.changeProperties(smbiosCpu1, sim::names::smbiosCpu, {{"Socket", Value::string("CPU7")}});
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {1, 2, 3}));
    EXPECT_EQ(times("InsertSMBIOSCPUObj", "Associations exists " + smbiosCpu1), 1u);
}

TEST_F(LiveCpu, AChangeOfOtherPropertiesWritesNothing)
{
    start(without({sim::smbiosCachePath(1, 2)}));
    smbios.changeProperties(smbiosCpu1, sim::names::smbiosCpu, {{"CoreCount", Value::uint16(48)}});
    kovd.changeProperties(kovdCpu1, sim::names::item, {{"Present", Value::boolean(false)}});
    settle();

    EXPECT_EQ(kovd.journal().setCount(), 2u);
}

TEST_F(LiveCpu, AChangeThatBringsNothingNewWritesNothing)
{
    start(without({sim::smbiosCachePath(1, 2)}));
    smbios.changeProperties(smbiosCpu1, sim::names::smbiosCpu,
                            {{"L2CacheHandle", Value::uint16(77)}});
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {1, 3}));
    EXPECT_EQ(times("InsertSMBIOSCPUObj", "L2CacheHandle=77"), 1u);
}

// ---- going ----

TEST_F(LiveCpu, AVanishedCacheLeavesTheList)
{
    start(sim::makeInventory(0, 2));
    smbios.removeObject(sim::smbiosCachePath(1, 2));
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {1, 3}));
    EXPECT_EQ(list(2), ofProcessor(2, {1, 2, 3}));
    EXPECT_EQ(times("processSmbiosMessagesInQueue",
                    sim::smbiosCachePath(1, 2) + " :Object path to be removed"),
              1u);
}

TEST_F(LiveCpu, ACacheThatComesBackStandsAtTheEnd)
{
    start(sim::makeInventory(0, 1));
    smbios.removeObject(sim::smbiosCachePath(1, 1));
    add(smbios, sim::makeSmbiosCache(1, 1));
    settle();

    EXPECT_EQ(list(), ofProcessor(1, {2, 3, 1}));
}

TEST_F(LiveCpu, AVanishedSmbiosProcessorTakesItsCachesAlong)
{
    start(sim::makeInventory(0, 2));
    smbios.removeObject(smbiosCpu1);
    settle();

    EXPECT_EQ(list(), sim::Associations());
    EXPECT_EQ(list(2), ofProcessor(2, {1, 2, 3}));
    EXPECT_EQ(times("processSmbiosMessagesInQueue", smbiosCpu1 + " :Object path to be removed"),
              1u);
}

TEST_F(LiveCpu, AnSmbiosProcessorThatComesBackPairsAgain)
{
    start(sim::makeInventory(0, 2));
    smbios.removeObject(smbiosCpu1);
    add(smbios, sim::makeSmbiosCpu(1));
    settle();

    EXPECT_EQ(lists(), kit::listsOf(0, 2));
}

TEST_F(LiveCpu, AVanishedPlatformProcessorStaysPaired)
{
    start(sim::makeInventory(0, 1));
    kovd.removeObject(kovdCpu1);
    add(kovd, sim::makeKovdCpu(1));
    settle();

    // It came back with an empty list; for the daemon nothing has happened.
    EXPECT_EQ(list(), sim::Associations());
    EXPECT_EQ(times("InsertKOVDCPUObj", "Association exists " + kovdCpu1), 1u);
    // The next change of its caches writes the whole list.
    smbios.removeObject(sim::smbiosCachePath(1, 3));
    settle();
    EXPECT_EQ(list(), ofProcessor(1, {1, 2}));
}

TEST_F(LiveCpu, ACacheOfAnUnpairedProcessorGoesWithoutAWrite)
{
    start(without({kovdCpu1}));
    smbios.removeObject(sim::smbiosCachePath(1, 1));
    settle();

    EXPECT_EQ(times("removeSMBIOSCacheAssoc", smbiosCpu1 + " No associations found for path"), 1u);
    EXPECT_EQ(kovd.journal().setCount(), 1u);
    add(kovd, sim::makeKovdCpu(1));
    settle();
    EXPECT_EQ(list(), ofProcessor(1, {2, 3}));
}

TEST_F(LiveCpu, ACacheOfTwoProcessorsStandsInBothListsAndLeavesTheFirst)
{
    auto inventory = without({sim::smbiosCachePath(2, 3)});
    inventory.smbios[sim::smbiosCpuPath(2)][sim::names::smbiosCpu]["L3CacheHandle"] =
        Value::uint16(sim::cacheHandle(1, 3));
    start(inventory);
    auto shared = ofProcessor(2, {1, 2});
    shared.insert(shared.begin() + 1, cacheTuple(1, 3));
    EXPECT_EQ(list(1), ofProcessor(1, {1, 2, 3}));
    EXPECT_EQ(list(2), shared);
    smbios.removeObject(sim::smbiosCachePath(1, 3));
    settle();

    EXPECT_EQ(list(1), ofProcessor(1, {1, 2}));
    EXPECT_EQ(list(2), shared);
}

} // namespace
