// The sensor-report model's generated classes without the generator: the timers'
// delays, the group channel and the loss impulse.

#include "GlobalVariables.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"
#include "study/BaseStudyClass.h"
#include "timerSAN.h"

#include <gtest/gtest.h>

namespace {

class TimerModel : public ::testing::Test {
protected:
    void SetUp() override {
        study = GenerateStudy();
        study->SetGVs(0);
        model = study->GetPVModel(false);
        san = static_cast<timerSAN*>(model->SubModel);
    }
    void TearDown() override { DestructStudy(); }

    BaseStudyClass* study = nullptr;
    PVModel* model = nullptr;
    timerSAN* san = nullptr;
};

} // namespace

TEST_F(TimerModel, TimersAreDeterministicWithTheirDelaysFirst) {
    EXPECT_EQ(san->report.DistributionType, Deterministic);
    EXPECT_EQ(san->timeout.DistributionType, Deterministic);
    EXPECT_EQ(san->ack.DistributionType, Exponential);
    EXPECT_EQ(san->deliver.DistributionType, Instantaneous);
    EXPECT_EQ(san->report.ReturnDistributionParameters()[0], 10.0);
    EXPECT_EQ(san->timeout.ReturnDistributionParameters()[0], 2.0);
    study->SetGVs(4);
    EXPECT_EQ(san->timeout.ReturnDistributionParameters()[0], 2.5);
}

TEST_F(TimerModel, ChannelSplitsATransmissionByTheLossWeights) {
    ASSERT_EQ(model->NumGroups, 4);
    EXPECT_EQ(model->Groups[3], &san->channel);
    EXPECT_EQ(san->deliver.GroupID, 3);
    EXPECT_EQ(san->lose.GroupID, 3);
    san->pending->setMark(1);
    EXPECT_DOUBLE_EQ(san->channel.Probability(&san->deliver), 0.75);
    EXPECT_DOUBLE_EQ(san->channel.Probability(&san->lose), 0.25);
}

TEST_F(TimerModel, TimeoutRetransmitsUpToRTimesThenGivesUp) {
    san->idle->setMark(0);
    san->lost->setMark(1);
    ASSERT_TRUE(san->timeout.Enabled());
    san->timeout.Fire();
    EXPECT_EQ(san->pending->getMark(), 1);
    EXPECT_EQ(san->retries->getMark(), 1);
    san->pending->setMark(0);
    san->sent->setMark(1);
    san->timeout.Fire();
    EXPECT_EQ(san->idle->getMark(), 1);
    EXPECT_EQ(san->retries->getMark(), 0);
    EXPECT_EQ(san->sent->getMark(), 0);
}

TEST_F(TimerModel, LossImpulseCountsEachLostTransmission) {
    model->ConsiderOnly(nullptr, -1);
    char buffer[10];
    model->FireAction(buffer, &san->report);
    EXPECT_EQ(model->PVList[0]->RateReward, 1.0);
    EXPECT_EQ(model->PVList[1]->ImpulseReward, 0.0);
    model->FireAction(buffer, &san->lose);
    EXPECT_EQ(model->PVList[1]->ImpulseReward, 1.0);
    model->FireAction(buffer, &san->timeout);
    EXPECT_EQ(model->PVList[1]->ImpulseReward, 0.0);
}
