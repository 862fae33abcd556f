#include "messages.hpp"
#include "types.hpp"

#include <gtest/gtest.h>

#include <unordered_map>
#include <utility>

namespace
{

class Append : public testing::Test
{
  protected:
    SilentConnection bus;

    // The body that appending the values makes.
    template <typename... Args>
    std::string appended(Args&&... args)
    {
        sdbusplus::message_t m = bus.draft();
        m.append(std::forward<Args>(args)...);
        return bodyText(SilentConnection::sealed(std::move(m)));
    }

    // The body that sd-bus makes of the values.
    template <typename... Args>
    std::string expected(const char* types, Args... args)
    {
        return bodyText(bus.message(types, args...));
    }
};

TEST_F(Append, Nothing)
{
    EXPECT_EQ(appended(), expected(""));
}

TEST_F(Append, Numbers)
{
    EXPECT_EQ(
        appended(uint8_t{200}, int16_t{-3}, uint16_t{60000}, -70000, 4000000000U, INT64_MIN,
                 UINT64_MAX, 0.5),
        expected("ynqiuxtd", 200, -3, 60000, -70000, 4000000000U, INT64_MIN, UINT64_MAX, 0.5));
}

TEST_F(Append, TextsPathsSignaturesAndBooleans)
{
    const std::string text = "text";
    const char* pointer = "pointer";
    char array[] = "array";
    EXPECT_EQ(appended("literal", text, pointer, array, true, compat::ObjectPath(std::string("/p")),
                       compat::signature(std::string("as"))),
              expected("ssssbog", "literal", "text", "pointer", "array", 1, "/p", "as"));
}

TEST_F(Append, Containers)
{
    EXPECT_EQ(appended(std::vector<std::string>{"a", "b"}, std::vector<uint8_t>{1, 2},
                       std::vector<std::string>{}),
              expected("asayas", 2, "a", "b", 2, 1, 2, 0));
    EXPECT_EQ(appended(std::map<std::string, uint32_t>{{"a", 1}, {"b", 2}},
                       std::unordered_map<std::string, bool>{{"c", true}}),
              expected("a{su}a{sb}", 2, "a", 1, "b", 2, 1, "c", 1));
}

TEST_F(Append, Structures)
{
    EXPECT_EQ(
        appended(std::make_tuple(std::string("a"), 1, true),
                 std::vector<std::tuple<std::string, std::string, std::string>>{{"x", "y", "/z"}}),
        expected("(sib)a(sss)", "a", 1, 1, 1, "x", "y", "/z"));
}

TEST_F(Append, VariantHasTheTypeOfItsValue)
{
    EXPECT_EQ(appended(Property(std::string("a")), Property(uint16_t{3}), Property(true),
                       Property(std::vector<uint8_t>{7}), Property()),
              expected("vvvvv", "s", "a", "q", 3, "b", 1, "ay", 1, 7, "as", 0));
}

TEST_F(Append, SetOfAnAssociationProperty)
{
    const std::vector<std::tuple<std::string, std::string, std::string>> associations{
        {"forward", "back", "/object"}};
    EXPECT_EQ(appended("test.Interface", "Associations",
                       std::variant<std::vector<std::tuple<std::string, std::string, std::string>>>(
                           associations)),
              expected("ssv", "test.Interface", "Associations", "a(sss)", 1, "forward", "back",
                       "/object"));
}

TEST_F(Append, ManagedObjectsAsTheyAreRead)
{
    const Objects objects{
        {compat::ObjectPath(std::string("/a")), {{"test.One", {{"Name", std::string("x")}}}}}};
    sdbusplus::message_t m = bus.draft();
    m.append(objects);
    m = SilentConnection::sealed(std::move(m));
    EXPECT_STREQ(m.get_signature(), "a{oa{sa{sv}}}");
    Objects back;
    m.read(back);
    EXPECT_EQ(back, objects);
}

TEST_F(Append, RefusedValueLeavesTheMessageUnreadable)
{
    sdbusplus::message_t m = bus.draft();
    EXPECT_NO_THROW(m.append(compat::ObjectPath(std::string("no path"))));
    m = SilentConnection::sealed(std::move(m));
    compat::ObjectPath path;
    EXPECT_THROW(m.read(path), sdbusplus::exception::SdBusError);
}

} // namespace
