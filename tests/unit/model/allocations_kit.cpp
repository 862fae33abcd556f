#include "allocations_kit.hpp"

#include "doubles/failing_allocation.hpp"
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "invariants.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <string>
#include <vector>

namespace allocations
{

std::size_t survived = 0;

namespace
{

using std::string;
using Texts = std::vector<string>;

// Whatever runs out of memory says one of these, "FUNCTION: TEXT", and nothing else.
const std::set<string> failureLines = {
    "AddCacheAssoc: Exception in AddCacheAssoc: std::bad_alloc",
    "AssocForKovdCPU: Exception: std::bad_alloc",
    "AssocForSmbiosCPU: Exception in AssocForSmbiosCPU: std::bad_alloc",
    "AssociateCacheObjs: Exception: std::bad_alloc",
    "AssociateSMBIOSPCIESlotsObjToKOVDObjs: Exception in "
    "AssociateSMBIOSPCIESlotsToKOVDPCIESlots: std::bad_alloc",
    "CPUAssociation: error: std::bad_alloc ",
    "CompareAssociationProperties: Exception in CompareAssociationProperties: std::bad_alloc",
    "FindAssocCacheObjs: error: std::bad_alloc ",
    "FindAssociation: Exception in convertPath: std::bad_alloc",
    "GetKovdMsgData: failed to read message err[std::bad_alloc]",
    "GetSMBIOSCPUObjForCache: Exception: std::bad_alloc",
    "GetSmbiosMsgData: failed to read message err[std::bad_alloc]",
    "InsertKOVDCPUObj: [std::bad_alloc] Exception occurred",
    "InsertKOVDChassisPathSlotObjs: Exception occurred[std::bad_alloc]",
    "InsertKOVDPCIeDevicesObj: failed to read message properties[std::bad_alloc]",
    "InsertKOVDPCIeSlotObj: Exception occurred[std::bad_alloc]",
    "InsertSMBIOSCPUObj: failed to read message properties[std::bad_alloc]",
    "InsertSMBIOSCacheObj: failed to read message properties[std::bad_alloc]",
    "InsertSMBIOSPCIeSlotObj: failed to read message properties[std::bad_alloc]",
    "IterateKOVDCPUObjs: Exception: std::bad_alloc",
    "IterateKOVDObjs: Exception in IterateKOVDObjs: std::bad_alloc",
    "IterateKOVDPCIeSlotDeviceObjs: Exception in IterateKOVDPCIeSlotDeviceObjs: std::bad_alloc",
    "IterateKOVDPCIeSlotObjsChassisPath: Exception in IterateKOVDPCIeSlotObjsChassisPath: "
    "std::bad_alloc",
    "IterateSMBIOSCPUObjs: Exception: std::bad_alloc",
    "IterateSMBIOSObjs: Exception in IterateSMBIOSObjs: std::bad_alloc",
    "IterateSMBIOSPCISlotObjs: Exception: std::bad_alloc",
    "convertPath: Exception in convertPath: std::bad_alloc",
    "processKovdMessagesInQueue: failed to read message err[std::bad_alloc]",
    "processSmbiosMessagesInQueue: failed to process message err[std::bad_alloc]",
    "removeKOVDCPUAssoc: failed to read message properties[std::bad_alloc]",
    "removeSMBIOSCPUAssoc: Exception occurred[std::bad_alloc]",
    "removeSMBIOSCacheAssoc: error: std::bad_alloc ",
    "removeSMBIOSPCIeAssociations: failed to remove association[std::bad_alloc]",
};

/** Says at the end how many failures there were. */
class Sum : public testing::Environment
{
    void TearDown() override
    {
        std::cout << survived << " failures of allocations survived\n";
    }
};

[[maybe_unused]] const auto* const sum = testing::AddGlobalTestEnvironment(new Sum);

/** The lines that tell of memory, as failureLines has them. */
Texts linesOfMemory()
{
    Texts texts;
    for (const LogLine& line : recorded_log::lines())
    {
        if (line.text.find("std::bad_alloc") != string::npos)
        {
            texts.push_back(line.function + ": " + line.text);
        }
    }
    return texts;
}

/** After a failure: what was said, what stands, and that what comes next works. */
void expectSurvived()
{
    const Texts said = linesOfMemory();
    EXPECT_FALSE(said.empty());
    for (const string& line : said)
    {
        EXPECT_TRUE(failureLines.contains(line)) << line;
    }
    EXPECT_EQ(invariants::broken(), Texts{});
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    CPUAssociation();
    EXPECT_EQ(invariants::broken(), Texts{});
}

} // namespace

std::size_t failEach(const Operation& operation)
{
    std::size_t points = 0;
    for (const std::size_t failures : {1U, 2U})
    {
        for (points = 0;; ++points)
        {
            SCOPED_TRACE("allocation " + std::to_string(points) + ", failures " +
                         std::to_string(failures));
            resetStore();
            operation.before();
            recorded_log::clear();
            failing_allocation::arm(points, failures);
            EXPECT_NO_THROW(operation.act());
            if (!failing_allocation::disarm())
            {
                break;
            }
            expectSurvived();
            ++survived;
        }
    }
    resetStore();
    return points;
}

void expectEachFails(const Operation& operation)
{
    const std::size_t points = failEach(operation);
    EXPECT_GT(points, 0U);
    testing::Test::RecordProperty("allocations", static_cast<int>(points));
}

} // namespace allocations
