#include "sim/bus.hpp"
#include "sim/sdbus.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
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

/** Another value of an environment variable, for a while. */
class Environment
{
  public:
    Environment(const char* name, const string& value) : name_(name)
    {
        const char* former = std::getenv(name);
        former_ = former == nullptr ? std::optional<string>() : former;
        setenv(name, value.c_str(), 1);
    }
    ~Environment()
    {
        former_ ? setenv(name_, former_->c_str(), 1) : unsetenv(name_);
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

  private:
    const char* name_;
    std::optional<string> former_;
};

/** A folder of this name, and what is in it, while the test runs. */
class NamedFolder
{
  public:
    explicit NamedFolder(const string& name)
    {
        string parent = (std::filesystem::temp_directory_path() / "bus-XXXXXX").string();
        parent_ = mkdtemp(parent.data());
        std::filesystem::create_directory(path = parent_ / name);
    }
    ~NamedFolder()
    {
        std::filesystem::remove_all(parent_);
    }
    NamedFolder(const NamedFolder&) = delete;
    NamedFolder& operator=(const NamedFolder&) = delete;

    std::filesystem::path path;

  private:
    std::filesystem::path parent_;
};

TEST(PrivateBus, LivesInAnyTemporaryFolder)
{
    for (const char* name :
         {"two words", "a&b", "a;b", "a<b>", "a=b,c", "50%41", "\"'", "gr\xc3\xb6n"})
    {
        const NamedFolder folder(name);
        const Environment environment("TMPDIR", folder.path);
        {
            const sim::PrivateBus bus;
            EXPECT_FALSE(std::filesystem::is_empty(folder.path)) << name;
            const auto client = sim::connectTo(bus.address());
            EXPECT_GE(sd_bus_request_name(client.get(), "com.example.Any", 0), 0) << name;
        }
        EXPECT_TRUE(std::filesystem::is_empty(folder.path)) << name;
    }
}

TEST(PrivateBus, RefusesAFolderThatIsTooDeepForASocket)
{
    const NamedFolder folder(string(200, 'x'));
    const Environment environment("TMPDIR", folder.path);
    try
    {
        const sim::PrivateBus bus;
        FAIL() << bus.address();
    }
    catch (const sim::Error& error)
    {
        const std::size_t length =
            folder.path.string().size() + string("/sim-bus-XXXXXX/socket").size();
        EXPECT_EQ(string(error.what()), "private bus: the path of its socket would have " +
                                            std::to_string(length) +
                                            " bytes, and no more than 107 are possible: set TMPDIR "
                                            "to a shorter folder");
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST(PrivateBus, LeavesAFolderThatItWasGiven)
{
    const NamedFolder folder("given");
    {
        const sim::PrivateBus bus(folder.path);
        EXPECT_EQ(folderOf(bus), folder.path);
    }
    EXPECT_TRUE(std::filesystem::exists(folder.path));
}

TEST(PrivateBus, SaysWhyItDidNotStart)
{
    const Environment environment("PATH", "/nowhere");
    EXPECT_THROW(sim::PrivateBus(), sim::Error);
}

} // namespace
