// Actions and activities: ids and defaults, state-variable lists, phases,
// per-performance-variable structures, printing.

#include "StubActions.h"

#include "state/Place.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(BaseAction, IdsFollowConstructionOrderAndDefaultsHold) {
    int first = BaseActionClass::MaxID;
    BaseActionClass a;
    StubActivity b("b");
    EXPECT_EQ(a.ID, first);
    EXPECT_EQ(b.ID, first + 1);
    EXPECT_STREQ(a.Name, "default");
    EXPECT_EQ(a.DistributionType, 1);
    EXPECT_EQ(a.ExecutionPolicy, 1);
    EXPECT_EQ(a.Phase, 1);
    EXPECT_TRUE(a.Disabled);
    EXPECT_FALSE(a.Reactivation);
    EXPECT_EQ(a.Probability(&b), 1.0);

    a.ResetPhase();
    EXPECT_TRUE(a.ReadyToFire());
    a.Age();
    EXPECT_FALSE(a.ReadyToFire());
}

TEST(BaseAction, PrintInfoListsEachVariableOnce) {
    Place idle("idle", 1), busy("busy", 0);
    BaseActionClass a("arrival", 2, Exponential, DefaultPolicy, 2, 1, false);
    a.addEnablingSV(&idle);
    a.addEnablingSV(&idle);
    a.addAffectedSV(&idle);
    a.addAffectedSV(&busy);
    testing::internal::CaptureStdout();
    a.PrintInfo();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "********* arrival**********\n"
                                                      "\n"
                                                      "Enabled by:\n"
                                                      "           idle\n"
                                                      "Affects:\n"
                                                      "           idle\n"
                                                      "           busy\n"
                                                      "Group ID = 2\n"
                                                      "Execution Policy = 1\n"
                                                      "Disabled = 1\n"
                                                      "Reactivation = 0\n"
                                                      "DistributionType = 1\n");
    a.removeAffectedSV(&idle);
    std::ostringstream out;
    a.printAffectedState(&out);
    a.printEnablingState(&out);
    EXPECT_EQ(out.str(), "busy = 0\nidle = 1\n");
}

TEST(BaseAction, RewardStructuresAreAllocatedPerVariable) {
    BaseActionClass a;
    EXPECT_FALSE(a.IsPVRateDSAllocated());
    a.AllocatePVRateDS(3);
    a.AllocatePVImpulseDS(3);
    ASSERT_TRUE(a.IsPVImpulseDSAllocated());
    EXPECT_TRUE(a.PVRateWorkers[2].insert(4));
    EXPECT_TRUE(a.PVImpulseSets[2].empty());
    EXPECT_EQ(a.PVImpulseWorkers[2], nullptr);
    EXPECT_EQ(a.PVImpulseWorkerCounts[2], nullptr);
    a.DeallocatePVRateDS();
    a.DeallocatePVImpulseDS();
    EXPECT_FALSE(a.IsPVRateDSAllocated());
}

TEST(Activity, IsItsOwnGroupAndRemembersItsEnabling) {
    StubActivity a("a"), b("b");
    EXPECT_EQ(a.SelectedAction, &a);
    EXPECT_EQ(a.Probability(&a), 1.0);
    EXPECT_EQ(a.Probability(&b), 0.0);
    // The first evaluation changes from the initial false; the next in the same marking does not.
    EXPECT_TRUE(a.EnablingChange());
    EXPECT_FALSE(a.EnablingChange());
    a.on = false;
    EXPECT_FALSE(a.SelectAction());
    EXPECT_EQ(a.SelectedAction, &a);
    a.setGroupId(4);
    EXPECT_EQ(a.GroupID, 4);
}

// A generated class that leaves out Rate or Weight gets the action defaults
// rather than an activity asking itself, its own selected action, forever.
TEST(Activity, DefaultsDoNotForwardToItself) {
    struct Bare : Activity {
        BaseActionClass* Fire() override { return this; }
        void LinkVariables() override {}
    } bare;
    EXPECT_EQ(bare.Rate(), 0.0);
    EXPECT_EQ(bare.Weight(), 0.0);
    EXPECT_EQ(bare.Rank(), 0);
}

} // namespace
