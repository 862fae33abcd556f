#include "sim/fault.hpp"

#include <gtest/gtest.h>

namespace
{

using sim::Fault;

bool hangs(const std::optional<Fault>& fault)
{
    return fault && std::holds_alternative<sim::Hang>(fault->action);
}

TEST(FaultPlan, SpoilsNothingAtFirst)
{
    EXPECT_FALSE(sim::FaultPlan().take("Get", "/a"));
}

TEST(FaultPlan, SpoilsJustTheNextCalls)
{
    sim::FaultPlan plan;
    plan.add({"Get", "/a", sim::Hang{}, 2});
    EXPECT_TRUE(plan.take("Get", "/a"));
    EXPECT_TRUE(plan.take("Get", "/a"));
    EXPECT_FALSE(plan.take("Get", "/a"));
}

TEST(FaultPlan, FitsByMemberAndPath)
{
    sim::FaultPlan plan;
    plan.add({"Get", "/a", sim::Hang{}, Fault::always});
    EXPECT_FALSE(plan.take("Set", "/a"));
    EXPECT_FALSE(plan.take("Get", "/b"));
    EXPECT_TRUE(plan.take("Get", "/a"));
}

TEST(FaultPlan, FitsEverythingWhenNothingIsNamed)
{
    sim::FaultPlan plan;
    plan.add({"", "", sim::Hang{}, Fault::always});
    EXPECT_TRUE(plan.take("Get", "/a"));
    EXPECT_TRUE(plan.take("Set", "/b"));
}

TEST(FaultPlan, UsesFaultsInTheOrderOfTheirAdding)
{
    sim::FaultPlan plan;
    plan.add({"Get", "", sim::FailWith{"a.b"}, 1});
    plan.add({"Get", "", sim::Hang{}, 1});
    EXPECT_FALSE(hangs(plan.take("Get", "/a")));
    EXPECT_TRUE(hangs(plan.take("Get", "/a")));
}

TEST(FaultPlan, ForgetsAllAtOnce)
{
    sim::FaultPlan plan;
    plan.add({"", "", sim::Hang{}, Fault::always});
    plan.clear();
    EXPECT_FALSE(plan.take("Get", "/a"));
}

} // namespace
