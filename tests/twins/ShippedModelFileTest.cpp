// The classes compiled from models/computer/computer.san carry the names of the
// shipped model's classes, and the study stores the exact doubles of the lambda_w
// range (which the result files, with 11 significant digits, cannot tell apart
// from the nearest decimals).

#include "GlobalVariables.h"
#include "computerSAN.h"
#include "reliabPV0.h"
#include "reliabPV0Worker.h"
#include "reliabPVModel.h"
#include "study_1RangeStudy.h"

#include <gtest/gtest.h>

TEST(ShippedModelFile, CompilesToTheShippedClassesAndTheExactStudy) {
    DestructStudy();
    BaseStudyClass* study = GenerateStudy();
    ASSERT_NE(dynamic_cast<study_1RangeStudy*>(study), nullptr);
    ASSERT_EQ(study->GetNumGVs(), 4);
    ASSERT_EQ(study->GetNumExps(), 10);
    const char* names[] = {"alpha", "beta", "lambda_i", "lambda_w"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(study->GetGVName(i), names[i]);
        EXPECT_STREQ(study->GetGVType(i), "double");
    }
    // 1e-6 plus 1e-6 once per further experiment, in double arithmetic.
    const double lambda_wRow[10] = {
        0x1.0c6f7a0b5ed8dp-20, 0x1.0c6f7a0b5ed8dp-19, 0x1.92a737110e454p-19, 0x1.0c6f7a0b5ed8dp-18,
        0x1.4f8b588e368f0p-18, 0x1.92a737110e453p-18, 0x1.d5c31593e5fb6p-18, 0x1.0c6f7a0b5ed8dp-17,
        0x1.2dfd694ccab3fp-17, 0x1.4f8b588e368f1p-17};
    for (int e = 0; e < 10; ++e) {
        study->SetGVs(e);
        EXPECT_EQ(alpha, 1000.0) << e;
        EXPECT_EQ(beta, 10000.0) << e;
        EXPECT_EQ(lambda_i, 1e-7) << e;
        EXPECT_EQ(lambda_w, lambda_wRow[e]) << e;
    }
    EXPECT_EQ(lambda_wRow[4], 4.9999999999999996e-6);

    auto* model = dynamic_cast<reliabPVModel*>(study->GetPVModel(false));
    ASSERT_NE(model, nullptr);
    auto* san = dynamic_cast<computerSAN*>(model->SubModel);
    ASSERT_NE(san, nullptr);
    // The markings lie in one buffer (the twins' runs check that the files stay
    // those of the hand-written classes, whose markings lie apart).
    EXPECT_TRUE(san->statePacked());
    ASSERT_EQ(model->NumPVs, 1);
    auto* node = dynamic_cast<reliabPV0*>(model->PVList[0]);
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(node->NumWorkers, 1);
    EXPECT_NE(dynamic_cast<reliabPV0Worker*>(node->Workers[0]), nullptr);
    DestructStudy();
}
