#include "sim/bus.hpp"
#include "sim/value_message.hpp"

#include <gtest/gtest.h>

#include <string>

namespace
{

using sim::Json;
using sim::Value;
using std::string;

class ValueMessage : public testing::Test
{
  protected:
    static void SetUpTestSuite()
    {
        bus_ = new sim::PrivateBus;
    }
    static void TearDownTestSuite()
    {
        delete bus_;
    }

    sim::Message newMessage()
    {
        sd_bus_message* raw = nullptr;
        sim::check(sd_bus_message_new_signal(connection_.get(), &raw, "/a", "a.b", "C"), "signal");
        return sim::Message(raw);
    }

    static void seal(const sim::Message& message)
    {
        sim::check(sd_bus_message_seal(message.get(), 1, 0), "seal");
    }

    /** The value after a way through a message. */
    Value there(const Value& value)
    {
        const sim::Message message = newMessage();
        sim::appendValue(message.get(), value.type, value.data);
        seal(message);
        return sim::readValue(message.get());
    }

  private:
    static inline sim::PrivateBus* bus_ = nullptr;
    sim::Connection connection_ = sim::connectTo(bus_->address());
};

TEST_F(ValueMessage, CarriesEveryType)
{
    for (const Value& value :
         {Value::string("text"),
          Value::objectPath("/a"),
          Value{"g", "a{sv}"},
          Value::byte(255),
          Value::boolean(true),
          Value::boolean(false),
          Value::int16(-5),
          Value::uint16(65535),
          Value::int32(-5),
          Value::uint32(5),
          Value::int64(-5),
          Value::uint64(5),
          Value::real(1.25),
          Value::strings({"a", ""}),
          Value::strings({}),
          Value::bytes({0, 255}),
          Value::associations({{"a", "b", "/c"}}),
          Value{"(ii)", {1, 2}},
          Value{"a{ss}", {{"k", "v"}}},
          Value{"a{us}", {1, "a", 2, "b"}},
          Value{"a{sv}",
                {{"k", {{"type", "(yv)"}, {"data", {1, {{"type", "s"}, {"data", "x"}}}}}}}},
          Value{"v", {{"type", "aay"}, {"data", {{1}, {2, 3}}}}}})
    {
        EXPECT_EQ(there(value), value) << value.type;
    }
}

TEST_F(ValueMessage, KeepsRepeatedKeysInTheirOrder)
{
    const Value twice{"a{ss}", {"k", "first", "k", "second"}};
    EXPECT_EQ(there(twice), twice);
}

TEST_F(ValueMessage, TakesNumbersAsKeysOfAnObject)
{
    EXPECT_EQ(there({"a{us}", {{"7", "seven"}}}), (Value{"a{us}", {7, "seven"}}));
}

TEST_F(ValueMessage, HoldsAValueInAVariant)
{
    const sim::Message message = newMessage();
    sim::appendVariant(message.get(), Value::uint16(7));
    seal(message);
    EXPECT_STREQ(sd_bus_message_get_signature(message.get(), 1), "v");
    EXPECT_EQ(sim::readVariant(message.get()), Value::uint16(7));
}

TEST_F(ValueMessage, WritesAWholeBody)
{
    const sim::Message message = newMessage();
    sim::appendBody(message.get(), "sas", {"x", {"a", "b"}});
    seal(message);
    EXPECT_STREQ(sd_bus_message_get_signature(message.get(), 1), "sas");
    EXPECT_EQ(sim::readValue(message.get()), Value::string("x"));
    EXPECT_EQ(sim::readValue(message.get()), Value::strings({"a", "b"}));
    EXPECT_THROW(sim::readValue(message.get()), sim::BusError);
}

TEST_F(ValueMessage, WritesNothingOfABodyThatDoesNotFit)
{
    const sim::Message message = newMessage();
    EXPECT_THROW(sim::appendBody(message.get(), "sy", {"x", 256}), sim::ValueError);
    EXPECT_THROW(sim::appendBody(message.get(), "sy", Json::array({"x"})), sim::ValueError);
    EXPECT_THROW(sim::appendBody(message.get(), "sa", {"x", 1}), sim::ValueError);
    seal(message);
    EXPECT_STREQ(sd_bus_message_get_signature(message.get(), 1), "");
}

} // namespace
