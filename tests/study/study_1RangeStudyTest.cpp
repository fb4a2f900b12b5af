#include "study_1RangeStudy.h"
#include "GlobalVariables.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Each test gets a fresh study from GenerateStudy.
class RangeStudyTest : public ::testing::Test {
protected:
    void SetUp() override {
        DestructStudy();
        study = GenerateStudy();
    }
    void TearDown() override { DestructStudy(); }
    BaseStudyClass* study = nullptr;
};

TEST_F(RangeStudyTest, DescribesItsVariablesAndSetsTheExperimentTable) {
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
}

TEST_F(RangeStudyTest, PrintGlobalValuesSetsAndPrintsTheExperiment) {
    alpha = beta = lambda_i = lambda_w = -1.0;
    testing::internal::CaptureStdout();
    study->PrintGlobalValues(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The Global Variable values for experiment Experiment 1 are:\n"
              "alpha\tdouble\t1000\n"
              "beta\tdouble\t10000\n"
              "lambda_i\tdouble\t1e-07\n"
              "lambda_w\tdouble\t1e-06\n");
    testing::internal::CaptureStdout();
    study->PrintGlobalValues(9);
    std::string last = testing::internal::GetCapturedStdout();
    EXPECT_NE(last.find("Experiment 10 are:\n"), std::string::npos);
    EXPECT_NE(last.find("\nlambda_w\tdouble\t1e-05\n"), std::string::npos);
}

TEST_F(RangeStudyTest, ExperimentNamesShareOneBuffer) {
    const char* first = study->GetExpName(0);
    EXPECT_STREQ(first, "Experiment 1");
    EXPECT_EQ(study->GetExpName(9), first);
    EXPECT_STREQ(first, "Experiment 10");
}

TEST_F(RangeStudyTest, LooksUpVariablesByExactName) {
    EXPECT_EQ(study->GetGVValue("lambda_i"), &lambda_i);
    EXPECT_EQ(study->GetGVValue("lambda_w"), &lambda_w);
    testing::internal::CaptureStderr();
    EXPECT_EQ(study->GetGVValue("Alpha"), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! study_1RangeStudy::GetGVValue: Global Variable Alpha does not exist.\n");

    double value = 42.5;
    study->OverrideGVValue("beta", &value);
    EXPECT_EQ(beta, 42.5);
}

TEST_F(RangeStudyTest, DestroyedStudyIsRebuiltWithTheTable) {
    study->SetDefaultVantorRoot("/opt/other/");
    EXPECT_STREQ(study->GetDefaultVantorRoot(), "/opt/other/");
    DestructStudy();
    EXPECT_EQ(GlobalStudyPtr, nullptr);
    DestructStudy(); // nothing left to delete
    study = GenerateStudy();
    EXPECT_STREQ(study->GetDefaultVantorRoot(), "/usr/share/vantor-2.4/");
    study->SetGVs(4);
    EXPECT_EQ(lambda_w, 4.9999999999999996e-6);
    EXPECT_NE(lambda_w, 5e-6);
}

TEST(RangeStudyDeathTest, ExperimentOutsideTheTableAsserts) {
    study_1RangeStudy study;
    EXPECT_DEATH(study.SetGVs(10), "study_1RangeStudy");
    EXPECT_DEATH(study.SetGVs(-1), "study_1RangeStudy");
}

TEST(BaseStudyTest, BaseOperationsAreHarmlessDefaults) {
    BaseStudyClass study;
    EXPECT_STREQ(study.GetDefaultVantorRoot(), "");
    testing::internal::CaptureStdout();
    study.SetGVs(3);
    study.PrintGlobalValues(3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "basestudyclass::SetGVs\n");
}

} // namespace
