#include "inspect/explain.hpp"
#include "sim/error.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(compareTwo, takesTheTwoInEitherOrder)
{
    const std::string smbios = systemPath + "chassis/motherboard/pcieslot4";
    const std::string platform = systemPath + "board/pcie_slot_03";
    const auto one = inspect::compareTwo(healthy(), smbios, platform);
    const auto other = inspect::compareTwo(healthy(), platform, smbios);
    EXPECT_EQ(one.sentence, "pcieslot4 and pcie_slot_03 do not fit: SlotID 4, "
                            "PCIeLocatorInstanceNum 3: differ.");
    EXPECT_EQ(other.sentence, one.sentence);
    EXPECT_THROW(inspect::compareTwo(healthy(), platform, platform), sim::UsageError);
}

} // namespace
