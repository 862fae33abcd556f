/*
 * Both workers at once: whatever the interleaving, every slot ends up with its partner. Built with
 * the thread sanitizer these tests find races too.
 */
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/run_together.hpp"
#include "engines/find_association.hpp"
#include "objects/pcie_objects.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace
{

using namespace world;

constexpr int slotCount = 40;

std::string smbiosPath(int number)
{
    return motherboard + "pcieslot" + std::to_string(number);
}

std::string kovdPath(int number)
{
    return inventory + "board/pcie_slot" + std::to_string(number);
}

void insertSmbiosSlots()
{
    for (int number = 1; number <= slotCount; ++number)
    {
        InsertSMBIOSPCIeSlotObj(smbiosPath(number), smbiosSlot(number));
    }
}

void insertKovdSlots()
{
    for (int number = slotCount; number >= 1; --number)
    {
        InsertKOVDPCIeSlotObj(kovdPath(number), kovdSlot(number));
    }
}

void expectAllPaired()
{
    for (int number = 1; number <= slotCount; ++number)
    {
        EXPECT_TRUE(isPair(smbiosPath(number), kovdPath(number))) << number;
    }
}

TEST(Workers, pairEverySlotThatBothInsert)
{
    recorded_log::setLevel(1);
    runTogether({insertSmbiosSlots, insertKovdSlots});
    expectAllPaired();
    std::size_t written = 0;
    for (int number = 1; number <= slotCount; ++number)
    {
        for (const AssociationRequest& request : recorded_requests::all())
        {
            if (request.objectPath == kovdPath(number))
            {
                EXPECT_EQ(request, paired(kovdPath(number), smbiosPath(number)));
                ++written;
            }
        }
    }
    EXPECT_GE(written, std::size_t{slotCount}); // both may write one
    EXPECT_EQ(written, recorded_requests::all().size());
}

TEST(Workers, pairEverySlotAgainAfterRemovals)
{
    recorded_log::setLevel(1);
    runTogether({insertSmbiosSlots, insertKovdSlots,
                 []
                 {
                     for (int number = 1; number <= slotCount; ++number)
                     {
                         removeSMBIOSPCIeAssociations(smbiosPath(number));
                         AssociateSMBIOSPCIESlotsObjToKOVDObjs();
                     }
                 }});
    insertSmbiosSlots();
    expectAllPaired();
}

} // namespace
