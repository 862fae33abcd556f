#include "messages.hpp"

#include <gtest/gtest.h>

#include <utility>

namespace
{

TEST(Message, Fields)
{
    SilentConnection bus;
    auto m = bus.message("sv", "a", "u", 1);
    EXPECT_STREQ(m.get_path(), "/test");
    EXPECT_STREQ(m.get_interface(), "test.Interface");
    EXPECT_STREQ(m.get_member(), "Changed");
    EXPECT_STREQ(m.get_signature(), "sv");
    EXPECT_EQ(m.get_sender(), nullptr);
    EXPECT_FALSE(m.is_method_error());
    EXPECT_TRUE(m.is_signal("test.Interface", "Changed"));
    EXPECT_FALSE(m.is_signal("test.Interface", "Other"));
}

TEST(Message, SignatureIsOfTheWholeBodyAfterReading)
{
    SilentConnection bus;
    auto m = bus.message("su", "a", 1);
    std::string text;
    m.read(text);
    EXPECT_STREQ(m.get_signature(), "su");
}

TEST(Message, CopiesShareTheReadPosition)
{
    SilentConnection bus;
    auto m = bus.message("ss", "first", "second");
    sdbusplus::message_t copy = m;
    std::string text;
    m.read(text);
    copy.read(text);
    EXPECT_EQ(text, "second");
    EXPECT_EQ(m.get(), copy.get());
}

TEST(Message, IsEmptyWithoutAndAfterRelease)
{
    SilentConnection bus;
    EXPECT_FALSE(sdbusplus::message_t());
    auto m = bus.message("");
    EXPECT_TRUE(m);
    sd_bus_message* raw = m.release();
    EXPECT_FALSE(m);
    sdbusplus::message_t again(raw);
    EXPECT_EQ(again.get(), raw);
    sd_bus_message_unref(raw);
    EXPECT_STREQ(again.get_member(), "Changed");
}

} // namespace
