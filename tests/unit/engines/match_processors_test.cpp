#include "compare_checks.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/match.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using namespace compare_checks;
using namespace sample;
using std::string;
using Lines = std::vector<string>;

constexpr int cpuTypes[] = {5, 7};

const PropertyMap smbiosCpu1 = smbiosCpu("CPU1");
const PropertyMap kovdCpu1 = kovdCpu("X.Y.1", 1);

TEST(CompareAssociationProperties, pairsProcessorsBySocket)
{
    for (const int type : cpuTypes)
    {
        recorded_log::clear();
        EXPECT_TRUE(CompareAssociationProperties(smbiosCpu("cpu1"), kovdCpu1, type));
        EXPECT_EQ(recorded_log::summary(),
                  (Lines{"9 CompareAssociationProperties: kovd_CPU_Key: X.Y.1",
                         "9 CompareAssociationProperties: smbios_CPU_socket: cpu1",
                         "9 CompareAssociationProperties: kovd_cpu_slotnum: 1",
                         "9 CompareAssociationProperties: VerifyCPUSlot: CPU1",
                         "9 CompareAssociationProperties: Slot number=1"}));
    }
}

TEST(CompareAssociationProperties, needsBothSocketNamesToAgree)
{
    struct Row
    {
        string socket;
        std::uint16_t slotNumber;
        string key;
        bool match;
        string lastLine; // without level and function
    };
    const Row rows[] = {
        {"CPU1", 1, "X.Y.1", true, "Slot number=1"},
        {"Cpu1", 1, "CPU-Socket-1.a-b", true, "Slot number=1"},
        {"CPU65535", 65535, "X.Y.65535", true, "Slot number=65535"},
        {"CPU0", 0, "X.Y.0", true, "Slot number=0"},
        // The key's token is text.
        {"CPU1", 1, "X.Y.01", false, "Slot number=01"},
        {"CPU1", 1, "X.Y.2", false, "Slot number=2"},
        {"CPU1", 1, "X.Y.1a", false, "Slot number=1a"},
        {"CPU1", 1, "X.Y.%s", false, "Slot number=%s"},
        // The slot number does not name the socket.
        {"CPU1", 2, "X.Y.1", false, "VerifyCPUSlot: CPU2"},
        {"CPU01", 1, "X.Y.01", false, "VerifyCPUSlot: CPU1"},
        {"CPU 1", 1, "X.Y.1", false, "VerifyCPUSlot: CPU1"},
        {"CPU1 ", 1, "X.Y.1", false, "VerifyCPUSlot: CPU1"},
        {"SOCKET1", 1, "X.Y.1", false, "VerifyCPUSlot: CPU1"},
        // The key is too short.
        {"CPU1", 1, "X.1", false, "KOVD Fqdd is not in expected format"},
        {"CPU1", 1, "1", false, "KOVD Fqdd is not in expected format"},
        {"CPU1", 1, "X.Y.", false, "KOVD Fqdd is not in expected format"},
    };
    for (const int type : cpuTypes)
    {
        for (const Row& row : rows)
        {
            SCOPED_TRACE(row.socket + " / " + row.key);
            recorded_log::clear();
            EXPECT_EQ(CompareAssociationProperties(smbiosCpu(row.socket),
                                                   kovdCpu(row.key, row.slotNumber), type),
                      row.match);
            ASSERT_FALSE(recorded_log::lines().empty());
            const LogLine last = recorded_log::lines().back();
            EXPECT_EQ(last.text, row.lastLine);
            EXPECT_EQ(last.level, row.lastLine.find("KOVD") == 0 ? 1 : 9);
            EXPECT_EQ(ownLines(), recorded_log::summary());
        }
    }
}

TEST(CompareAssociationProperties, needsEachPropertyOfAProcessorInItsType)
{
    for (const int type : cpuTypes)
    {
        expectEachPropertyNeeded(smbiosCpu1, kovdCpu1, type);
    }
}

TEST(CompareAssociationProperties, refusesEmptySocketNames)
{
    for (const int type : cpuTypes)
    {
        EXPECT_FALSE(CompareAssociationProperties(smbiosCpu(""), kovdCpu1, type));
        EXPECT_FALSE(CompareAssociationProperties(smbiosCpu1, kovdCpu("", 1), type));
    }
    EXPECT_EQ(recorded_log::summary(), Lines{});
}

} // namespace
