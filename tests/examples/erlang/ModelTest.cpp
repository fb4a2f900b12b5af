// The two-class server's generated classes without the generator: the group
// server and its members, the Erlang parameters and the rewards.

#include "GlobalVariables.h"
#include "erlangSAN.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

namespace {

class ErlangModel : public ::testing::Test {
protected:
    void SetUp() override {
        study = GenerateStudy();
        study->SetGVs(0);
        model = study->GetPVModel(false);
        san = static_cast<erlangSAN*>(model->SubModel);
    }
    void TearDown() override { DestructStudy(); }

    BaseStudyClass* study = nullptr;
    PVModel* model = nullptr;
    erlangSAN* san = nullptr;
};

} // namespace

TEST_F(ErlangModel, ServiceActivitiesShareTheGroupServer) {
    ASSERT_EQ(model->NumGroups, 3);
    EXPECT_EQ(model->Groups[2], &san->server);
    EXPECT_EQ(san->server.NumMembers, 2);
    EXPECT_EQ(san->serve_a.GroupID, 2);
    EXPECT_EQ(san->serve_b.GroupID, 2);
    EXPECT_EQ(san->arrive_b.GroupID, 1);
    EXPECT_EQ(san->arrive_b.NumMembers, 0); // its own group: it ages alone
}

TEST_F(ErlangModel, GroupProbabilitySplitsByWeightAmongEnabledMembers) {
    san->qb->setMark(1);
    EXPECT_DOUBLE_EQ(san->server.Probability(&san->serve_b), 1.0);
    san->qa->setMark(1);
    EXPECT_DOUBLE_EQ(san->server.Probability(&san->serve_a), 0.75);
    EXPECT_DOUBLE_EQ(san->server.Probability(&san->serve_b), 0.25);
}

TEST_F(ErlangModel, ErlangActivitiesCountTheirPhases) {
    EXPECT_EQ(san->arrive_b.DistributionType, Erlang);
    EXPECT_EQ(san->serve_a.ErlangParamM(), 2.0);
    study->SetGVs(1);
    EXPECT_EQ(san->serve_a.ErlangParamM(), 3.0); // read at every call
    EXPECT_FALSE(san->serve_a.ReadyToFire());
    san->serve_a.Age();
    san->serve_a.Age();
    EXPECT_TRUE(san->serve_a.ReadyToFire());
    EXPECT_EQ(san->arrive_a.DistributionType, Exponential);
}

TEST_F(ErlangModel, RewardsCountJobsAndIdleness) {
    model->ConsiderOnly(nullptr, -1);
    char buffer[4];
    model->FireAction(buffer, &san->arrive_a);
    EXPECT_EQ(model->PVList[0]->RateReward, 1.0);
    EXPECT_EQ(model->PVList[1]->RateReward, 0.0);
    model->FireAction(buffer, &san->arrive_b);
    EXPECT_EQ(model->PVList[0]->RateReward, 2.0);
    model->FireAction(buffer, &san->serve_a);
    model->FireAction(buffer, &san->serve_b);
    EXPECT_EQ(model->PVList[0]->RateReward, 0.0);
    EXPECT_EQ(model->PVList[1]->RateReward, 1.0);
    EXPECT_EQ(model->PVList[0]->ImpulseReward, 0.0);
}
