/* How the properties of a body are read, whatever their types. */
#include "unit/intake/decoding_kit.hpp"

#include <cstdint>
#include <tuple>

namespace
{

using both::Decoder;
using test_message::atEnd;
using test_message::Head;

/** The two bodies that carry properties, at each decoder. */
class PropertyReading : public Decoding,
                        public testing::WithParamInterface<std::tuple<const Decoder*, SignalType>>
{
  protected:
    const Decoder& decoder = *std::get<0>(GetParam());
    const bool inAddedObject = std::get<1>(GetParam()) == SignalType::InterfacesAdded;

    /** What is queued of a signal with those properties, given as a{sv} is appended. */
    template <class... Values>
    ReceivedProperties read(int count, Values... values)
    {
        const char* const interface = decoder.interface.c_str();
        const Head added{"/manager", objectManager, "InterfacesAdded"};
        const Head changed{decoder.path, properties, "PropertiesChanged"};
        auto message =
            inAddedObject
                ? test_message::signal(added, "oa{sa{sv}}", decoder.path.c_str(), 1, interface,
                                       count, values...)
                : test_message::signal(changed, "sa{sv}as", interface, count, values..., 0);
        decoder.decode(message);
        EXPECT_TRUE(atEnd(message));
        EXPECT_EQ(utilLines(), Lines{});
        EXPECT_FALSE(takeRecoveryRequest());
        const auto records = takeRecords(decoder.queue);
        if (records.size() != 1)
        {
            ADD_FAILURE() << records.size() << " records";
            return {};
        }
        return inAddedObject ? records[0].interfaces.at(decoder.interface)
                             : records[0].changedProperties;
    }
};

std::string nameOfBody(const testing::TestParamInfo<PropertyReading::ParamType>& info)
{
    const auto& [decoder, type] = info.param;
    return decoder->function + (type == SignalType::InterfacesAdded ? "Added" : "Changed");
}

INSTANTIATE_TEST_SUITE_P(Bodies, PropertyReading,
                         testing::Combine(testing::Values(&both::smbios, &both::kovd),
                                          testing::Values(SignalType::InterfacesAdded,
                                                          SignalType::PropertiesChanged)),
                         nameOfBody);

TEST_P(PropertyReading, keepsAllThirteenTypes)
{
    const ReceivedProperties read = this->read(
        13, "as", "as", 2, "one", "two", "s", "s", "text", "x", "x", std::int64_t{-1} << 40, "t",
        "t", std::uint64_t{1} << 63, "d", "d", 0.5, "i", "i", -7, "u", "u", 4000000000U, "n", "n",
        -300, "q", "q", 65535, "y", "y", 255, "b", "b", 1, "ay", "ay", 2, 0, 200, "a(sss)",
        "a(sss)", 1, "chassis", "pcieslot", "/a");
    EXPECT_EQ(read, (ReceivedProperties{
                        {"as", Strings{"one", "two"}},
                        {"s", std::string{"text"}},
                        {"x", std::int64_t{-1} * (std::int64_t{1} << 40)},
                        {"t", std::uint64_t{1} << 63},
                        {"d", 0.5},
                        {"i", std::int32_t{-7}},
                        {"u", std::uint32_t{4000000000U}},
                        {"n", std::int16_t{-300}},
                        {"q", std::uint16_t{65535}},
                        {"y", std::uint8_t{255}},
                        {"b", true},
                        {"ay", std::vector<std::uint8_t>{0, 200}},
                        {"a(sss)", AssociationList{{"chassis", "pcieslot", "/a"}}},
                    }));
}

TEST_P(PropertyReading, keepsEmptyValuesWithTheirTypes)
{
    EXPECT_EQ(read(6, "as", "as", 0, "s", "s", "", "q", "q", 0, "ay", "ay", 0, "a(sss)", "a(sss)",
                   0, "", "s", "without a name"),
              (ReceivedProperties{{"as", Strings{}},
                                  {"s", std::string{}},
                                  {"q", std::uint16_t{0}},
                                  {"ay", std::vector<std::uint8_t>{}},
                                  {"a(sss)", AssociationList{}},
                                  {"", std::string{"without a name"}}}));
}

TEST_P(PropertyReading, turnsEveryOtherTypeIntoAnEmptyListOfStrings)
{
    EXPECT_EQ(read(9, "o", "o", "/a", "g", "g", "as", "v", "v", "s", "x", "a{ss}", "a{ss}", 1, "k",
                   "v", "ao", "ao", 1, "/a", "au", "au", 2, 1U, 2U, "(s)", "(s)", "x", "aas", "aas",
                   1, 1, "x", "z", "s", "still read"),
              (ReceivedProperties{{"o", Strings{}},
                                  {"g", Strings{}},
                                  {"v", Strings{}},
                                  {"a{ss}", Strings{}},
                                  {"ao", Strings{}},
                                  {"au", Strings{}},
                                  {"(s)", Strings{}},
                                  {"aas", Strings{}},
                                  {"z", std::string{"still read"}}}));
}

TEST_P(PropertyReading, keepsTheFirstOfRepeatedNames)
{
    EXPECT_EQ(read(4, "Key", "s", "first", "Key", "q", 2, "Key", "o", "/third", "Other", "s", "x"),
              (ReceivedProperties{{"Key", std::string{"first"}}, {"Other", std::string{"x"}}}));
}

} // namespace
