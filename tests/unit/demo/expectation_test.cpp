#include "hwinv_demo/expectation.hpp"

#include <gtest/gtest.h>

namespace
{

using namespace hwinv_demo;
using Lines = std::vector<std::string>;

const sim::Associations slot1{{"chassis", "pcieslot", "/slot1"}};
const sim::Associations slot2{{"chassis", "pcieslot", "/slot2"}};
const sim::Associations processor{{"chassis", "processor", "/cpu1"}};

const Expectation expected{{{"/a", slot1}}, {{"/cpu", processor}}, {}, {}};

TEST(Differences, AreNoneWhenTheListsAreAsExpected)
{
    EXPECT_EQ(differences(expected, {{"/a", slot1}, {"/cpu", processor}}), Lines());
    EXPECT_EQ(differences(expected, {{"/a", slot1}, {"/b", {}}, {"/cpu", processor}}), Lines());
}

TEST(Differences, NameAListThatIsMissingOrAnother)
{
    EXPECT_EQ(differences(expected, {{"/cpu", processor}}),
              (Lines{R"(/a: nothing instead of [["chassis","pcieslot","/slot1"]])"}));
    EXPECT_EQ(differences(expected, {{"/a", slot2}, {"/cpu", processor}}),
              (Lines{R"(/a: [["chassis","pcieslot","/slot2"]] instead of )"
                     R"([["chassis","pcieslot","/slot1"]])"}));
}

TEST(Differences, NameAListTooMany)
{
    EXPECT_EQ(differences(expected, {{"/a", slot1}, {"/b", slot2}, {"/cpu", processor}}),
              (Lines{R"(/b: [["chassis","pcieslot","/slot2"]] instead of nothing)"}));
}

TEST(Differences, LookAtTheOrderOfAList)
{
    const sim::Associations turned{processor[0], slot1[0]};
    const sim::Associations straight{slot1[0], processor[0]};

    EXPECT_EQ(differences({{}, {{"/cpu", straight}}, {}, {}}, {{"/cpu", turned}}).size(), 1u);
}

TEST(Differences, OfReasonsAreNoneWhenEachUnpairedHasOne)
{
    EXPECT_EQ(differences({{"/a", "why"}, {"/b", "why"}}, Lines{"/a", "/b"}), Lines());
}

TEST(Differences, OfReasonsNameWhatHasNoneAndWhatNeedsNone)
{
    EXPECT_EQ(differences({{"/a", "old"}}, Lines{"/b"}),
              (Lines{"/b: no partner, and no reason why", "/a: a partner in spite of: old"}));
}

TEST(ReadExpectation, RefusesAFileThatIsNotThere)
{
    EXPECT_THROW(readExpectation("/nonexistent/expected.json"), sim::Error);
}

} // namespace
