// The fault catalogue, row S10: objects that are erased while a search walks over them. Without a
// bus: the hook of the log erases between two steps, and four threads do so at any moment.

#include "doubles/pcie_world.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/run_together.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/find_association.hpp"
#include "engines/pcie_smbios_search.hpp"
#include "objects/pcie_objects.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <set>
#include <string>

namespace
{

using namespace world;

constexpr int numbers = 60;
constexpr int rounds = 40;

std::string smbiosPath(int number)
{
    return motherboard + "pcieslot" + std::to_string(number);
}

std::string kovdPath(int number)
{
    return inventory + "board/pcie_slot" + std::to_string(number);
}

void forEach(const std::function<void(int)>& work)
{
    for (int round = 0; round < rounds; ++round)
    {
        for (int number = 1; number <= numbers; ++number)
        {
            work(number);
        }
    }
}

/** No SMBIOS path may have two partners; how many pairs there are. */
std::size_t expectBijection()
{
    std::set<std::string> partners;
    std::size_t pairs = 0;
    for (int number = 1; number <= numbers; ++number)
    {
        if (const auto partner = findAssociatedSMBIOSPath(kovdPath(number)))
        {
            ++pairs;
            EXPECT_TRUE(partners.insert(*partner).second) << *partner;
            EXPECT_EQ(findAssociatedKOVDPath(*partner), kovdPath(number));
        }
        const auto partner = findAssociatedKOVDPath(smbiosPath(number));
        EXPECT_TRUE(!partner || findAssociatedSMBIOSPath(*partner) == smbiosPath(number));
    }
    return pairs;
}

TEST(StoreFaults, S10SlotErasedUnderThePass)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, smbiosSlot(1));
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
    when("SmbiosPath:" + smbios1, [] { smbiosPCIeSlotObjs.eraseObject(smbios2); });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_EQ(recorded_log::summary().back(),
              "1 AssociateSMBIOSPCIESlotsObjToKOVDObjs: SMBIOS object not found for objPath: " +
                  smbios2);
}

TEST(StoreFaults, S10SlotErasedUnderASearch)
{
    smbiosPCIeSlotObjs.insertObject(smbios1, {});
    smbiosPCIeSlotObjs.insertObject(smbios2, smbiosSlot(2));
    const std::string empty =
        "SMBIOS object properties could not be obtained for objPath: " + smbios1;
    when(empty, [] { smbiosPCIeSlotObjs.eraseObject(smbios2); });
    IterateSMBIOSPCISlotObjs(kovdSlot(2), slot2);
    EXPECT_EQ(recorded_log::summary().back(),
              "1 IterateSMBIOSPCISlotObjs: SMBIOS object not found for objPath: " + smbios2);
    EXPECT_EQ(recorded_requests::all(), Requests{});
}

TEST(StoreFaults, S10PlatformSlotErasedUnderASearchIsSkipped)
{
    smbiosPCIeSlotObjs.insertObject(smbios3, smbiosSlot(3));
    kovdPCIeSlotObjs.insertObject(slot2, kovdSlot(2));
    kovdPCIeSlotObjs.insertObject(slot3, kovdSlot(3));
    when("SmbiosPath:" + smbios3, [] { kovdPCIeSlotObjs.eraseObject(slot2); });
    AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    EXPECT_TRUE(isPair(smbios3, slot3));
}

TEST(StoreFaults, S10FourThreadsOnOneStore)
{
    recorded_log::setLevel(0);
    runTogether({
        []
        {
            forEach(
                [](int number) {
                    InsertSMBIOSPCIeSlotObj(smbiosPath(number),
                                            sample::received(smbiosSlot(number)));
                });
        },
        []
        {
            forEach(
                [](int number)
                { InsertKOVDPCIeSlotObj(kovdPath(number), sample::received(kovdSlot(number))); });
        },
        []
        {
            forEach(
                [](int number)
                {
                    smbiosPCIeSlotObjs.eraseObject(smbiosPath(numbers - number + 1));
                    removeSMBIOSPCIeAssociations(smbiosPath(number));
                    kovdPCIeSlotObjs.eraseObject(kovdPath(number));
                });
        },
        []
        {
            for (int round = 0; round < rounds; ++round)
            {
                AssociateSMBIOSPCIESlotsObjToKOVDObjs();
            }
        },
    });
    const std::size_t pairs = expectBijection();
    std::cout << "[ MEASURED ] " << pairs << " pairs, each with one partner on either side"
              << std::endl;
}

} // namespace
