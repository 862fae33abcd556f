#include "messages.hpp"
#include "types.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace
{

class Read : public testing::Test
{
  protected:
    SilentConnection bus;

    template <typename T>
    T readOne(sdbusplus::message_t&& m)
    {
        T value{};
        m.read(value);
        return value;
    }

    // The error that reading a T out of the message ends with.
    template <typename T>
    void expectError(sdbusplus::message_t&& m, const std::string& call)
    {
        try
        {
            readOne<T>(std::move(m));
            FAIL() << "read what does not fit";
        }
        catch (const sdbusplus::exception::SdBusError& error)
        {
            EXPECT_EQ(error.what(), call + ": System.Error.ENXIO: No such device or address");
        }
    }
};

TEST_F(Read, TextsAndPathsInTheOrderOfTheMessage)
{
    auto m = bus.message("sos", "text", "/a/path", "");
    std::string text;
    compat::ObjectPath path;
    std::string empty = "filled";
    m.read(text, path, empty);
    EXPECT_EQ(text, "text");
    EXPECT_EQ(path.str, "/a/path");
    EXPECT_EQ(empty, "");
}

TEST_F(Read, OneCallAfterTheOther)
{
    auto m = bus.message("so", "first", "/second");
    std::string text;
    compat::ObjectPath path;
    m.read(text);
    m.read(path);
    EXPECT_EQ(text, "first");
    EXPECT_EQ(path.str, "/second");
}

TEST_F(Read, ArrayOfTexts)
{
    EXPECT_EQ(readOne<std::vector<std::string>>(bus.message("as", 2, "b", "a")),
              (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(readOne<std::vector<std::string>>(bus.message("as", 0)), std::vector<std::string>{});
}

TEST_F(Read, PropertiesAndNamesOfAChange)
{
    auto m = bus.message("sa{sv}as", "test.One", 2, "Slot", "q", 3, "Name", "s", "x", 1, "Gone");
    std::string interface;
    Properties changed;
    std::vector<std::string> invalidated;
    m.read(interface, changed, invalidated);
    EXPECT_EQ(interface, "test.One");
    EXPECT_EQ(changed, (Properties{{"Name", std::string("x")}, {"Slot", uint16_t{3}}}));
    EXPECT_EQ(invalidated, std::vector<std::string>{"Gone"});
}

TEST_F(Read, OfRepeatedKeysTheFirstStays)
{
    EXPECT_EQ(readOne<Properties>(bus.message("a{sv}", 3, "b", "i", 1, "b", "i", 2, "a", "i", 3)),
              (Properties{{"a", int32_t{3}}, {"b", int32_t{1}}}));
}

TEST_F(Read, VariantTakesTheAlternativeOfItsType)
{
    const auto read = [&](const char* type, auto... value)
    { return readOne<Property>(bus.message("v", type, value...)); };

    EXPECT_EQ(read("as", 1, "x"), Property(std::vector<std::string>{"x"}));
    EXPECT_EQ(read("s", "x"), Property(std::string("x")));
    EXPECT_EQ(read("x", INT64_MIN), Property(INT64_MIN));
    EXPECT_EQ(read("t", UINT64_MAX), Property(UINT64_MAX));
    EXPECT_EQ(read("d", 0.5), Property(0.5));
    EXPECT_EQ(read("i", -70000), Property(int32_t{-70000}));
    EXPECT_EQ(read("u", 4000000000U), Property(uint32_t{4000000000U}));
    EXPECT_EQ(read("n", -3), Property(int16_t{-3}));
    EXPECT_EQ(read("q", 60000), Property(uint16_t{60000}));
    EXPECT_EQ(read("y", 200), Property(uint8_t{200}));
    EXPECT_EQ(read("b", 1), Property(true));
    EXPECT_EQ(read("b", 0), Property(false));
    EXPECT_EQ(read("ay", 3, 1, 2, 255), Property(std::vector<uint8_t>{1, 2, 255}));
    EXPECT_EQ(read("ay", 0), Property(std::vector<uint8_t>{}));
    EXPECT_EQ(read("a(sss)", 1, "a", "b", "/c"), Property(Associations{{"a", "b", "/c"}}));
}

TEST_F(Read, VariantWithoutFittingAlternativeIsSkipped)
{
    auto m =
        bus.message("vvvs", "o", "/path", "v", "s", "nested", "a{sv}", 1, "k", "i", 1, "behind");
    Property path = true;
    Property nested = true;
    Property map = true;
    std::string behind;
    m.read(path, nested, map, behind);
    EXPECT_EQ(path, Property());
    EXPECT_EQ(nested, Property());
    EXPECT_EQ(map, Property());
    EXPECT_EQ(behind, "behind");
}

TEST_F(Read, ManagedObjects)
{
    auto m = bus.message("a{oa{sa{sv}}}", 2,                                       //
                         "/b", 1, "test.One", 2, "Name", "s", "x", "Slot", "q", 3, //
                         "/a", 2, "test.Two", 0, "test.Three", 1, "Odd", "o", "/skipped");
    const auto objects = readOne<Objects>(std::move(m));
    std::vector<std::string> paths;
    std::vector<Interfaces> interfaces;
    for (const auto& [path, contents] : objects)
    {
        paths.push_back(path.str);
        interfaces.push_back(contents);
    }
    EXPECT_EQ(paths, (std::vector<std::string>{"/a", "/b"}));
    EXPECT_EQ(interfaces, (std::vector<Interfaces>{
                              {{"test.Two", {}}, {"test.Three", {{"Odd", Property()}}}},
                              {{"test.One", {{"Name", std::string("x")}, {"Slot", uint16_t{3}}}}},
                          }));
}

TEST_F(Read, WrongTypeNamesTheFailedCall)
{
    const auto number = [this] { return bus.message("u", 1); };
    expectError<std::string>(number(), "sd_bus_message_read_basic string");
    expectError<compat::ObjectPath>(number(), "sd_bus_message_read_basic string");
    expectError<std::vector<std::string>>(number(),
                                          "sd_bus_message_enter_container emplace_back_container");
    expectError<Properties>(number(), "sd_bus_message_enter_container emplace_container");
    expectError<Property>(number(), "sd_bus_message_skip variant");
}

TEST_F(Read, WrongTypeInsideAContainer)
{
    expectError<std::vector<std::string>>(bus.message("au", 1, 1),
                                          "sd_bus_message_enter_container emplace_back_container");
    expectError<Properties>(bus.message("a{su}", 1, "a", 1),
                            "sd_bus_message_enter_container emplace_container");
}

TEST_F(Read, BehindTheEndOfTheMessage)
{
    expectError<std::string>(bus.message(""), "sd_bus_message_read_basic string");
    expectError<Objects>(bus.message(""), "sd_bus_message_enter_container emplace_container");
}

TEST_F(Read, VariantBehindTheEndOfTheMessageIsSkipped)
{
    Property value = true;
    bus.message("").read(value);
    EXPECT_EQ(value, Property());
}

TEST_F(Read, RewoundMessageReadsAgain)
{
    auto m = bus.message("a{sv}", 1, "Name", "s", "x");
    const Properties expected{{"Name", std::string("x")}};
    Properties first;
    m.read(first);
    EXPECT_EQ(first, expected);
    ASSERT_GE(sd_bus_message_rewind(m.get(), 1), 0);
    Properties again;
    m.read(again);
    EXPECT_EQ(again, expected);
}

} // namespace
