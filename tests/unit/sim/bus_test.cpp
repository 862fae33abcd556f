#include "sim/bus.hpp"
#include "sim/sdbus.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace
{

using std::string;

/** The folder of a bus, out of "unix:path=FOLDER/socket,guid=...". */
std::filesystem::path folderOf(const sim::PrivateBus& bus)
{
    const string path = bus.address().substr(string("unix:path=").size());
    return std::filesystem::path(path.substr(0, path.find(','))).parent_path();
}

TEST(PrivateBus, TakesClientsAtOnce)
{
    const sim::PrivateBus bus;
    const auto client = sim::connectTo(bus.address());
    EXPECT_GE(sd_bus_request_name(client.get(), "com.example.Any", 0), 0);
}

TEST(PrivateBus, IsApartFromAnotherOne)
{
    const sim::PrivateBus one;
    const sim::PrivateBus other;
    EXPECT_NE(one.address(), other.address());
    const auto first = sim::connectTo(one.address());
    const auto second = sim::connectTo(other.address());
    EXPECT_GE(sd_bus_request_name(first.get(), "com.example.Any", 0), 0);
    EXPECT_GE(sd_bus_request_name(second.get(), "com.example.Any", 0), 0);
}

TEST(PrivateBus, LeavesNothingBehind)
{
    std::filesystem::path folder;
    {
        const sim::PrivateBus bus;
        folder = folderOf(bus);
        EXPECT_TRUE(std::filesystem::exists(folder / "socket"));
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(PrivateBus, CanBeEndedEarly)
{
    sim::PrivateBus bus;
    bus.kill();
    EXPECT_THROW(
        {
            const auto client = sim::connectTo(bus.address());
            sim::check(sd_bus_flush(client.get()), "flush");
        },
        sim::BusError);
}

TEST(PrivateBus, SaysWhyItDidNotStart)
{
    const string path = std::getenv("PATH");
    setenv("PATH", "/nowhere", 1);
    EXPECT_THROW(sim::PrivateBus(), sim::Error);
    setenv("PATH", path.c_str(), 1);
}

} // namespace
