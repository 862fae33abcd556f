#include <gtest/gtest.h>
#include <sdbusplus/exception.hpp>
#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace
{

/** Never started: what is refused is refused by libsystemd itself. */
class CheckedMatch : public testing::Test
{
  protected:
    CheckedMatch()
    {
        sd_bus* raw = nullptr;
        sd_bus_new(&raw);
        bus.reset(raw);
    }

    /** What an object of this program gets that does not look at the result. */
    std::string refusalOf(const char* rule)
    {
        try
        {
            sd_bus_add_match(bus.get(), &slot, rule, nullptr, nullptr);
        }
        catch (const sdbusplus::exception::SdBusError& error)
        {
            return error.what();
        }
        return "";
    }

    ~CheckedMatch() override
    {
        sd_bus_slot_unref(slot);
    }

    std::unique_ptr<sd_bus, decltype(&sd_bus_unref)> bus{nullptr, sd_bus_unref};
    sd_bus_slot* slot = nullptr;
};

TEST_F(CheckedMatch, throwsWhatANegativeResultMeans)
{
    EXPECT_EQ(refusalOf("no rule"),
              "sd_bus_match: org.freedesktop.DBus.Error.InvalidArgs: Invalid argument");
    EXPECT_EQ(slot, nullptr);
}

TEST_F(CheckedMatch, handsAnAcceptedRuleOn)
{
    EXPECT_EQ(refusalOf("type='signal'"), "");
    EXPECT_NE(slot, nullptr);
}

} // namespace
