#include "inspect/explain.hpp"
#include "worlds.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace worlds;

TEST(explain, saysThatAnObjectIsNotStored)
{
    EXPECT_EQ(sentenceOf(awkward(), "pcieslot16"),
              "pcieslot16 is not stored: SlotID has type u, and the daemon reads q.");
}

TEST(explain, worksForEveryObjectOfEveryShippedInventory)
{
    for (const inspect::Machine* machine : {&healthy(), &awkward()})
    {
        for (const sim::Objects* objects :
             {&machine->world.smbios, &machine->world.board, &machine->world.chassis})
        {
            for (const auto& [path, interfaces] : *objects)
            {
                EXPECT_FALSE(inspect::explain(*machine, path).sentence.empty()) << path;
            }
        }
    }
}

} // namespace
