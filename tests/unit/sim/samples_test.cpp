#include "sim/names.hpp"
#include "sim/samples.hpp"

#include <gtest/gtest.h>

namespace
{

using sim::Value;

TEST(Samples, MakeAWholeInventory)
{
    const auto inventory = sim::makeInventory(2000, 2);
    EXPECT_EQ(inventory.smbios.size(), 2000U + 2 + 6);
    EXPECT_EQ(inventory.kovd.size(), 3U * 2000 + 2);
}

TEST(Samples, DescribeTheSameSlotOnBothSides)
{
    const auto smbios = sim::makeSmbiosSlot(7).second.at(sim::names::smbiosSlot);
    const auto kovd = sim::makeKovdSlot(7).second.at(sim::names::kovdSlot);
    EXPECT_EQ(smbios.at("SlotID"), kovd.at("PCIeLocatorInstanceNum"));
    EXPECT_EQ(smbios.at("SlotDesignation"), Value::string("PCIe Slot 7"));
    EXPECT_EQ(kovd.at("PCIeFQDD"), Value::string("Nic.Slot.7-1"));
    EXPECT_EQ(kovd.at("PCIeLocatorType"), Value::byte(6));
}

TEST(Samples, NameNoPathThatBeginsAnother)
{
    EXPECT_FALSE(sim::kovdSlotPath(10).starts_with(sim::kovdSlotPath(1)));
    EXPECT_FALSE(sim::kovdSlotPath(2000).starts_with(sim::kovdSlotPath(200)));
    EXPECT_TRUE(sim::isBelow(sim::kovdDevicePath(1, 1), sim::kovdSlotPath(1)));
}

TEST(Samples, GiveEachProcessorItsOwnCacheHandles)
{
    const auto cpu = sim::makeSmbiosCpu(2).second.at(sim::names::smbiosCpu);
    const auto cache = sim::makeSmbiosCache(2, 3).second.at(sim::names::smbiosCache);
    EXPECT_EQ(cpu.at("L3CacheHandle"), cache.at("Handle"));
    EXPECT_NE(sim::cacheHandle(1, 3), sim::cacheHandle(2, 3));
    EXPECT_NE(sim::cacheHandle(1, 1), 0);
}

} // namespace
