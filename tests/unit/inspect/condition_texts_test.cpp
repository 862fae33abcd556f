#include "inspect/conditions.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;
using inspect::Kind;
using inspect::Rule;

PropertyMap text(PropertyName name, const char* value)
{
    return {{name, std::string(value)}};
}

TEST(sayMatchBriefly, tellsTheValuesOfEachRule)
{
    const PropertyMap slot{{"SlotDesignation", std::string("PCIe SLOT 3")},
                           {"SlotID", std::uint16_t{7}}};
    const PropertyMap platform{{"PCIeFQDD", std::string("NIC.Slot.3-1")},
                               {"PCIeLocatorType", std::uint8_t{6}},
                               {"PCIeLocatorInstanceNum", std::uint16_t{7}}};
    EXPECT_EQ(inspect::sayMatchBriefly(Rule::slot, slot, platform),
              "both name slot 3 (NIC.Slot.3-1), both have identifier 7");
    EXPECT_EQ(inspect::sayMatchBriefly(Rule::device, slot, text("FQDD", "NIC.Slot.3-1-1")),
              "both name slot 3 (NIC.Slot.3-1-1)");
    EXPECT_EQ(inspect::sayMatchBriefly(Rule::device, text("SlotDesignation", "SLOT 2 BAY 5"),
                                       text("FQDD", "Disk.Bay.2:Enclosure.Internal.0-5")),
              "both name slot 2 and bay 5 (Disk.Bay.2:Enclosure.Internal.0-5)");
    EXPECT_EQ(inspect::sayMatchBriefly(Rule::processor, text("Socket", "CPU1"),
                                       text("TargetDevKey", "Kov.Socket.1")),
              "both name socket CPU1 (Kov.Socket.1)");
    EXPECT_EQ(inspect::sayMatchBriefly(
                  Rule::cache, {{"Handle", std::uint16_t{9}}},
                  {{"L2CacheHandle", std::uint16_t{9}}, {"L3CacheHandle", std::uint16_t{9}}}),
              "L2CacheHandle is 9");
}

/** Whether the text tells the value of the property. */
bool tells(const std::string& text, const PropertyMap& properties, const char* name)
{
    return text.find(inspect::toText(*properties.find(name))) != std::string::npos;
}

TEST(say, tellsBothIdentifiersOfEveryTwoSlotsThatDiffer)
{
    const auto& outcome = awkward().outcome;
    std::size_t told = 0;
    for (const auto& [smbios, first] : outcome.of(Kind::smbiosSlot))
    {
        for (const auto& [platform, second] : outcome.of(Kind::kovdSlot))
        {
            const Condition failed = inspect::verdictOf(Rule::slot, first, second).failed();
            const std::string said = inspect::say(Rule::slot, failed, false, first, second);
            EXPECT_FALSE(said.empty());
            if (failed == Condition::slotIdEqual)
            {
                EXPECT_TRUE(tells(said, first, "SlotID")) << said;
                EXPECT_TRUE(tells(said, second, "PCIeLocatorInstanceNum")) << said;
                ++told;
            }
        }
    }
    EXPECT_GT(told, 100U);
}

} // namespace
