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

TEST(Group, NoEnabledMemberGivesNoTableAndNoSelection) {
    StubActivity a("a", 1, 1.0, false), b("b", 1, 1.0, false);
    Group g("g", {&a, &b});
    a.Disabled = false;
    EXPECT_EQ(g.CalculateWeightDistribution(), -1.0);
    EXPECT_TRUE(a.Disabled);
    FixedGenerator gen({0.0, 0.5});
    g.SelectedAction = &b;
    EXPECT_FALSE(g.SelectAction()); // a zero variate must not select either
    EXPECT_FALSE(g.SelectAction());
    EXPECT_EQ(g.SelectedAction, &b);
    EXPECT_EQ(gen.draws, 2u);
}

TEST(Group, TableHoldsTheHighestRankOnly) {
    StubActivity low("low", 1, 1.0), mid("mid", 2, 1.0), high("high", 2, 3.0);
    StubActivity off("off", 5, 9.0, false), late("late", 1, 1.0);
    Group g("g", {&low, &mid, &off, &high, &late});
    EXPECT_EQ(g.CalculateWeightDistribution(), 4.0);
    EXPECT_EQ(g.MaxRank, 2);
    ASSERT_EQ(g.NumWeights, 2);
    EXPECT_EQ(g.WeightDistribution[0].weight, 1.0);
    EXPECT_EQ(g.WeightDistribution[1].member, &high);
    EXPECT_FALSE(low.Disabled); // accepted before the higher rank appeared
    EXPECT_TRUE(off.Disabled);
    EXPECT_TRUE(late.Disabled);
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
    EXPECT_EQ(gen.draws, 4u);
    EXPECT_EQ(g.Weight(), 2.0); // the group answers for the chosen member until it fires
    EXPECT_EQ(g.Fire(), &c);
    EXPECT_EQ(g.SelectedAction, nullptr);
}

TEST(Group, NestedGroupSelectsWithItsOwnDraw) {
    StubActivity a("a", 1, 1.0), b("b", 1, 1.0), c("c", 1, 3.0);
    Group inner("inner", {&b, &c});
    inner.SelectedAction = &b; // gives the inner group a rank and weight for the outer table
    Group outer("outer", {&a, &inner});
    FixedGenerator gen({0.9, 0.5}); // outer target 1.8 of {1, 2}; inner target 2 of {1, 4}
    ASSERT_TRUE(outer.SelectAction());
    EXPECT_EQ(outer.SelectedAction, &c);
    EXPECT_EQ(gen.draws, 2u);
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

TEST(Group, EveryMemberIsAskedWithoutShortCut) {
    StubActivity a("a"), b("b", 1, 1.0, false);
    Group g("g", {&a, &b});
    EXPECT_TRUE(g.Enabled());
    a.on = false;
    EXPECT_TRUE(g.EnablingChange());
    EXPECT_EQ(b.enabledCalls, 2);
    g.setGroupId(6);
    EXPECT_EQ(b.GroupID, 6);
    EXPECT_EQ(g.GroupID, 0);
}

TEST(Group, MembersGrowToExactlyTheSizeNeeded) {
    StubActivity a("a"), b("b"), c("c");
    BaseGroupClass g("g", 0, Exponential, DefaultPolicy, 0, 0, false, 2);
    g.appendGroup(&a);
    g.appendGroup(&b);
    EXPECT_EQ(g.appendGroup(&a), 3);
    EXPECT_EQ(g.Capacity, 3);
    Group other("other", {&c, &b});
    EXPECT_EQ(g.appendMembers(&other), 5);
    EXPECT_EQ(g.Capacity, 5);

    g.replaceMember(&a, &c);
    EXPECT_EQ(g.Members[0], &c);
    EXPECT_EQ(g.Members[2], &c);
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
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "** Members of Group g\n"
                                                      "[0] a\n"
                                                      "[1] inner\n"
                                                      "  [1.0] b\n"
                                                      "  [1.1] deep\n"
                                                      "    [1.1.0] x\n"
                                                      "    [1.1.1] y\n"
                                                      "[2] d\n"
                                                      "************ Group: deep ****************\n"
                                                      "Contains the following actions:\n"
                                                      "  x\n"
                                                      "  y\n"
                                                      "Selected Action = none\n");
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

// Both ways of building a single group leave the action in both places.
TEST(SingleGroup, BothBuildsAgree) {
    StubActivity a("a", 3, 2.0);
    SingleGroup built(&a), set;
    EXPECT_EQ(set.NumMembers, 0);
    set.SetAction(&a);
    for (SingleGroup* g : {&built, &set}) {
        EXPECT_EQ(g->Action, &a);
        EXPECT_EQ(g->Members[0], &a);
        EXPECT_EQ(g->NumMembers, 1);
        EXPECT_TRUE(g->IsAMember(&a));
        EXPECT_EQ(g->getPrintedAction(), &a);
        EXPECT_EQ(g->Rank(), 3);
        g->setGroupId(9);
        EXPECT_EQ(a.GroupID, 9);
    }
    EXPECT_STREQ(built.Name, "a");
    SingleGroup none(nullptr);
    EXPECT_EQ(none.NumMembers, 0);
    EXPECT_FALSE(none.IsAMember(nullptr));
}

TEST(SingleGroup, TracksEnablingAndSelectsAfterReporting) {
    StubActivity a("a");
    a.Reactivation = true;
    SingleGroup g(&a);
    EXPECT_TRUE(g.Enabled());
    EXPECT_TRUE(g.EnablingChange());
    EXPECT_TRUE(g.Enabled());
    EXPECT_FALSE(g.EnablingChange()); // no new evaluation
    EXPECT_EQ(a.enabledCalls, 2);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(g.SelectAction());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), inconsistent);
    EXPECT_EQ(g.SelectedAction, &a);
    EXPECT_FALSE(a.Disabled);
    EXPECT_TRUE(g.Reactivation);
}

TEST(EmptyGroup, AnswersNothingAndCannotSelect) {
    EmptyGroup e;
    StubActivity a("a");
    e.SetAction(&a);
    EXPECT_STREQ(e.Name, "ImmediateGroup");
    EXPECT_EQ(e.NumMembers, 0);
    EXPECT_FALSE(e.Enabled());
    EXPECT_EQ(e.Rate(), 0.0);
    EXPECT_EQ(e.Probability(&a), 0.0);
    EXPECT_EQ(e.Fire(), nullptr);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(e.SelectAction());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), inconsistent);
}

} // namespace
