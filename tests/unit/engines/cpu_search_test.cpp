/* The two searches that pair processors. */
#include "doubles/cpu_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_search.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace cpu_world;
using std::string;

Lines noneFound(const string& function, const string& path)
{
    return {"1 " + function + ": " + path + " No association found for objPath"};
}

// IterateKOVDCPUObjs

AssociationList searchKovd(int number = 1, const string& path = cpu1)
{
    AssociationList additions;
    IterateKOVDCPUObjs(smbiosCpu(number), path, additions);
    return additions;
}

TEST(IterateKOVDCPUObjs, saysThatNoProcessorIsStored)
{
    EXPECT_EQ(searchKovd(), AssociationList{});
    EXPECT_EQ(engineLines(), noneFound("IterateKOVDCPUObjs", cpu1));
}

TEST(IterateKOVDCPUObjs, pairsTheProcessorThatMatches)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(2));
    AssociationList additions = {foreignTuple()};
    IterateKOVDCPUObjs(smbiosCpu(2), cpu2, additions);
    EXPECT_EQ(additions, (AssociationList{foreignTuple(), cpuTupleOf(cpu2)}));
    EXPECT_TRUE(isPair(cpu2, kovd2));
    EXPECT_EQ(engineLines(), cpuPaired("IterateKOVDCPUObjs", cpu2, kovd2));
    EXPECT_TRUE(recorded_requests::all().empty());
}

TEST(IterateKOVDCPUObjs, takesTheFirstMatchInPathOrder)
{
    kovdCPUObjs.insertObject(kovd3, kovdCpu(1));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(1));
    EXPECT_EQ(searchKovd(), AssociationList{cpuTupleOf(cpu1)});
    EXPECT_TRUE(isPair(cpu1, kovd2));
    EXPECT_FALSE(isPathAssociated(kovdSide, kovd3));
    EXPECT_EQ(recorded_log::count("kovd_CPU_Key: CPU.Socket.1"), 1U);
}

TEST(IterateKOVDCPUObjs, saysThatNoProcessorMatches)
{
    kovdCPUObjs.insertObject(kovd2, kovdCpu(2));
    kovdCPUObjs.insertObject(kovd3, sample::without(kovdCpu(1), "SlotNumber"));
    EXPECT_EQ(searchKovd(), AssociationList{});
    EXPECT_EQ(engineLines(), noneFound("IterateKOVDCPUObjs", cpu1));
    EXPECT_FALSE(isPathAssociated(smbiosSide, cpu1));
}

TEST(IterateKOVDCPUObjs, makesTheTupleOfARefusedPairToo)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(1));
    pairCpus(cpu2, kovd1);
    EXPECT_EQ(searchKovd(), AssociationList{cpuTupleOf(cpu1)});
    EXPECT_FALSE(isPathAssociated(smbiosSide, cpu1)); // kovd2 has not been looked at
    EXPECT_EQ(engineLines(), Lines{"5 IterateKOVDCPUObjs: Association " + kovd1 +
                                   " not added successfully in the map"});
}

TEST(IterateKOVDCPUObjs, passesOverAProcessorThatHasVanished)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(9));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(1));
    kovdCPUObjs.insertObject(kovd3, kovdCpu(1));
    when("kovd_CPU_Key: CPU.Socket.9", [] { kovdCPUObjs.eraseObject(kovd2); });
    EXPECT_EQ(searchKovd(), AssociationList{cpuTupleOf(cpu1)});
    EXPECT_EQ(engineLines(),
              Lines{"1 IterateKOVDCPUObjs: KOVD object not found for objPath: " + kovd2} +
                  cpuPaired("IterateKOVDCPUObjs", cpu1, kovd3));
}

TEST(IterateKOVDCPUObjs, passesOverAProcessorWithoutProperties)
{
    kovdCPUObjs.insertObject(kovd1, {});
    kovdCPUObjs.insertObject(kovd2, kovdCpu(1));
    EXPECT_EQ(searchKovd(), AssociationList{cpuTupleOf(cpu1)});
    EXPECT_EQ(engineLines(),
              Lines{"1 IterateKOVDCPUObjs: KOVD object properties could not be obtained for "
                    "objPath: " +
                    kovd1} +
                  cpuPaired("IterateKOVDCPUObjs", cpu1, kovd2));
}

TEST(IterateKOVDCPUObjs, seesWhatAProcessorHasBecomeMeanwhile)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(9));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(9));
    when("VerifyCPUSlot: CPU9", [] { kovdCPUObjs.insertObject(kovd2, kovdCpu(1)); });
    searchKovd();
    EXPECT_TRUE(isPair(cpu1, kovd2));
}

TEST(IterateKOVDCPUObjs, passesOverAPropertyOfAnotherType)
{
    kovdCPUObjs.insertObject(kovd1, sample::with(kovdCpu(1), "SlotNumber", std::int32_t{1}));
    kovdCPUObjs.insertObject(kovd2, kovdCpu(1));
    EXPECT_EQ(searchKovd(), AssociationList{cpuTupleOf(cpu1)});
    EXPECT_TRUE(isPair(cpu1, kovd2));
}

TEST(IterateKOVDCPUObjs, endsAtAnException)
{
    kovdCPUObjs.insertObject(kovd1, {});
    kovdCPUObjs.insertObject(kovd2, kovdCpu(1));
    const string empty = "KOVD object properties could not be obtained for objPath: " + kovd1;
    const Lines start = {"1 IterateKOVDCPUObjs: " + empty};

    throwBusErrorAt(empty);
    EXPECT_EQ(searchKovd(), AssociationList{});
    EXPECT_EQ(engineLines(),
              start + Lines{"1 IterateKOVDCPUObjs: Exception occurred " + busErrorText()});

    recorded_log::clear();
    throwStandardErrorAt(empty);
    EXPECT_EQ(searchKovd(), AssociationList{});
    EXPECT_EQ(engineLines(), start + Lines{"1 IterateKOVDCPUObjs: Exception: out of luck"});

    recorded_log::clear();
    throwOtherAt(empty);
    EXPECT_EQ(searchKovd(), AssociationList{});
    EXPECT_EQ(engineLines(), start + Lines{"1 IterateKOVDCPUObjs: Unknown exception"});
}

// IterateSMBIOSCPUObjs

struct Found
{
    string path;
    AssociationList additions;
};

Found searchSmbios(int number = 1, const string& path = kovd1)
{
    Found found;
    IterateSMBIOSCPUObjs(kovdCpu(number), path, found.path, found.additions);
    return found;
}

TEST(IterateSMBIOSCPUObjs, saysThatNoProcessorIsStored)
{
    const Found found = searchSmbios();
    EXPECT_EQ(found.path, "");
    EXPECT_EQ(found.additions, AssociationList{});
    EXPECT_EQ(engineLines(), noneFound("IterateSMBIOSCPUObjs", kovd1));
}

TEST(IterateSMBIOSCPUObjs, pairsTheFirstMatchInPathOrder)
{
    smbiosCPUObjs.insertObject(cpu3, smbiosCpu(1));
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(3));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(1));
    const Found found = searchSmbios();
    EXPECT_EQ(found.path, cpu2);
    EXPECT_EQ(found.additions, AssociationList{cpuTupleOf(cpu2)});
    EXPECT_TRUE(isPair(cpu2, kovd1));
    EXPECT_FALSE(isPathAssociated(smbiosSide, cpu3));
    EXPECT_EQ(engineLines(), cpuPaired("IterateSMBIOSCPUObjs", cpu2, kovd1));
    EXPECT_TRUE(recorded_requests::all().empty());
}

TEST(IterateSMBIOSCPUObjs, saysThatNoProcessorMatches)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(2));
    EXPECT_EQ(searchSmbios().path, "");
    EXPECT_EQ(engineLines(), noneFound("IterateSMBIOSCPUObjs", kovd1));
}

TEST(IterateSMBIOSCPUObjs, makesTheTupleOfARefusedPairToo)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    pairCpus(cpu1, kovd2);
    const Found found = searchSmbios();
    EXPECT_EQ(found.path, cpu1);
    EXPECT_EQ(found.additions, AssociationList{cpuTupleOf(cpu1)});
    EXPECT_TRUE(isPair(cpu1, kovd2));
    EXPECT_EQ(engineLines(), Lines{"5 IterateSMBIOSCPUObjs: Association " + kovd1 +
                                   " not added successfully in the map"});
}

TEST(IterateSMBIOSCPUObjs, passesOverAProcessorThatHasVanished)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(9));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(1));
    smbiosCPUObjs.insertObject(cpu3, smbiosCpu(1));
    when("smbios_CPU_socket: CPU9", [] { smbiosCPUObjs.eraseObject(cpu2); });
    EXPECT_EQ(searchSmbios().path, cpu3);
    EXPECT_EQ(engineLines(),
              Lines{"1 IterateSMBIOSCPUObjs: SMBIOS object not found for objPath: " + cpu2} +
                  cpuPaired("IterateSMBIOSCPUObjs", cpu3, kovd1));
}

TEST(IterateSMBIOSCPUObjs, passesOverAProcessorWithoutProperties)
{
    smbiosCPUObjs.insertObject(cpu1, {});
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(1));
    EXPECT_EQ(searchSmbios().path, cpu2);
    EXPECT_EQ(engineLines(),
              Lines{"1 IterateSMBIOSCPUObjs: SMBIOS object properties could not be obtained for "
                    "objPath: " +
                    cpu1} +
                  cpuPaired("IterateSMBIOSCPUObjs", cpu2, kovd1));
}

TEST(IterateSMBIOSCPUObjs, endsAtAnException)
{
    smbiosCPUObjs.insertObject(cpu1, {});
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(1));
    const string empty = "SMBIOS object properties could not be obtained for objPath: " + cpu1;
    const Lines start = {"1 IterateSMBIOSCPUObjs: " + empty};

    throwBusErrorAt(empty);
    EXPECT_EQ(searchSmbios().path, "");
    EXPECT_EQ(engineLines(),
              start + Lines{"1 IterateSMBIOSCPUObjs: Exception occurred " + busErrorText()});

    recorded_log::clear();
    throwStandardErrorAt(empty);
    EXPECT_EQ(searchSmbios().path, "");
    EXPECT_EQ(engineLines(), start + Lines{"1 IterateSMBIOSCPUObjs: Exception: out of luck"});

    recorded_log::clear();
    throwOtherAt(empty);
    EXPECT_EQ(searchSmbios().path, "");
    EXPECT_EQ(engineLines(), start + Lines{"1 IterateSMBIOSCPUObjs: Unknown exception"});
}

} // namespace
