// Calls that are reported and then go on: an index past the end of a state
// variable's affecting actions, and the base reward of a worker.

#include "pv/PerformanceVariableWorker.h"
#include "state/Place.h"

#include <gtest/gtest.h>

namespace {

// A worker that keeps the base class's CurrentReward.
class PlainWorker : public PerformanceVariableWorker {
public:
    double Reward_Function() override { return 2.0; }
    void Accumulate(double, double) override {}
};

TEST(ReportedCallsTest, AffectingActionIndexPastTheEndGivesNull) {
    Place place("idle", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(place.getAffectingAction(0), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! BaseStateVariableClass::getAffectingAction(int):  AffectingAction index out of "
              "bounds\n");
}

TEST(ReportedCallsTest, BaseCurrentRewardLeavesTheValuesAlone) {
    PlainWorker worker;
    worker.Reward = 3.0;
    worker.RewardSquared = 9.0;
    testing::internal::CaptureStderr();
    worker.CurrentReward();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! Calling PerformanceVariableWorker::CurrentReward()\n");
    EXPECT_EQ(worker.Reward, 3.0);
    EXPECT_EQ(worker.RewardSquared, 9.0);
}

} // namespace
