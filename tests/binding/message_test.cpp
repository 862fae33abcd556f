#include "messages.hpp"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace
{

TEST(Message, Fields)
{
    SilentConnection bus;
    auto m = bus.message("sv", "a", "u", 1);
    EXPECT_STREQ(m.get_path(), "/test");
    EXPECT_STREQ(m.get_member(), "Changed");
    EXPECT_STREQ(m.get_signature(), "sv");
    EXPECT_FALSE(m.is_method_error());
}

TEST(Message, SignatureIsOfTheWholeBodyAfterReading)
{
    SilentConnection bus;
    auto m = bus.message("su", "a", 1);
    std::string text;
    m.read(text);
    EXPECT_STREQ(m.get_signature(), "su");
}

TEST(Message, AddsAReferenceOrTakesOneOver)
{
    SilentConnection bus;
    auto m = bus.message("");
    sdbusplus::message_t added(m.get());
    sdbusplus::message_t takenOver(sd_bus_message_ref(m.get()), std::false_type());
    sdbusplus::message_t moved(std::move(m));
    EXPECT_EQ(added.get(), moved.get());
    EXPECT_EQ(takenOver.get(), moved.get());
}

TEST(Message, ReplyHasNoPathAndNoMember)
{
    SilentConnection bus;
    auto reply = bus.reply();
    EXPECT_EQ(reply.get_path(), nullptr);
    EXPECT_EQ(reply.get_member(), nullptr);
    EXPECT_STREQ(reply.get_signature(), "");
    EXPECT_FALSE(reply.is_method_error());
}

TEST(Message, ErrorIsAMethodError)
{
    SilentConnection bus;
    EXPECT_TRUE(bus.error().is_method_error());
}

} // namespace
