// What real servers call their slots and sockets, taken through the matching rules.
//
// For each slot the platform's objects are derived that could stand for it, and each verdict is
// compared with the rule written down once more, as patterns; the verdicts are counted.

#include "doubles/fresh_store.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/recorded_requests.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/cpu_assoc.hpp"
#include "engines/find_association.hpp"
#include "engines/match.hpp"
#include "real_designations.hpp"
#include "store/store.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace
{

using Json = nlohmann::json;
using std::string;

const auto anyCase = std::regex::ECMAScript | std::regex::icase;

bool has(const string& text, const string& pattern)
{
    return std::regex_search(text, std::regex(pattern, anyCase));
}

/** The number behind the first "slot " or "bay "; -1 when none stands there. */
int numberBehind(const string& word, const string& designation)
{
    std::smatch found;
    const std::regex pattern(word + " (\\d*)", anyCase);
    const bool any = std::regex_search(designation, found, pattern) && found[1].length() > 0;
    return any ? std::stoi(found[1]) : -1;
}

/** The numbers by which a platform may know a slot: its identifier, and those of its name. */
std::set<int> candidateNumbers(const string& designation, int id)
{
    std::set<int> numbers{id};
    const std::regex digits("\\d{1,4}");
    for (std::sregex_iterator it(designation.begin(), designation.end(), digits), end; it != end;
         ++it)
    {
        numbers.insert(std::stoi(it->str()));
    }
    return numbers;
}

class RealDesignations : public RealDesignationsTest
{
  protected:
    /** Does this with each slot: machine, designation, identifier (0 where none is reported). */
    template <typename Work>
    void eachSlot(const Work& work) const
    {
        for (const Json& machine : machines)
        {
            for (const Json& slot : machine.at("slots"))
            {
                const Json& id = slot.at("id");
                work(slot.at("designation").get<string>(), id.is_null() ? 0 : id.get<int>());
            }
        }
    }

    /** Counts a verdict, which has to be what the patterns say. */
    void judge(const string& rule, const string& designation, const string& fqdd, bool verdict,
               bool expected)
    {
        EXPECT_EQ(verdict, expected) << rule << ": '" << designation << "' against " << fqdd;
        ++counts_[rule + (verdict ? ": match" : ": no match")];
    }

    void printCounts() const
    {
        for (const auto& [verdict, count] : counts_)
        {
            std::cout << "  " << verdict << ": " << count << "\n";
        }
    }

    /** Both verdicts have been seen. */
    void expectBoth(const string& rule) const
    {
        EXPECT_TRUE(counts_.contains(rule + ": match")) << rule;
        EXPECT_TRUE(counts_.contains(rule + ": no match")) << rule;
    }

    std::map<string, std::size_t> counts_;
};

constexpr std::uint16_t asId(int number)
{
    return static_cast<std::uint16_t>(number);
}

TEST_F(RealDesignations, AreComparedBySlotNumber)
{
    eachSlot(
        [this](const string& designation, int id)
        {
            const PropertyMap smbios = sample::smbiosSlot(designation, asId(id));
            const bool isBay = has(designation, "bay");
            for (const int number : candidateNumbers(designation, id))
            {
                const bool sameNumber = numberBehind("slot", designation) == number && !isBay;
                const string card = "Nic.Slot." + std::to_string(number) + "-1";
                const bool cardFits = sameNumber && has(designation, "nic|pcie");
                judge("card", designation, card,
                      CompareAssociationProperties(smbios, sample::kovdSlot(card, asId(id)),
                                                   compare::slotForSmbios),
                      cardFits);
                judge("device", designation, card,
                      CompareAssociationProperties(smbios, sample::kovdDevice(card),
                                                   compare::slotDevice),
                      cardFits);
                const string empty = "PcieSlotPlaceholder.Slot." + std::to_string(number) + "-1";
                judge("empty slot", designation, empty,
                      CompareAssociationProperties(smbios, sample::kovdSlot(empty, asId(id)),
                                                   compare::slotForKovd),
                      sameNumber);
                judge("card with another identifier", designation, card,
                      CompareAssociationProperties(smbios, sample::kovdSlot(card, asId(id + 1)),
                                                   compare::slotForKovd),
                      false);
            }
        });
    expectBoth("card");
    expectBoth("device");
    expectBoth("empty slot");
    printCounts();
}

TEST_F(RealDesignations, AreComparedByBay)
{
    eachSlot(
        [this](const string& designation, int id)
        {
            const int slot = numberBehind("slot", designation);
            const int bay = numberBehind("bay", designation);
            for (const int number : candidateNumbers(designation, id))
            {
                const string disk =
                    "Disk.Bay." + std::to_string(number) + ":Enclosure.Internal.0-1";
                judge("drive", designation, disk,
                      CompareAssociationProperties(sample::smbiosSlot(designation, asId(id)),
                                                   sample::kovdSlot(disk, asId(id), 9),
                                                   compare::slotForSmbios),
                      slot == number && bay == 1);
            }
        });
    printCounts();
}

TEST_F(RealDesignations, AreComparedBySocket)
{
    for (const Json& machine : machines)
    {
        for (const Json& processor : machine.at("processors"))
        {
            const string socket = processor.at("socket").get<string>();
            for (int number = 0; number <= machine.at("sockets").get<int>(); ++number)
            {
                const string key = "Kov.Socket." + std::to_string(number);
                judge("processor", socket, key,
                      CompareAssociationProperties(sample::smbiosCpu(socket),
                                                   sample::kovdCpu(key, asId(number)),
                                                   compare::cpu),
                      has(socket, "^cpu" + std::to_string(number) + "$"));
            }
        }
    }
    expectBoth("processor");
    printCounts();
}

const string chassis = "/xyz/openbmc_project/inventory/system/chassis/";
const string board = "/xyz/openbmc_project/inventory/system/board/";

std::uint16_t handle(const Json& number)
{
    return number.is_null() ? asId(0) : number.get<std::uint16_t>();
}

/** Stores what a machine reports, and a platform that knows each slot by its identifier. */
void store(const Json& machine)
{
    int number = 0;
    for (const Json& slot : machine.at("slots"))
    {
        ++number;
        const int id = slot.at("id").is_null() ? 0 : slot.at("id").get<int>();
        const string leaf = "pcie_slot_" + std::to_string(1000 + number);
        const string fqdd = "PcieSlotPlaceholder.Slot." + std::to_string(id) + "-1";
        smbiosPCIeSlotObjs.insertObject(
            chassis + "motherboard/pcieslot" + std::to_string(number),
            sample::smbiosSlot(slot.at("designation").get<string>(), asId(id)));
        kovdPCIeSlotObjs.insertObject(board + leaf, sample::kovdSlot(fqdd, asId(id)));
        kovdPCIeDeviceObjs.insertObject(board + leaf + "/card", sample::kovdDevice(fqdd));
        kovdChassisPathSlotObjs.insertObject(chassis + "motherboard/" + leaf,
                                             sample::kovdChassisObject());
    }
    number = 0;
    for (const Json& cpu : machine.at("processors"))
    {
        smbiosCPUObjs.insertObject(chassis + "motherboard/cpu" + std::to_string(number++),
                                   {{"Socket", cpu.at("socket").get<string>()},
                                    {"L1CacheHandle", handle(cpu.at("l1"))},
                                    {"L2CacheHandle", handle(cpu.at("l2"))},
                                    {"L3CacheHandle", handle(cpu.at("l3"))}});
        kovdCPUObjs.insertObject(
            board + "cpu" + std::to_string(number),
            sample::kovdCpu("Kov.Socket." + std::to_string(number), asId(number)));
    }
    for (const Json& cache : machine.at("caches"))
    {
        smbiosCacheObjs.insertObject(chassis + "cacheinfo/cache" +
                                         std::to_string(cache.at("handle").get<int>()),
                                     {{"Handle", handle(cache.at("handle"))}});
    }
}

TEST_F(RealDesignations, GoThroughBothPassesOfEachMachine)
{
    std::size_t slots = 0;
    std::map<string, std::size_t> paired;
    for (const Json& machine : machines)
    {
        resetStore();
        store(machine);
        AssociateSMBIOSPCIESlotsObjToKOVDObjs();
        CPUAssociation();
        slots += machine.at("slots").size();
        for (const AssociationRequest& request : recorded_requests::all())
        {
            ASSERT_FALSE(request.associations.empty()) << request.objectPath;
            ++paired[std::get<1>(request.associations.back())];
        }
        for (const LogLine& line : recorded_log::lines())
        {
            EXPECT_EQ(line.text.find("Exception"), string::npos) << machine.at("id") << line.text;
        }
    }
    EXPECT_GT(slots, 0U);
    for (const auto& [name, count] : paired)
    {
        std::cout << "  " << name << ": written " << count << " times\n";
    }
    EXPECT_GT(paired["pcieslot"], 0U);
    EXPECT_GT(paired["L3CacheHandle"], 0U);
}

} // namespace
