#include "inspect/explain.hpp"
#include "sim/error.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(resolve, takesAPathALeafOrASlotNumber)
{
    const std::string slot = systemPath + "board/pcie_slot_03";
    EXPECT_EQ(inspect::resolve(healthy(), slot), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "pcie_slot_03"), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "board/pcie_slot_03"), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "3"), slot);
    EXPECT_EQ(inspect::resolve(healthy(), "motherboard/pcie_slot_03"),
              systemPath + "chassis/motherboard/pcie_slot_03");
}

TEST(resolve, refusesWhatIsNotThereAndNamesWhatIsNear)
{
    EXPECT_THROW(inspect::resolve(healthy(), "nothing"), sim::UsageError);
    EXPECT_THROW(inspect::resolve(healthy(), "4711"), sim::UsageError);
    EXPECT_THROW(inspect::resolve(awkward(), "30"), sim::UsageError); // two slots have it
    try
    {
        inspect::resolve(healthy(), "SLOT_05");
        FAIL();
    }
    catch (const sim::UsageError& error)
    {
        EXPECT_NE(std::string(error.what()).find("board/pcie_slot_05"), std::string::npos);
    }
}

} // namespace
