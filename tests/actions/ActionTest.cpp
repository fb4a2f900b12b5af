// Actions and activities: printing, and the answers an activity gives as its own
// group. Phases and reward structures are checked through the generator and the
// reward model (tests/ssg, tests/pv).

#include "StubActions.h"

#include "state/Place.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

TEST(BaseAction, PrintInfoListsEachVariableOnce) {
    Place idle("idle", 1), busy("busy", 0);
    BaseActionClass a("arrival", 2, Exponential, DefaultPolicy, 2, 1, false);
    a.addEnablingSV(&idle);
    a.addEnablingSV(&idle);
    a.addAffectedSV(&idle);
    a.addAffectedSV(&busy);
    testing::internal::CaptureStdout();
    a.PrintInfo();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "********* arrival**********\n\nEnabled by:\n           idle\nAffects:\n"
              "           idle\n           busy\nGroup ID = 2\nExecution Policy = 1\n"
              "Disabled = 1\nReactivation = 0\nDistributionType = 1\n");
    a.removeAffectedSV(&idle);
    std::ostringstream out;
    a.printAffectedState(&out);
    a.printEnablingState(&out);
    EXPECT_EQ(out.str(), "busy = 0\nidle = 1\n");
}

TEST(Activity, IsItsOwnGroupAndRemembersItsEnabling) {
    StubActivity a("a"), b("b");
    EXPECT_EQ(a.SelectedAction, &a);
    EXPECT_EQ(a.Probability(&b), 0.0);
    // The first evaluation changes from the initial false; the next in the same marking does not.
    EXPECT_TRUE(a.EnablingChange());
    EXPECT_FALSE(a.EnablingChange());
    a.on = false;
    EXPECT_FALSE(a.SelectAction());
    EXPECT_EQ(a.SelectedAction, &a);

    // A generated class that leaves out Rate or Weight gets the action defaults
    // rather than an activity asking itself, its own selected action, forever.
    struct Bare : Activity {
        BaseActionClass* Fire() override { return this; }
        void LinkVariables() override {}
    } bare;
    EXPECT_EQ(bare.Rate(), 0.0);
    EXPECT_EQ(bare.Weight(), 0.0);
    EXPECT_EQ(bare.Rank(), 0);
}

} // namespace
