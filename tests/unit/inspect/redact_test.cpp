#include "inspect/redact.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(redact, replacesWhatIdentifiesOneMachineInWhateverInterface)
{
    inspect::World world;
    world.board["/a"]["any.Interface"] = {
        {"SerialNumber", sim::Value::string("S1")}, {"assetTag", sim::Value::string("A1")},
        {"ServiceTag", sim::Value::string("T1")},   {"SystemUUID", sim::Value::bytes({1, 2})},
        {"Model", sim::Value::string("M1")},        {"EmptySerial", sim::Value::string("")}};
    world.chassis["/b"]["any.Interface"] = {{"DriveSerials", sim::Value::strings({"S2"})}};
    EXPECT_EQ(inspect::redact(world), 5U);
    auto& properties = world.board["/a"]["any.Interface"];
    EXPECT_EQ(properties["SerialNumber"], sim::Value::string("REDACTED"));
    EXPECT_EQ(properties["assetTag"], sim::Value::string("REDACTED"));
    EXPECT_EQ(properties["SystemUUID"], sim::Value::bytes({}));
    EXPECT_EQ(properties["Model"], sim::Value::string("M1"));
    EXPECT_EQ(properties["EmptySerial"], sim::Value::string(""));
    EXPECT_EQ(world.chassis["/b"]["any.Interface"]["DriveSerials"], sim::Value::strings({}));
}

TEST(redact, leavesEveryPairing)
{
    for (const inspect::Machine* machine : {&healthy(), &awkward()})
    {
        inspect::World world = machine->world;
        EXPECT_GT(inspect::redact(world), 0U);
        EXPECT_EQ(inspect::runEngine(world).lists, machine->outcome.lists);
    }
}

} // namespace
