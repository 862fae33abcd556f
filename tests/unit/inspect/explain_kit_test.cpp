#include "inspect/explain_kit.hpp"

#include <gtest/gtest.h>

namespace
{

using inspect::End;
using inspect::ObjectsOfKind;
using inspect::Question;
using inspect::Rule;

const PropertyMap cpu{{"L1CacheHandle", std::uint16_t{1}}, {"L2CacheHandle", std::uint16_t{3}}};

PropertyMap cacheWith(int handle)
{
    return {{"Handle", static_cast<std::uint16_t>(handle)}};
}

const ObjectsOfKind caches{{"/c1", cacheWith(1)}, {"/c2", cacheWith(2)}, {"/c3", cacheWith(3)}};
const Question question{Rule::cache, End::second, cpu, caches};

std::vector<std::string> verdictsOf(const inspect::Search& made)
{
    std::vector<std::string> verdicts;
    for (const inspect::Candidate& candidate : made.candidates)
    {
        verdicts.push_back(candidate.verdict);
    }
    return verdicts;
}

using Verdicts = std::vector<std::string>;

TEST(search, asksTheRuleAboutEachCandidate)
{
    const auto made = inspect::search("Caches", question);
    EXPECT_EQ(verdictsOf(made), (Verdicts{"fits", "no", "fits"}));
    EXPECT_EQ(made.candidates[1].failed, Condition::handleEqual);
    EXPECT_TRUE(inspect::anyFits(made));
}

TEST(markFirstMatch, tellsWhatComesTooLateFromWhatIsNotTried)
{
    auto made = inspect::search("Caches", question);
    inspect::markFirstMatch(made);
    EXPECT_EQ(verdictsOf(made), (Verdicts{"first match", "not tried", "fits, too late"}));
}

TEST(sayFit, isEmptyWhereNothingFits)
{
    EXPECT_EQ(inspect::sayFit(question, "/c3"), "L2CacheHandle is 3");
    EXPECT_EQ(inspect::sayFit(question, "/c2"), "");
}

TEST(sayNoneFits, namesTheCandidateThatGotFurthest)
{
    const ObjectsOfKind others{{"/c0", cacheWith(0)}, {"/c2", cacheWith(2)}};
    const Question asked{Rule::cache, End::second, cpu, others};
    EXPECT_EQ(inspect::sayNoneFits(inspect::search("", asked), asked, "cache"),
              "none of 2 caches fits; nearest is c2: Handle 2, L1CacheHandle 1, L2CacheHandle 3, "
              "L3CacheHandle missing: none is equal");
    const ObjectsOfKind nothing;
    const Question empty{Rule::cache, End::second, cpu, nothing};
    EXPECT_EQ(inspect::sayNoneFits(inspect::search("", empty), empty, "cache"),
              "there is no cache");
}

} // namespace
