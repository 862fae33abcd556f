/*
 * Both workers at once: whatever the order of their records, every slot ends up with its partner
 * and is written once. Built with the thread sanitizer these tests find races too.
 */
#include "base/names.hpp"
#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/records.hpp"
#include "doubles/run_together.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/find_association.hpp"
#include "intake/workers.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

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

void addSmbiosSlots()
{
    for (int number = 1; number <= slotCount; ++number)
    {
        processSmbiosRecord(
            UTIL_SITE, addedRecord(smbiosPath(number), {{std::string(names::smbiosSlotInterface),
                                                         sample::received(smbiosSlot(number))}}));
    }
}

void addKovdSlots()
{
    for (int number = slotCount; number >= 1; --number)
    {
        processKovdRecord(UTIL_SITE,
                          addedRecord(kovdPath(number), {{std::string(names::kovdSlotInterface),
                                                          sample::received(kovdSlot(number))}}));
    }
}

void expectAllPaired()
{
    for (int number = 1; number <= slotCount; ++number)
    {
        EXPECT_TRUE(isPair(smbiosPath(number), kovdPath(number))) << number;
    }
}

TEST(Workers, pairEverySlotThatBothAdd)
{
    recorded_log::setLevel(1);
    runTogether({addSmbiosSlots, addKovdSlots});
    expectAllPaired();
    const Requests requests = recorded_requests::all();
    for (int number = 1; number <= slotCount; ++number)
    {
        EXPECT_EQ(std::count(requests.begin(), requests.end(),
                             paired(kovdPath(number), smbiosPath(number))),
                  1)
            << number;
    }
    EXPECT_EQ(requests.size(), std::size_t{slotCount});
}

TEST(Workers, pairEverySlotAgainAfterRemovals)
{
    recorded_log::setLevel(1);
    runTogether({addSmbiosSlots, addKovdSlots,
                 []
                 {
                     for (int number = 1; number <= slotCount; ++number)
                     {
                         processSmbiosRecord(
                             UTIL_SITE, removedRecord(smbiosPath(number),
                                                      {std::string(names::smbiosSlotInterface)}));
                         AssociateSMBIOSPCIESlotsObjToKOVDObjs();
                     }
                 }});
    addSmbiosSlots();
    expectAllPaired();
}

} // namespace
