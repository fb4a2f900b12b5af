// The shipped reward model: its links and the study that hands it out. Its
// rewards and .pvtype file are pinned by the end-to-end files.

#include "generated/reliabPVModel.h"
#include "generated/computerSAN.h"
#include "generated/reliabPV0Worker.h"
#include "pv/PerformanceVariableNode.h"

#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

namespace {

computerSAN* sanOf(PVModel* model) {
    return static_cast<computerSAN*>(model->SubModel);
}

} // namespace

TEST(reliabPVModel, HoldsTheOneVariableReliabilityLinkedToTheActionsThatChangeFailed) {
    for (bool expand : {false, true}) {
        reliabPVModel model(expand);
        computerSAN* san = sanOf(&model);
        ASSERT_EQ(model.NumPVs, 1);
        PerformanceVariableNode* node = model.PVList[0];
        EXPECT_STREQ(node->Name, "reliability");
        EXPECT_EQ(node->StartTime, 24.0);
        EXPECT_EQ(node->IntervalLength, 0.0);
        ASSERT_EQ(node->NumWorkers, 1);
        EXPECT_EQ(static_cast<reliabPV0Worker*>(node->Workers[0])->computer, san);
        EXPECT_EQ(model.createPVNode(1, 0), nullptr);
        ASSERT_EQ(node->NumNodeActions, 2);
        EXPECT_EQ(node->NodeActions[0], &san->busy_fail);
        EXPECT_EQ(node->NodeActions[1], &san->idle_fail);
        EXPECT_EQ(san->arrival.AffectedNodesByRateReward.size(), 0);
    }
}

TEST(reliabPVModel, TheStudyReplacesItsModelOnEveryCall) {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    study->GetPVModel(false);
    PVModel* second = study->GetPVModel(true);
    // The new model numbers its node from 0 again and computes its reward.
    EXPECT_EQ(second->PVList[0]->Id, 0);
    second->ConsiderOnly(nullptr, -1);
    short state[3];
    second->FireAction(state, &sanOf(second)->idle_fail);
    EXPECT_EQ(second->PVList[0]->RateReward, 0.0);
    DestructStudy();
}
