/*
 * Linked into a test program, this gives each of its tests an empty store and an empty log, and
 * fails a test during which a line was logged under a wrong module or file name.
 */
#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace
{

constexpr std::array<std::string_view, 20> cpuFunctions = {
    "AddCacheAssoc",        "AssocForKovdCPU",        "AssocForSmbiosCPU",
    "AssociateCacheObjs",   "CPUAssociation",         "CompareCacheAssocProps",
    "FindAssocCacheObjs",   "GetCurrentAssocTuples",  "GetSMBIOSCPUObjForCache",
    "InsertKOVDCPUObj",     "InsertSMBIOSCPUObj",     "InsertSMBIOSCacheObj",
    "IterateKOVDCPUObjs",   "IterateSMBIOSCPUObjs",   "UpdateCurrentAssocTuples",
    "checkNumofCacheAssoc", "getMatchingHandle",      "removeKOVDCPUAssoc",
    "removeSMBIOSCPUAssoc", "removeSMBIOSCacheAssoc",
};

std::string_view expectedFile(std::string_view function)
{
    const bool cpu =
        std::find(cpuFunctions.begin(), cpuFunctions.end(), function) != cpuFunctions.end();
    return cpu ? "hwinv_CPUAssoc" : "kov_hwinv_util";
}

class EveryTest : public testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo& /*test*/) override
    {
        resetStore();
    }

    void OnTestEnd(const testing::TestInfo& /*test*/) override
    {
        for (const LogLine& line : recorded_log::lines())
        {
            EXPECT_EQ(line.module, 357) << line.text;
            EXPECT_EQ(line.file, expectedFile(line.function)) << line.function << ": " << line.text;
            EXPECT_GT(line.line, 0) << line.text;
        }
        resetStore();
    }
};

// Before main parses the command line, so that the listener sees the first test.
[[maybe_unused]] const bool listening = []
{
    testing::UnitTest::GetInstance()->listeners().Append(new EveryTest);
    return true;
}();

} // namespace
