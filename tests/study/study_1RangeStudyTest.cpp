#include "study_1RangeStudy.h"
#include "GlobalVariables.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

namespace {

// The printed experiment table and exit paths are checked on the real gen (tests/e2e).
TEST(RangeStudyTest, DescribesItsVariablesAndSetsTheExperimentTable) {
    DestructStudy();
    BaseStudyClass* study = GenerateStudy();
    ASSERT_NE(dynamic_cast<study_1RangeStudy*>(study), nullptr);
    EXPECT_EQ(GenerateStudy(), study);
    ASSERT_EQ(study->GetNumGVs(), 4);
    EXPECT_EQ(study->GetNumExps(), 10);
    const char* names[] = {"alpha", "beta", "lambda_i", "lambda_w"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(study->GetGVName(i), names[i]);
        EXPECT_STREQ(study->GetGVType(i), "double");
    }
    EXPECT_STREQ(study->GetDefaultVantorRoot(), "/usr/share/vantor-2.4/");
    EXPECT_EQ(study->GetGVValue("lambda_w"), &lambda_w);
    testing::internal::CaptureStderr();
    EXPECT_EQ(study->GetGVValue("Alpha"), nullptr); // names match exactly
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! study_1RangeStudy::GetGVValue: Global Variable Alpha does not exist.\n");

    // Each lambda_w entry is the previous one plus 1e-6 in double arithmetic.
    const double lambda_wRow[10] = {
        0x1.0c6f7a0b5ed8dp-20, 0x1.0c6f7a0b5ed8dp-19, 0x1.92a737110e454p-19, 0x1.0c6f7a0b5ed8dp-18,
        0x1.4f8b588e368f0p-18, 0x1.92a737110e453p-18, 0x1.d5c31593e5fb6p-18, 0x1.0c6f7a0b5ed8dp-17,
        0x1.2dfd694ccab3fp-17, 0x1.4f8b588e368f1p-17};
    for (int exp = 9; exp >= 0; --exp) {
        study->SetGVs(exp);
        EXPECT_EQ(alpha, 1000.0) << exp;
        EXPECT_EQ(beta, 10000.0) << exp;
        EXPECT_EQ(lambda_i, 1e-7) << exp;
        EXPECT_EQ(lambda_w, lambda_wRow[exp]) << exp;
    }
    const char* first = study->GetExpName(0); // one buffer shared by all calls
    EXPECT_STREQ(first, "Experiment 1");
    EXPECT_EQ(study->GetExpName(9), first);
    EXPECT_STREQ(first, "Experiment 10");
    DestructStudy();
    EXPECT_EQ(GlobalStudyPtr, nullptr);
}

TEST(RangeStudyDeathTest, ExperimentOutsideTheTableAsserts) {
    study_1RangeStudy study;
    EXPECT_DEATH(study.SetGVs(10), "study_1RangeStudy: SetGVs");
    EXPECT_DEATH(study.SetGVs(-1), "study_1RangeStudy: SetGVs");
}

TEST(BaseStudyTest, BaseOperationsAreHarmlessDefaults) {
    BaseStudyClass study;
    testing::internal::CaptureStdout();
    study.SetGVs(3);
    study.PrintGlobalValues(3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "basestudyclass::SetGVs\n");
}

} // namespace
