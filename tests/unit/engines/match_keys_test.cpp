/*
 * The keys against the rule that they stand for: by hand where it matters, and for random pairs of
 * objects at the levels where the rule writes all, some and none of its lines.
 *
 * HWINV_ROUNDS says how many pairs, HWINV_SEED repeats those of an earlier run.
 */
#include "base/names.hpp"
#include "doubles/recorded_log.hpp"
#include "doubles/sample_objects.hpp"
#include "engines/match_keys.hpp"
#include "environment.hpp"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using std::string;
using Identifier = std::optional<std::uint16_t>;
using Number = std::optional<int>;

/** A slot's designation with that identifier and number. */
PropertyMap smbiosSlot(const string& designation)
{
    return sample::smbiosSlot(designation, 3);
}

Number numberOfDesignation(const string& designation)
{
    return keysOfSmbiosSlot(smbiosSlot(designation)).number;
}

Number numberOfDescriptor(const string& fqdd)
{
    const Number ofDevice = keysOfKovdDevice(sample::kovdDevice(fqdd)).number;
    EXPECT_EQ(keysOfKovdSlot(sample::kovdSlot(fqdd, 3)).number, ofDevice);
    return ofDevice;
}

TEST(keysOfSmbiosSlot, readsTheNumberThatTheSlotRuleCompares)
{
    EXPECT_EQ(keysOfSmbiosSlot(smbiosSlot("PCIe SLOT 7")).identifier, Identifier(3));
    EXPECT_EQ(numberOfDesignation("PCIe SLOT 7"), Number(7));
    EXPECT_EQ(numberOfDesignation("pcie slot 07 x16"), Number(7));
    EXPECT_EQ(numberOfDesignation("OCP"), Number(-1)); // an answer like any other
    for (const string designation : {"", "SLOT 7 BAY 1", "bay", "SLOT 99999999999"})
    {
        EXPECT_EQ(numberOfDesignation(designation), std::nullopt) << designation;
    }
}

TEST(keysOfSmbiosSlot, leavesOutWhatIsMissingOrMistyped)
{
    const PropertyMap slot = smbiosSlot("PCIe SLOT 7");
    constexpr PropertyName slotId{names::slotId};
    constexpr PropertyName designation{names::slotDesignation};
    for (const PropertyMap& changed :
         {sample::without(slot, slotId), sample::with(slot, slotId, std::uint32_t{3})})
    {
        EXPECT_EQ(keysOfSmbiosSlot(changed).identifier, std::nullopt);
        EXPECT_EQ(keysOfSmbiosSlot(changed).number, Number(7));
    }
    for (const PropertyMap& changed :
         {sample::without(slot, designation), sample::with(slot, designation, true)})
    {
        EXPECT_EQ(keysOfSmbiosSlot(changed).identifier, Identifier(3));
        EXPECT_EQ(keysOfSmbiosSlot(changed).number, std::nullopt);
    }
}

TEST(keysOfKovdSlot, readsTheNumberOfASlotAlone)
{
    EXPECT_EQ(keysOfKovdSlot(sample::kovdSlot("NIC.Slot.7-1", 3)).identifier, Identifier(3));
    for (const std::uint8_t locatorType : std::vector<std::uint8_t>{0, 9, 255})
    {
        const MatchKeys keys = keysOfKovdSlot(sample::kovdSlot("NIC.Slot.7-1", 3, locatorType));
        EXPECT_EQ(keys.identifier, Identifier(3));
        EXPECT_EQ(keys.number, std::nullopt);
    }
}

TEST(keysOfKovdSlot, hasNoneWithoutAReadableLocator)
{
    const PropertyMap slot = sample::kovdSlot("NIC.Slot.7-1", 3);
    for (const PropertyName name :
         std::initializer_list<PropertyName>{names::pcieLocatorType, names::pcieLocatorInstanceNum})
    {
        SCOPED_TRACE(std::string_view(name));
        for (const PropertyMap& changed :
             {sample::without(slot, name), sample::with(slot, name, 6.0)})
        {
            EXPECT_EQ(keysOfKovdSlot(changed).identifier, std::nullopt);
            EXPECT_EQ(keysOfKovdSlot(changed).number, std::nullopt);
        }
    }
}

TEST(keysOfKovdDevice, readsTheNumberInTheThirdToken)
{
    EXPECT_EQ(numberOfDescriptor("NIC.Slot.7-1"), Number(7));
    EXPECT_EQ(numberOfDescriptor("NIC.sLoT. 007x"), Number(7));
    for (const string fqdd :
         {"", "NIC.Slot", "NIC.Embedded.1-1", "NIC.Slot.x", "NIC.Slot.+", "NIC.Slot.99999999999"})
    {
        EXPECT_EQ(numberOfDescriptor(fqdd), std::nullopt) << fqdd;
    }
    EXPECT_EQ(keysOfKovdDevice(sample::kovdDevice("Disk.Slot.7:Disk.Bay.1")).number, std::nullopt);
    EXPECT_EQ(keysOfKovdDevice(PropertyMap{}).number, std::nullopt);
}

TEST(keysRefuse, otherIdentifiersAtAnyLevel)
{
    for (const int level : {4, 5, 9})
    {
        recorded_log::setLevel(level);
        for (const int type : {compare::slotForKovd, compare::slotForSmbios})
        {
            EXPECT_TRUE(keysRefuse({1, 7}, {2, 7}, type));
            EXPECT_FALSE(keysRefuse({1, 7}, {1, 7}, type));
            EXPECT_FALSE(keysRefuse({std::nullopt, 7}, {2, 8}, type));
            EXPECT_FALSE(keysRefuse({1, 7}, {std::nullopt, 8}, type));
        }
        EXPECT_FALSE(keysRefuse({1, 7}, {2, 7}, compare::slotDevice));
    }
}

TEST(keysRefuse, otherNumbersWhereTheRulesLinesAreNotWritten)
{
    for (const int level : {0, 1, 4, 5, 9})
    {
        SCOPED_TRACE(level);
        recorded_log::setLevel(level);
        for (const int type : {compare::slotForKovd, compare::slotForSmbios, compare::slotDevice})
        {
            EXPECT_EQ(keysRefuse({1, 7}, {1, 8}, type), level < 5);
            EXPECT_FALSE(keysRefuse({1, std::nullopt}, {1, 8}, type));
            EXPECT_FALSE(keysRefuse({1, 7}, {1, std::nullopt}, type));
        }
    }
}

/** Random objects: mostly well formed, so that they get far in the rule, and often nearly so. */
class Objects
{
  public:
    explicit Objects(std::uint64_t seed) : generator_(seed) {}

    PropertyMap smbios()
    {
        PropertyMap properties;
        put(properties, names::slotId, number());
        put(properties, names::slotDesignation,
            mostly() ? "PCIe SLOT " + digits() : textOf(designationPieces));
        return properties;
    }

    PropertyMap kovd()
    {
        PropertyMap properties;
        put(properties, names::pcieLocatorInstanceNum, number());
        put(properties, names::pcieLocatorType,
            mostly() ? std::uint8_t{6} : oneOf(std::vector<std::uint8_t>{6, 9, 9, 7}));
        put(properties, names::pcieFqdd, fqdd());
        put(properties, names::fqdd, fqdd());
        return properties;
    }

    int type()
    {
        return oneOf(
            std::vector{compare::slotForKovd, compare::slotForSmbios, compare::slotDevice});
    }

  private:
    using Pieces = std::vector<string>;

    std::size_t below(std::size_t limit)
    {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(generator_);
    }

    bool mostly()
    {
        return below(3) != 0;
    }

    template <class Value>
    Value oneOf(const std::vector<Value>& values)
    {
        return values[below(values.size())];
    }

    std::uint16_t number()
    {
        return static_cast<std::uint16_t>(below(3));
    }

    string digits()
    {
        return oneOf(Pieces{"1", "2", "3", "03", "0", "99999999999", ""});
    }

    string textOf(const Pieces& pieces)
    {
        string text;
        for (std::size_t count = below(6); count > 0; --count)
        {
            text += oneOf(pieces);
        }
        return text;
    }

    string fqdd()
    {
        return mostly() ? oneOf(Pieces{"NIC", "PCIESLOTPLACEHOLDER"}) + ".Slot." + digits() + "-1"
                        : textOf(fqddPieces);
    }

    /** Now and then not at all, or with a value of any type. */
    void put(PropertyMap& properties, PropertyName name, PropertyValue value)
    {
        const std::size_t chance = below(24);
        if (chance != 0)
        {
            properties.insert_or_assign(name, chance == 1 ? oneOf(sample::everyType())
                                                          : std::move(value));
        }
    }

    static inline const Pieces designationPieces{"PCIe ", "SLOT ", "slot ", "SLOT", "BAY ",
                                                 "Bay",   "NIC",   "1",     "2",    "03",
                                                 " ",     "-",     "x",     "\xe4", "99999999999"};
    static inline const Pieces fqddPieces{
        "NIC",   ".", "-",           ".Slot.",    "SLOT",
        ".Bay.", "1", "2",           "03",        "+3",
        " 3",    "x", "0x3",         "\t",        ":",
        "\xd3",  "",  "99999999999", "Disk.Bay.", "Enclosure.Internal.0-"};

    std::mt19937_64 generator_;
};

string described(const PropertyMap& properties)
{
    std::ostringstream text;
    for (const auto& [name, value] : properties)
    {
        const auto* inside = std::get_if<string>(&value);
        text << std::string_view(name) << " = type " << value.index() << ' '
             << (inside != nullptr ? testing::PrintToString(*inside) : "") << "; ";
    }
    return text.str();
}

// Where the keys do not refuse the rule itself is asked, so only what they refuse can differ.
TEST(keysRefuse, nothingThatTheRuleWouldMatchOrLog)
{
    const std::uint64_t seed = environment::seed();
    const std::uint64_t pairs = environment::rounds(20'000);
    Objects objects(seed);
    std::uint64_t refused = 0;
    std::uint64_t refusedByNumber = 0;
    for (std::uint64_t pair = 0; pair < pairs && !HasFailure(); ++pair)
    {
        const PropertyMap smbios = objects.smbios();
        const PropertyMap kovd = objects.kovd();
        const int type = objects.type();
        const MatchKeys smbiosKeys = keysOfSmbiosSlot(smbios);
        const MatchKeys kovdKeys =
            type == compare::slotDevice ? keysOfKovdDevice(kovd) : keysOfKovdSlot(kovd);
        for (const int level : {4, 5, 9})
        {
            recorded_log::clear();
            recorded_log::setLevel(level);
            if (!keysRefuse(smbiosKeys, kovdKeys, type))
            {
                continue;
            }
            ++refused;
            const Verdict verdict = CompareAssociationProperties(smbios, kovd, type);
            const Condition expected =
                smbiosKeys.identifier != kovdKeys.identifier && type != compare::slotDevice
                    ? Condition::slotIdEqual
                    : Condition::slotNumberEqual;
            refusedByNumber += expected == Condition::slotNumberEqual ? 1 : 0;
            EXPECT_EQ(verdict.failed(), expected)
                << described(smbios) << '\n'
                << described(kovd) << "\ntype " << type << " at level " << level
                << "; HWINV_SEED=" << seed;
            EXPECT_EQ(recorded_log::summary(), std::vector<string>{}) << described(smbios) << '\n'
                                                                      << described(kovd);
        }
    }
    EXPECT_GT(refused, pairs / 2) << "too few pairs say anything; HWINV_SEED=" << seed;
    EXPECT_GT(refusedByNumber, pairs / 20) << "HWINV_SEED=" << seed;
}

// What the keys leave to the rule is little, or they would be of no use.
TEST(keysRefuse, allThatTheRuleRefusesOfWellFormedSlots)
{
    recorded_log::setLevel(4);
    for (const std::uint16_t identifier : {std::uint16_t{1}, std::uint16_t{2}})
    {
        for (const string number : {"1", "2"})
        {
            const MatchKeys smbios =
                keysOfSmbiosSlot(sample::smbiosSlot("PCIe SLOT " + number, identifier));
            const MatchKeys kovd = keysOfKovdSlot(sample::kovdSlot("NIC.Slot.1-1", 1));
            EXPECT_EQ(keysRefuse(smbios, kovd, compare::slotForKovd),
                      identifier != 1 || number != "1");
        }
    }
}

} // namespace
