#include "messages.hpp"
#include "types.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>

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

TEST_F(Append, Texts)
{
    const std::string text = "text";
    EXPECT_EQ(appended(text, std::string("temporary"), std::string()),
              expected("sss", "text", "temporary", ""));
}

TEST_F(Append, Associations)
{
    EXPECT_EQ(appended(Associations{{"a", "b", "/c"}, {"x", "y", "/z"}}),
              expected("a(sss)", 2, "a", "b", "/c", "x", "y", "/z"));
    EXPECT_EQ(appended(Associations{}), expected("a(sss)", 0));
}

TEST_F(Append, SetOfAnAssociationProperty)
{
    EXPECT_EQ(appended(std::string("test.Interface"), std::string("Associations"),
                       std::variant<Associations>(Associations{{"forward", "back", "/object"}})),
              expected("ssv", "test.Interface", "Associations", "a(sss)", 1, "forward", "back",
                       "/object"));
}

TEST_F(Append, AppendedValuesAreReadBack)
{
    const Associations associations{{"forward", "back", "/object"}};
    sdbusplus::message_t m = bus.draft();
    m.append(std::string("text"), std::variant<Associations>(associations));
    m = SilentConnection::sealed(std::move(m));
    EXPECT_STREQ(m.get_signature(), "sv");
    std::string text;
    Property value;
    m.read(text, value);
    EXPECT_EQ(text, "text");
    EXPECT_EQ(value, Property(associations));
}

TEST_F(Append, TextThatIsNotUtf8MakesAnUnreadableMessage)
{
    sdbusplus::message_t m = bus.draft();
    EXPECT_NO_THROW(m.append(std::string("no UTF-8: \xff")));
    m = SilentConnection::sealed(std::move(m));
    std::string text;
    EXPECT_THROW(m.read(text), sdbusplus::exception::SdBusError);
}

} // namespace
