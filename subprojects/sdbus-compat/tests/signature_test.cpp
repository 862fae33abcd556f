#include <gtest/gtest.h>
#include <sdbusplus/message/types.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
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
                           double, std::string, object_path>()),
              "ybnqiuxtdso");
}

TEST(SignatureOf, Containers)
{
    EXPECT_EQ((signatureOf<std::vector<std::string>, std::vector<std::vector<uint8_t>>>()),
              "asaay");
    EXPECT_EQ((signatureOf<
                  std::map<object_path, std::map<std::string, std::variant<bool>, std::less<>>>>()),
              "a{oa{sv}}");
    EXPECT_EQ((signatureOf<std::tuple<std::string, std::tuple<bool>>>()), "(s(b))");
}

} // namespace
