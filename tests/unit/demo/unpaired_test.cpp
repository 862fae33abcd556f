#include "hwinv_demo/unpaired.hpp"
#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace hwinv_demo;
using Paths = std::vector<std::string>;

const sim::Associations list{{"chassis", "pcieslot", sim::smbiosSlotPath(1)}};

TEST(UnpairedPlatform, IsWhatHasNoList)
{
    const auto kovd = sim::makeInventory(1, 1).kovd;

    EXPECT_EQ(unpairedPlatform(kovd, {}),
              (Paths{sim::kovdCpuPath(1), sim::kovdSlotPath(1), sim::kovdDevicePath(1, 1),
                     sim::kovdChassisPath(1)}));
    EXPECT_EQ(unpairedPlatform(kovd, {{sim::kovdCpuPath(1), list},
                                      {sim::kovdSlotPath(1), list},
                                      {sim::kovdDevicePath(1, 1), list}}),
              (Paths{sim::kovdChassisPath(1)}));
}

TEST(UnpairedPlatform, LeavesOutWhatNobodyPairs)
{
    const sim::Interfaces item{{sim::names::item, {}}};
    const sim::Objects kovd{
        {"/xyz/openbmc_project/inventory/system/board/fan1", item},
        {"/xyz/openbmc_project/inventory/system/board/pcie_slot_1", item},
        {"/xyz/openbmc_project/inventory/system/chassis/motherboard", item},
        {"/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie_slot_1", item},
    };

    EXPECT_EQ(unpairedPlatform(kovd, {}), Paths());
}

TEST(UnpairedSmbios, IsWhatStandsInNoList)
{
    const auto smbios = sim::makeInventory(2, 1).smbios;
    const Lists lists{
        {sim::kovdSlotPath(1), list},
        {sim::kovdCpuPath(1),
         {{"chassis", "processor", sim::smbiosCpuPath(1)},
          {"processor", "L1CacheHandle", sim::smbiosCachePath(1, 1)},
          {"processor", "L2CacheHandle", sim::smbiosCachePath(1, 2)}}},
    };

    EXPECT_EQ(unpairedSmbios(smbios, lists),
              (Paths{sim::smbiosCachePath(1, 3), sim::smbiosSlotPath(2)}));
}

TEST(UnpairedSmbios, LeavesOutWhatNobodyPairs)
{
    const sim::Objects smbios{
        {"/xyz/openbmc_project/inventory/system/chassis/motherboard/dimm0", {}},
        {"/xyz/openbmc_project/inventory/system/chassis/motherboard/bios", {}},
    };

    EXPECT_EQ(unpairedSmbios(smbios, {}), Paths());
}

} // namespace
