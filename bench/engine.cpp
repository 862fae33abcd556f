/*
 * The daemon's own store and searches in a process without a bus: what one comparison of a full
 * pass costs, and how much heap one slot takes.
 *
 *   hwinv_bench_engine differ SLOTS PASSES   identifiers differ: ns of processor time a comparison
 *   hwinv_bench_engine fqdd SLOTS PASSES     identifiers are equal, the numbers in the texts are
 * not hwinv_bench_engine heap SLOTS            bytes of live heap a slot with its five objects
 *
 * What is inserted goes through the daemon's inserts, so it is kept as the daemon keeps it. No
 * event loop is registered: each association is handed over, refused and freed.
 */
#include "engines/find_association.hpp"
#include "objects/cpu_objects.hpp"
#include "objects/pcie_objects.hpp"
#include "store/association_pairs.hpp"
#include "store/one_piece.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <malloc.h>
#include <string>
#include <string_view>

namespace
{

constexpr unsigned otherNumbers = 10'000; // of the platform's slots, when nothing shall pair
constexpr std::uint16_t sameIdentifier = 7;

/** The number in four digits. */
std::string padded(unsigned number)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%04u", number);
    return digits;
}

std::string boardSlot(unsigned number)
{
    return "/xyz/openbmc_project/inventory/system/board/pcie_slot_" + padded(number);
}

void insertSmbiosSlot(unsigned number, std::uint16_t identifier)
{
    InsertSMBIOSPCIeSlotObj("/xyz/openbmc_project/inventory/system/chassis/motherboard/pcieslot" +
                                padded(number),
                            {{"SlotDesignation", "PCIe Slot " + std::to_string(number)},
                             {"SlotID", identifier},
                             {"BusNumber", std::uint8_t{3}}});
}

void insertKovdSlot(unsigned number, std::uint16_t identifier)
{
    InsertKOVDPCIeSlotObj(boardSlot(number),
                          {{"PCIeFQDD", "Nic.Slot." + std::to_string(number) + "-1"},
                           {"PCIeLocatorType", std::uint8_t{6}},
                           {"PCIeLocatorInstanceNum", identifier},
                           {"PCIClassCode", std::uint8_t{2}},
                           {"PCIeSubsystemId", std::uint16_t{0x0102}},
                           {"PCIeSubsystemVendorId", std::uint16_t{0x7A01}}});
}

void insertDevice(unsigned slot, const char* device)
{
    InsertKOVDPCIeDevicesObj(boardSlot(slot) + device,
                             {{"FQDD", "Nic.Slot." + std::to_string(slot) + "-1-1"},
                              {"P2PSubsystemVendorID", std::uint16_t{0x7A01}},
                              {"P2PSubsystemID", std::uint16_t{0x0102}},
                              {"Bus", std::uint8_t{3}}});
}

void insertTwin(unsigned number)
{
    InsertKOVDChassisPathSlotObjs(
        "/xyz/openbmc_project/inventory/system/chassis/motherboard/pcie_slot_" + padded(number),
        {{"Function0ClassCode", std::string("0x020000")},
         {"Function0SubsystemVendorId", std::string("0x7a01")},
         {"Function0SubsystemId", std::string("0x0102")}});
}

/** Nothing pairs, by the one rule or by the other. */
void fillWithoutPairs(unsigned slots, bool identifiersDiffer)
{
    const MutexLock piece(pieceMutex);
    for (unsigned number = 1; number <= slots; ++number)
    {
        insertSmbiosSlot(number,
                         identifiersDiffer ? static_cast<std::uint16_t>(number) : sameIdentifier);
    }
    for (unsigned number = otherNumbers + 1; number <= otherNumbers + slots; ++number)
    {
        insertKovdSlot(number,
                       identifiersDiffer ? static_cast<std::uint16_t>(number) : sameIdentifier);
    }
}

double processorTime()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double comparison(unsigned slots, unsigned passes, bool identifiersDiffer)
{
    fillWithoutPairs(slots, identifiersDiffer);
    const double begin = processorTime();
    for (unsigned pass = 0; pass < passes; ++pass)
    {
        AssociateSMBIOSPCIESlotsObjToKOVDObjs();
    }
    const double comparisons = static_cast<double>(passes) * slots * slots;
    return comparisons == 0 ? 0 : (processorTime() - begin) / comparisons;
}

void insertPairedSlots(unsigned from, unsigned to)
{
    const MutexLock piece(pieceMutex);
    for (unsigned number = from; number <= to; ++number)
    {
        insertSmbiosSlot(number, static_cast<std::uint16_t>(number));
        insertKovdSlot(number, static_cast<std::uint16_t>(number));
        insertDevice(number, "/device1");
        insertDevice(number, "/device2");
        insertTwin(number);
    }
}

/** Growth from the first quarter of the slots on: what the first objects bring along is no part. */
double heapOfASlot(unsigned slots)
{
    const unsigned first = slots / 4;
    insertPairedSlots(1, first);
    const std::size_t before = mallinfo2().uordblks;
    insertPairedSlots(first + 1, slots);
    if (!isPathAssociated(kovdSide, boardSlot(slots)))
    {
        std::fprintf(stderr, "the slots have not paired\n");
        std::exit(1);
    }
    return static_cast<double>(mallinfo2().uordblks - before) / (slots - first);
}

unsigned number(const char* text)
{
    return static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (argc == 4 && (what == "differ" || what == "fqdd"))
    {
        std::printf("%f\n", comparison(number(argv[2]), number(argv[3]), what == "differ"));
        return 0;
    }
    if (argc == 3 && what == "heap")
    {
        std::printf("%f\n", heapOfASlot(number(argv[2])));
        return 0;
    }
    std::fprintf(stderr, "usage: %s differ|fqdd SLOTS PASSES | heap SLOTS\n", argv[0]);
    return 2;
}
