// The multiprocessor's generated classes without the generator: the study's
// experiments, the reward model's impulses and the instantaneous activities'
// weights and ranks.

#include "GlobalVariables.h"
#include "multiprocSAN.h"
#include "pv/PVModel.h"
#include "pv/PerformanceVariableNode.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

namespace {

class MultiprocModel : public ::testing::Test {
protected:
    void SetUp() override {
        study = GenerateStudy();
        study->SetGVs(0);
        model = study->GetPVModel(false);
        san = static_cast<multiprocSAN*>(model->SubModel);
        model->ConsiderOnly(nullptr, -1);
    }
    void TearDown() override { DestructStudy(); }

    // Fires the activity through the reward model and returns the cost impulse.
    double costImpulseOf(BaseActionClass* action) {
        char buffer[8];
        model->FireAction(buffer, action);
        return model->PVList[1]->ImpulseReward;
    }

    BaseStudyClass* study = nullptr;
    PVModel* model = nullptr;
    multiprocSAN* san = nullptr;
};

} // namespace

TEST_F(MultiprocModel, StudySetsEachExperimentsValues) {
    study->SetGVs(3);
    EXPECT_EQ(K, 10);
    study->SetGVs(5);
    EXPECT_EQ(K, 3);
    EXPECT_EQ(coverage, 1.0);
    EXPECT_EQ(crash_cost, 100.0);
    EXPECT_STREQ(study->GetGVType(0), "int");
    EXPECT_EQ(study->GetGVValue("K"), &K);
    EXPECT_EQ(study->GetGVValue("rho"), &rho);
}

TEST_F(MultiprocModel, StateVectorHoldsTheFourPlacesAndStartsWithKUp) {
    EXPECT_EQ(model->StateSize(), 8);
    EXPECT_EQ(san->up->getMark(), 2);
    EXPECT_TRUE(san->fail.Enabled());
    EXPECT_DOUBLE_EQ(san->fail.Rate(), 0.002);
    EXPECT_FALSE(san->covered.Enabled());
}

// With the last processor failing, all three instantaneous activities are
// enabled; exhausted outranks the coverage decision.
TEST_F(MultiprocModel, LastFailureEnablesAllThreeDecisionsWithExhaustedRankedHighest) {
    san->up->setMark(1);
    san->fail.Fire();
    EXPECT_TRUE(san->exhausted.Enabled());
    EXPECT_TRUE(san->covered.Enabled());
    EXPECT_TRUE(san->uncovered.Enabled());
    EXPECT_GT(san->exhausted.Rank(), san->covered.Rank());
    EXPECT_EQ(san->covered.Rank(), san->uncovered.Rank());
    EXPECT_DOUBLE_EQ(san->covered.Weight() + san->uncovered.Weight(), 1.0);
}

TEST_F(MultiprocModel, ImpulsesCostACrashAndARepair) {
    san->fail.Fire();
    EXPECT_EQ(costImpulseOf(&san->uncovered), 100.0);
    EXPECT_EQ(model->PVList[0]->RateReward, 0.0); // crashed: not available
    EXPECT_EQ(costImpulseOf(&san->repair), 1.0);
    EXPECT_EQ(costImpulseOf(&san->reboot), 0.0);
    EXPECT_EQ(model->PVList[0]->RateReward, 1.0);
    EXPECT_EQ(model->PVList[1]->RateReward, 0.0); // cost has no rate reward
}
