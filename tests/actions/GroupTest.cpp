// Groups: selection tables by rank, selection against exact variates,
// probabilities, membership upkeep, printing, and the single and empty groups.

#include "StubActions.h"

#include "actions/EmptyGroup.h"
#include "actions/SingleGroup.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct Group : BaseGroupClass {
    Group(const char* name, std::initializer_list<BaseGroupClass*> members)
        : BaseGroupClass(name, 0, Instantaneous, DefaultPolicy, 0, 0, false) {
        for (BaseGroupClass* m : members)
            appendGroup(m);
    }
};

const char* const inconsistent =
    "This program has entered into an inconsistant state. Please report this bug.\n";

TEST(Group, TableHoldsTheEnabledMembersOfTheHighestRankOnly) {
    StubActivity low("low", 1, 1.0), mid("mid", 2, 1.0), high("high", 2, 3.0);
    StubActivity off("off", 5, 9.0, false), late("late", 1, 1.0);
    Group g("g", {&low, &mid, &off, &high, &late});
    EXPECT_EQ(g.CalculateWeightDistribution(), 4.0);
    EXPECT_EQ(g.MaxRank, 2);
    ASSERT_EQ(g.NumWeights, 2);
    EXPECT_EQ(g.WeightDistribution[0].weight, 1.0);
    EXPECT_EQ(g.WeightDistribution[1].member, &high);
    EXPECT_FALSE(low.Disabled); // accepted before the higher rank appeared
    EXPECT_TRUE(off.Disabled && late.Disabled);

    StubActivity a("a", 1, 1.0, false), b("b", 1, 1.0, false);
    Group none("none", {&a, &b});
    a.Disabled = false;
    EXPECT_EQ(none.CalculateWeightDistribution(), -1.0);
    EXPECT_TRUE(a.Disabled);
    FixedGenerator gen({0.0, 0.5});
    none.SelectedAction = &b;
    EXPECT_FALSE(none.SelectAction()); // a zero variate must not select either
    EXPECT_FALSE(none.SelectAction());
    EXPECT_EQ(none.SelectedAction, &b);
    EXPECT_EQ(gen.draws, 2u);
}

TEST(Group, SelectionPicksTheFirstWeightAboveTheTarget) {
    StubActivity a("a", 1, 1.0), b("b", 1, 1.0), c("c", 1, 2.0); // cumulative 1, 2, 4
    Group g("g", {&a, &b, &c});
    // Targets 0, then exactly a's and b's cumulative weights, then just below 4.
    FixedGenerator gen({0.0, 0.25, 0.5, 0.999});
    for (BaseActionClass* expected : {&a, &b, &c, &c}) {
        ASSERT_TRUE(g.SelectAction());
        EXPECT_EQ(g.SelectedAction, expected) << expected->Name;
    }
    EXPECT_EQ(g.Weight(), 2.0); // the group answers for the chosen member until it fires
    EXPECT_EQ(g.Fire(), &c);
    EXPECT_EQ(g.SelectedAction, nullptr);

    Group inner("inner", {&b, &c});
    inner.SelectedAction = &b; // gives the inner group a rank and weight for the outer table
    Group outer("outer", {&a, &inner});
    FixedGenerator nested({0.9, 0.5}); // outer target 1.8 of {1, 2}; inner 1.5 of {1, 3}
    ASSERT_TRUE(outer.SelectAction());
    EXPECT_EQ(outer.SelectedAction, &c);
    EXPECT_EQ(nested.draws, 2u);
}

TEST(Group, ProbabilityCountsTheHighestEnabledRank) {
    StubActivity low("low", 1, 1.0), b("b", 2, 1.0), c("c", 2, 3.0);
    StubActivity off("off", 3, 5.0, false);
    Group g("g", {&low, &b, &c, &off});
    EXPECT_EQ(g.Probability(&low), 0.0);
    EXPECT_EQ(g.Probability(&b), 0.25);
    EXPECT_EQ(g.Probability(&c), 0.75); // the disabled rank-3 member does not raise the top

    // A member of a member group: its share times the member group's own.
    StubActivity only("only", 1, 2.0), d("d", 1, 3.0);
    SingleGroup wrapper(&d);
    Group outer("outer", {&only, &wrapper});
    EXPECT_DOUBLE_EQ(outer.Probability(&d), 0.6);

    StubActivity zero("zero", 1, 0.0);
    Group weightless("weightless", {&zero});
    testing::internal::CaptureStdout();
    EXPECT_TRUE(std::isnan(weightless.Probability(&zero)));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "BaseGroupClass::Probability() TotalWeight is zero.\n");
}

TEST(Group, EveryMemberIsAskedAndMembersGrowToExactlyTheSizeNeeded) {
    StubActivity a("a"), b("b", 1, 1.0, false), c("c");
    Group asked("asked", {&a, &b});
    EXPECT_TRUE(asked.Enabled());
    a.on = false;
    EXPECT_TRUE(asked.EnablingChange());
    EXPECT_EQ(b.enabledCalls, 2); // no short cut
    asked.setGroupId(6);
    EXPECT_EQ(b.GroupID, 6);
    EXPECT_EQ(asked.GroupID, 0);

    BaseGroupClass g("g", 0, Exponential, DefaultPolicy, 0, 0, false, 2);
    g.appendGroup(&a);
    g.appendGroup(&b);
    EXPECT_EQ(g.appendGroup(&a), 3);
    EXPECT_EQ(g.Capacity, 3);
    Group other("other", {&c, &b});
    EXPECT_EQ(g.appendMembers(&other), 5);
    EXPECT_EQ(g.Capacity, 5);
    g.replaceMember(&a, &c);
    EXPECT_TRUE(g.Members[0] == &c && g.Members[2] == &c);
    testing::internal::CaptureStderr();
    EXPECT_EQ(g.setMember(&a, 5), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Array out of bounds error at Array out of bounds (BaseGroupClass::setMember()\n");
}

TEST(Group, PrintsNestedMembersWithPathLabels) {
    StubActivity a("a"), b("b"), x("x"), y("y"), d("d");
    Group deep("deep", {&x, &y});
    Group inner("inner", {&b, &deep});
    SingleGroup wrapper(&d); // one member: not expanded
    Group g("g", {&a, &inner, &wrapper});
    testing::internal::CaptureStdout();
    g.printGroup();
    deep.PrintInfo();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "** Members of Group g\n[0] a\n[1] inner\n  [1.0] b\n  [1.1] deep\n"
              "    [1.1.0] x\n    [1.1.1] y\n[2] d\n"
              "************ Group: deep ****************\nContains the following actions:\n"
              "  x\n  y\nSelected Action = none\n");
}

TEST(GroupDeathTest, ForwardingWithoutASelectionIsAProgrammingError) {
    StubActivity a("a"), stranger("stranger");
    Group g("g", {&a});
    EXPECT_DEATH(g.Rate(), "BaseGroupClass: Rate: Assertion `SelectedAction != nullptr' failed");
    EXPECT_DEATH(g.Probability(&stranger), "holder != nullptr");
    SingleGroup single;
    BaseActionClass plain;
    EXPECT_DEATH(single.SetAction(&plain), "SingleGroup: SetAction");
}

TEST(SingleGroup, BothBuildsAgreeAndSelectAfterReporting) {
    StubActivity a("a", 3, 2.0);
    a.Reactivation = true;
    SingleGroup built(&a), set, none(nullptr);
    EXPECT_EQ(set.NumMembers, 0);
    EXPECT_EQ(none.NumMembers, 0);
    set.SetAction(&a);
    for (SingleGroup* g : {&built, &set}) {
        EXPECT_TRUE(g->Action == &a && g->Members[0] == &a && g->NumMembers == 1);
        EXPECT_EQ(g->Rank(), 3);
        g->setGroupId(9);
        EXPECT_EQ(a.GroupID, 9);
    }
    EXPECT_TRUE(built.Enabled());
    EXPECT_TRUE(built.EnablingChange());
    EXPECT_TRUE(built.Enabled());
    EXPECT_FALSE(built.EnablingChange()); // no new evaluation
    testing::internal::CaptureStderr();
    EXPECT_TRUE(built.SelectAction());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), inconsistent);
    EXPECT_EQ(built.SelectedAction, &a);
    EXPECT_TRUE(!a.Disabled && built.Reactivation);
}

TEST(EmptyGroup, IsNeverEnabledAndCannotSelect) {
    EmptyGroup e;
    EXPECT_FALSE(e.Enabled());
    testing::internal::CaptureStderr();
    EXPECT_FALSE(e.SelectAction());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), inconsistent);
}

} // namespace
