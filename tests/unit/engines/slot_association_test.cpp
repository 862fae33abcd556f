#include "engines/slot_association.hpp"

#include <gtest/gtest.h>

namespace
{

TEST(slotAssociationList, namesTheSlotAsTheChassisOfTheObject)
{
    EXPECT_EQ(slotAssociationList("/smbios/slot1"),
              (AssociationList{{"chassis", "pcieslot", "/smbios/slot1"}}));
}

} // namespace
