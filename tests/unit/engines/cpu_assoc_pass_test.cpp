/* The full pass over the SMBIOS processors. */
#include "doubles/cpu_world.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_assoc.hpp"

#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>

#include <stdexcept>
#include <string>

namespace
{

using namespace cpu_world;

TEST(CPUAssociation, doesNothingWithoutProcessors)
{
    kovdCPUObjs.insertObject(kovd1, kovdCpu(1));
    CPUAssociation();
    EXPECT_EQ(engineLines(), Lines{});
}

TEST(CPUAssociation, associatesEachProcessorInPathOrder)
{
    smbiosCPUObjs.insertObject(cpu3, smbiosCpu(3));
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(2));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(1));
    for (int number = 1; number <= 3; ++number)
    {
        kovdCPUObjs.insertObject(inventory + "board/cpu" + std::to_string(number), kovdCpu(number));
    }
    CPUAssociation();
    EXPECT_EQ(recorded_requests::all(), (Requests{{kovd2, {cpuTupleOf(cpu1)}},
                                                  {kovd1, {cpuTupleOf(cpu2)}},
                                                  {kovd3, {cpuTupleOf(cpu3)}}}));
}

TEST(CPUAssociation, reportsAProcessorThatHasVanished)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2));
    smbiosCPUObjs.insertObject(cpu3, smbiosCpu(3));
    when(cpu1 + " No associations found for path", [] { smbiosCPUObjs.eraseObject(cpu2); });
    CPUAssociation();
    EXPECT_EQ(linesOf("AssocForSmbiosCPU"),
              (Lines{"4 AssocForSmbiosCPU: " + cpu1 + " No associations found for path",
                     "1 AssocForSmbiosCPU: SMBIOS object not found for objPath: " + cpu2,
                     "4 AssocForSmbiosCPU: " + cpu3 + " No associations found for path"}));
}

/** Runs the pass over two processors; the first cannot even log its failure. */
template <class Thrown>
Lines passOverFailing(const Thrown& throwNow)
{
    smbiosCPUObjs.insertObject(cpu1, smbiosCpu(1));
    smbiosCPUObjs.insertObject(cpu2, smbiosCpu(2));
    recorded_log::setHook(
        [&](const LogLine& line)
        {
            if (line.function == "AssocForSmbiosCPU")
            {
                throwNow();
            }
        });
    CPUAssociation();
    EXPECT_FALSE(recorded_log::contains(cpu2 + " No association found for objPath"));
    return linesOf("CPUAssociation");
}

TEST(CPUAssociation, stopsAtABusError)
{
    EXPECT_EQ(passOverFailing([] { throw sdbusplus::exception::SdBusError(EIO, "sd_bus_call"); }),
              Lines{"1 CPUAssociation: Exception occurred " + busErrorText()});
}

TEST(CPUAssociation, stopsAtAStandardException)
{
    EXPECT_EQ(passOverFailing([] { throw std::runtime_error("out of luck"); }),
              Lines{"1 CPUAssociation: error: out of luck "});
}

TEST(CPUAssociation, stopsAtAnyOtherException)
{
    EXPECT_EQ(passOverFailing([] { throw 7; }), Lines{"1 CPUAssociation: exception"});
}

} // namespace
