#include <gtest/gtest.h>
#include <sdbusplus/message/types.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace
{

using namespace sdbusplus::message;

template <typename... Types>
std::string_view signatureOf()
{
    static constexpr auto text = types::signature_of_all<Types...>;
    return text.view();
}

TEST(SignatureOf, BasicTypes)
{
    EXPECT_EQ((signatureOf<uint8_t, bool, int16_t, uint16_t, int32_t, uint32_t, int64_t, uint64_t,
                           double>()),
              "ybnqiuxtd");
    EXPECT_EQ((signatureOf<std::string, const char*, object_path, signature, unix_fd>()), "ssogh");
}

TEST(SignatureOf, IgnoresConstantsReferencesAndTextLengths)
{
    EXPECT_EQ((signatureOf<const int32_t&, std::string&&, char*, const char(&)[4], char[9]>()),
              "issss");
}

TEST(SignatureOf, Containers)
{
    EXPECT_EQ((signatureOf<std::vector<std::vector<uint8_t>>, std::set<std::string>>()), "aayas");
    EXPECT_EQ((signatureOf<std::map<std::string, std::variant<bool>, std::less<>>,
                           std::unordered_map<object_path, int32_t>>()),
              "a{sv}a{oi}");
    EXPECT_EQ((signatureOf<std::tuple<std::string, std::tuple<bool>>,
                           std::pair<const std::string, double>>()),
              "(s(b)){sd}");
}

TEST(SignatureOf, NothingIsEmpty)
{
    EXPECT_EQ(signatureOf<>(), "");
    EXPECT_EQ(signatureOf<std::monostate>(), "");
}

} // namespace
