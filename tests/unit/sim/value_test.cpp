#include "sim/value.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace
{

using sim::Json;
using sim::Value;
using std::string;

/** What checkValue() says about `data`; empty when it fits. */
string complaint(const string& type, const Json& data)
{
    try
    {
        sim::checkValue(type, data);
        return "";
    }
    catch (const sim::ValueError& error)
    {
        return error.what();
    }
}

TEST(CheckValue, AcceptsEachNumberToItsLimits)
{
    EXPECT_EQ(complaint("y", 255), "");
    EXPECT_EQ(complaint("n", -32768), "");
    EXPECT_EQ(complaint("q", 65535), "");
    EXPECT_EQ(complaint("i", std::numeric_limits<std::int32_t>::min()), "");
    EXPECT_EQ(complaint("u", std::numeric_limits<std::uint32_t>::max()), "");
    EXPECT_EQ(complaint("x", std::numeric_limits<std::int64_t>::min()), "");
    EXPECT_EQ(complaint("t", std::numeric_limits<std::uint64_t>::max()), "");
    EXPECT_EQ(complaint("d", 1.5), "");
    EXPECT_EQ(complaint("d", 3), "");
}

TEST(CheckValue, RefusesNumbersOutOfRange)
{
    EXPECT_EQ(complaint("y", 256), "256 is out of range for type 'y'");
    EXPECT_EQ(complaint("y", -1), "-1 is out of range for type 'y'");
    EXPECT_EQ(complaint("q", 65536), "65536 is out of range for type 'q'");
    EXPECT_EQ(complaint("n", 32768), "32768 is out of range for type 'n'");
    EXPECT_EQ(complaint("x", std::numeric_limits<std::uint64_t>::max()),
              "18446744073709551615 is out of range for type 'x'");
    EXPECT_EQ(complaint("t", -1), "-1 is out of range for type 't'");
}

TEST(CheckValue, RefusesAnotherKindOfValue)
{
    EXPECT_EQ(complaint("q", "5"), "expected a whole number for type 'q', found string");
    EXPECT_EQ(complaint("q", 5.0), "expected a whole number for type 'q', found number");
    EXPECT_EQ(complaint("q", true), "expected a whole number for type 'q', found boolean");
    EXPECT_EQ(complaint("b", 1), "expected true or false for type 'b', found number");
    EXPECT_EQ(complaint("d", "1"), "expected a number for type 'd', found string");
    EXPECT_EQ(complaint("s", nullptr), "expected a text for type 's', found null");
    EXPECT_EQ(complaint("as", "x"), "expected a list for type 'a', found string");
    EXPECT_EQ(complaint("(ss)", "x"), "expected a list for type '(', found string");
    EXPECT_EQ(complaint("a{sv}", 1), "expected a dictionary for type 'a{sv}', found number");
    EXPECT_EQ(complaint("v", 1), "expected {\"type\", \"data\"}, found number");
}

TEST(CheckValue, RefusesTextsThatTheBusCannotCarry)
{
    EXPECT_EQ(complaint("s", string("a\0b", 3)), "a text must not hold a zero character");
    EXPECT_EQ(complaint("o", "a/b"), "'a/b' is not an object path");
    EXPECT_EQ(complaint("o", "/a/"), "'/a/' is not an object path");
    EXPECT_EQ(complaint("g", "a"), "'a' is not a signature");
    EXPECT_EQ(complaint("g", "sa{sv}"), "");
}

TEST(CheckValue, NamesThePlaceInside)
{
    EXPECT_EQ(complaint("aq", {1, 2, 65536}), "[2]: 65536 is out of range for type 'q'");
    EXPECT_EQ(complaint("a(sss)", Json::parse(R"([["a","b","c"],["a",5,"c"]])")),
              "[1][1]: expected a text for type 's', found number");
    EXPECT_EQ(complaint("a{sv}", Json::parse(R"({"P":{"type":"y","data":300}})")),
              "P[\"data\"]: 300 is out of range for type 'y'");
    EXPECT_EQ(complaint("a{sv}", Json::parse(R"({"P":{"type":"y"}})")),
              "P: field \"data\" is missing");
    EXPECT_EQ(complaint("a{sv}", Json::parse(R"({"P":{"type":"yy","data":1}})")),
              "P[\"type\"]: 'yy' is not one complete type");
}

TEST(CheckValue, CountsTheMembersOfAStruct)
{
    EXPECT_EQ(complaint("(sq)", {"a", 1}), "");
    EXPECT_EQ(complaint("(sq)", Json::array({"a"})), "expected 2 members for type '(sq)', found 1");
}

TEST(CheckValue, TakesDictionariesInEveryForm)
{
    EXPECT_EQ(complaint("a{ss}", {{"key", "value"}}), "");
    EXPECT_EQ(complaint("a{ss}", Json::array({"key", "value"})), "");
    EXPECT_EQ(complaint("a{us}", Json::array({7, "value"})), "");
    EXPECT_EQ(complaint("a{us}", {{"7", "value"}}), "");
    EXPECT_EQ(complaint("a{ss}", Json::array()), "");
    EXPECT_EQ(complaint("a{us}", {{"seven", "value"}}),
              "seven: expected a whole number for type 'u', found discarded");
    EXPECT_EQ(complaint("a{ss}", Json::array({"key"})),
              "a dictionary written as a list needs a value for each key");
    EXPECT_EQ(complaint("a{ss}", Json::array({"key", 5})),
              "key: expected a text for type 's', found number");
}

TEST(CheckValue, RefusesWhatIsNoType)
{
    EXPECT_EQ(complaint("ss", "a"), "'ss' is not one complete type");
    EXPECT_EQ(complaint("h", 0), "'h' is not one complete type");
}

TEST(CheckValue, RefusesEndlessNesting)
{
    Json nested{{"type", "s"}, {"data", "core"}};
    for (int i = 0; i < 10'000; ++i)
    {
        Json around{{"type", "v"}};
        around["data"] = std::move(nested);
        nested = std::move(around);
    }
    EXPECT_NE(complaint("v", nested).find("nested too deeply"), string::npos);
}

TEST(Value, IsBuiltWithItsType)
{
    EXPECT_EQ(Value::string("x"), (Value{"s", "x"}));
    EXPECT_EQ(Value::objectPath("/x"), (Value{"o", "/x"}));
    EXPECT_EQ(Value::boolean(true), (Value{"b", true}));
    EXPECT_EQ(Value::byte(6), (Value{"y", 6}));
    EXPECT_EQ(Value::int16(-1), (Value{"n", -1}));
    EXPECT_EQ(Value::uint16(6), (Value{"q", 6}));
    EXPECT_EQ(Value::int32(-1), (Value{"i", -1}));
    EXPECT_EQ(Value::uint32(6), (Value{"u", 6}));
    EXPECT_EQ(Value::int64(-1), (Value{"x", -1}));
    EXPECT_EQ(Value::uint64(6), (Value{"t", 6}));
    EXPECT_EQ(Value::real(1.5), (Value{"d", 1.5}));
    EXPECT_EQ(Value::strings({"a", "b"}), (Value{"as", {"a", "b"}}));
    EXPECT_EQ(Value::strings({}), (Value{"as", Json::array()}));
    EXPECT_EQ(Value::bytes({1, 2}), (Value{"ay", {1, 2}}));
    EXPECT_EQ(Value::associations({}), (Value{"a(sss)", Json::array()}));
}

TEST(Value, DiffersByTypeAlone)
{
    EXPECT_NE(Value::byte(6), Value::uint16(6));
}

TEST(ValueJson, GoesBothWays)
{
    const Json typed = Json::parse(R"({"type":"a{ss}","data":{"k":"v"}})");
    const Value value = sim::valueFromJson(typed);
    EXPECT_EQ(value.type, "a{ss}");
    EXPECT_EQ(sim::valueToJson(value), typed);
}

TEST(ValueJson, RefusesWhatDoesNotFit)
{
    EXPECT_THROW(sim::valueFromJson(Json::parse(R"({"type":"y","data":256})")), sim::ValueError);
    EXPECT_THROW(sim::valueFromJson(Json::parse(R"({"data":1})")), sim::ValueError);
    EXPECT_THROW(sim::valueFromJson(5), sim::ValueError);
}

TEST(ToAssociations, ReadsTheList)
{
    const sim::Associations list{{"chassis", "pcieslot", "/a"}, {"x", "y", "/b"}};
    EXPECT_EQ(sim::toAssociations(Value::associations(list)), list);
    EXPECT_THROW(sim::toAssociations(Value::string("x")), sim::ValueError);
}

TEST(Place, IsWrittenAsAPathThroughTheDocument)
{
    const sim::Place top("file");
    const sim::Place data = top.member("data");
    const sim::Place first = data.element(0);
    EXPECT_EQ(first.member("/a/b").text(), "file[\"data\"][0][\"/a/b\"]");
    EXPECT_EQ(sim::Place().member("data").text(), "data");
    EXPECT_EQ(first.depth(), 2U);
}

} // namespace
