#include "messages.hpp"
#include "types.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <unordered_map>
#include <utility>

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
            EXPECT_STREQ(error.name(), "System.Error.ENXIO");
            EXPECT_EQ(error.get_errno(), ENXIO);
        }
    }
};

TEST_F(Read, NumbersInTheOrderOfTheMessage)
{
    auto m =
        bus.message("ynqiuxtd", 200, -3, 60000, -70000, 4000000000U, INT64_MIN, UINT64_MAX, 0.5);
    uint8_t y = 0;
    int16_t n = 0;
    uint16_t q = 0;
    int32_t i = 0;
    uint32_t u = 0;
    int64_t x = 0;
    uint64_t t = 0;
    double d = 0;
    m.read(y, n, q, i, u, x, t, d);
    EXPECT_EQ(y, 200);
    EXPECT_EQ(n, -3);
    EXPECT_EQ(q, 60000);
    EXPECT_EQ(i, -70000);
    EXPECT_EQ(u, 4000000000U);
    EXPECT_EQ(x, INT64_MIN);
    EXPECT_EQ(t, UINT64_MAX);
    EXPECT_EQ(d, 0.5);
}

TEST_F(Read, TextsPathsSignaturesAndBooleans)
{
    auto m = bus.message("sogbbs", "text", "/a/path", "a{sv}", 1, 0, "stays inside");
    std::string s;
    compat::ObjectPath o;
    compat::signature g;
    bool yes = false;
    bool no = true;
    const char* inside = nullptr;
    m.read(s, o, g, yes, no, inside);
    EXPECT_EQ(s, "text");
    EXPECT_EQ(o.str, "/a/path");
    EXPECT_EQ(g.str, "a{sv}");
    EXPECT_TRUE(yes);
    EXPECT_FALSE(no);
    EXPECT_STREQ(inside, "stays inside");
}

TEST_F(Read, OneCallAfterTheOther)
{
    auto m = bus.message("su", "first", 2U);
    std::string s;
    uint32_t u = 0;
    m.read(s);
    m.read(u);
    EXPECT_EQ(s, "first");
    EXPECT_EQ(u, 2U);
}

TEST_F(Read, Arrays)
{
    EXPECT_EQ(readOne<std::vector<std::string>>(bus.message("as", 2, "a", "b")),
              (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(readOne<std::vector<uint8_t>>(bus.message("ay", 3, 1, 2, 255)),
              (std::vector<uint8_t>{1, 2, 255}));
    EXPECT_EQ(readOne<std::vector<double>>(bus.message("ad", 2, 0.25, -1.0)),
              (std::vector<double>{0.25, -1.0}));
    EXPECT_EQ(readOne<std::vector<bool>>(bus.message("ab", 2, 1, 0)),
              (std::vector<bool>{true, false}));
    EXPECT_EQ(readOne<std::vector<uint64_t>>(bus.message("at", 0)), std::vector<uint64_t>{});
    EXPECT_EQ(readOne<std::vector<std::vector<int32_t>>>(bus.message("aai", 2, 1, 7, 2, 8, 9)),
              (std::vector<std::vector<int32_t>>{{7}, {8, 9}}));
}

TEST_F(Read, ArraysGrowAtTheirEnd)
{
    std::vector<std::string> texts{"kept"};
    std::vector<uint8_t> bytes{9};
    bus.message("asay", 1, "added", 1, 4).read(texts, bytes);
    EXPECT_EQ(texts, (std::vector<std::string>{"kept", "added"}));
    EXPECT_EQ(bytes, (std::vector<uint8_t>{9, 4}));
}

TEST_F(Read, MapsOfSeveralKinds)
{
    EXPECT_EQ((readOne<std::map<std::string, uint32_t>>(bus.message("a{su}", 2, "b", 2, "a", 1))),
              (std::map<std::string, uint32_t>{{"a", 1}, {"b", 2}}));
    EXPECT_EQ((readOne<std::map<std::string, bool, std::less<>>>(bus.message("a{sb}", 1, "a", 1))),
              (std::map<std::string, bool, std::less<>>{{"a", true}}));
    EXPECT_EQ((readOne<std::unordered_map<std::string, int16_t>>(bus.message("a{sn}", 1, "a", -1))),
              (std::unordered_map<std::string, int16_t>{{"a", int16_t{-1}}}));
}

TEST_F(Read, OfRepeatedKeysTheFirstStays)
{
    std::map<std::string, uint32_t> values{{"kept", 7}};
    bus.message("a{su}", 3, "a", 1, "a", 2, "kept", 3).read(values);
    EXPECT_EQ(values, (std::map<std::string, uint32_t>{{"a", 1}, {"kept", 7}}));
}

TEST_F(Read, Structures)
{
    auto m = bus.message("(sss)(ib)a(sq)", "a", "b", "c", 5, 1, 1, "d", 6);
    std::tuple<std::string, std::string, std::string> texts;
    std::tuple<int32_t, bool> mixed;
    std::vector<std::tuple<std::string, uint16_t>> several;
    m.read(texts, mixed, several);
    EXPECT_EQ(texts, std::make_tuple("a", "b", "c"));
    EXPECT_EQ(mixed, std::make_tuple(5, true));
    ASSERT_EQ(several.size(), 1U);
    EXPECT_EQ(several[0], std::make_tuple("d", uint16_t{6}));
}

TEST_F(Read, VariantTakesTheAlternativeOfItsType)
{
    const auto read = [&](const char* type, auto... value)
    { return readOne<Property>(bus.message("v", type, value...)); };
    const std::vector<std::tuple<std::string, std::string, std::string>> associations{
        {"a", "b", "/c"}};

    EXPECT_EQ(read("as", 1, "x"), Property(std::vector<std::string>{"x"}));
    EXPECT_EQ(read("s", "x"), Property(std::string("x")));
    EXPECT_EQ(read("x", int64_t{-1}), Property(int64_t{-1}));
    EXPECT_EQ(read("t", uint64_t{1}), Property(uint64_t{1}));
    EXPECT_EQ(read("d", 0.5), Property(0.5));
    EXPECT_EQ(read("i", -2), Property(int32_t{-2}));
    EXPECT_EQ(read("u", 2), Property(uint32_t{2}));
    EXPECT_EQ(read("n", -3), Property(int16_t{-3}));
    EXPECT_EQ(read("q", 3), Property(uint16_t{3}));
    EXPECT_EQ(read("y", 4), Property(uint8_t{4}));
    EXPECT_EQ(read("b", 1), Property(true));
    EXPECT_EQ(read("ay", 2, 1, 2), Property(std::vector<uint8_t>{1, 2}));
    EXPECT_EQ(read("a(sss)", 1, "a", "b", "/c"), Property(associations));
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

TEST_F(Read, VariantInsideVariant)
{
    using Inner = std::variant<std::string, uint32_t>;
    using Outer = std::variant<std::monostate, Inner>;
    EXPECT_EQ(readOne<Outer>(bus.message("v", "v", "u", 5)), Outer(Inner(uint32_t{5})));
    EXPECT_EQ(readOne<Outer>(bus.message("v", "u", 5)), Outer());
}

TEST_F(Read, ManagedObjects)
{
    auto m = bus.message("a{oa{sa{sv}}}", 2,                                       //
                         "/b", 1, "test.One", 2, "Name", "s", "x", "Slot", "q", 3, //
                         "/a", 2, "test.Two", 0, "test.Three", 1, "Odd", "o", "/skipped");
    const auto objects = readOne<Objects>(std::move(m));
    EXPECT_EQ(objects, (Objects{
                           {compat::ObjectPath(std::string("/a")),
                            {{"test.Two", {}}, {"test.Three", {{"Odd", Property()}}}}},
                           {compat::ObjectPath(std::string("/b")),
                            {{"test.One", {{"Name", std::string("x")}, {"Slot", uint16_t{3}}}}}},
                       }));
}

TEST_F(Read, WrongTypeNamesTheFailedCall)
{
    const auto number = [this] { return bus.message("u", 1); };
    expectError<std::string>(number(), "sd_bus_message_read_basic string");
    expectError<compat::ObjectPath>(number(), "sd_bus_message_read_basic string");
    expectError<bool>(number(), "sd_bus_message_read_basic bool");
    expectError<int32_t>(number(), "sd_bus_message_read_basic fundamental");
    expectError<std::vector<std::string>>(number(),
                                          "sd_bus_message_enter_container emplace_back_container");
    expectError<Properties>(number(), "sd_bus_message_enter_container emplace_container");
    expectError<std::tuple<std::string, int32_t>>(number(), "sd_bus_message_enter_container tuple");
    expectError<Property>(number(), "sd_bus_message_skip variant");
}

TEST_F(Read, WrongTypeInsideAContainer)
{
    expectError<std::vector<std::string>>(bus.message("au", 1, 1),
                                          "sd_bus_message_enter_container emplace_back_container");
    expectError<std::map<std::string, std::string>>(
        bus.message("a{su}", 1, "a", 1), "sd_bus_message_enter_container emplace_container");
    EXPECT_THROW(readOne<std::vector<uint8_t>>(bus.message("au", 1, 1)),
                 sdbusplus::exception::SdBusError);
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
