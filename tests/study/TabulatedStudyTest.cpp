// A study written against TabulatedStudy states only its variables and their
// columns: the base's name and type tables, the rows set and printed, the
// variables found and overridden by name all follow from those declarations.

#include "study/TabulatedStudy.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

int cards = 0;
double rate = 0.0;

// Two variables of different types over three experiments.
class CardStudy : public TabulatedStudy {
public:
    CardStudy() : TabulatedStudy("CardStudy", 3) {
        addVariable("cards", cards, std::vector<int>{4, 5, 7});
        addVariable("rate", rate, 0.25);
    }
    PVModel* GetPVModel(bool) override { return nullptr; }
};

// A table whose column is shorter than the experiments it claims.
class ShortColumnStudy : public TabulatedStudy {
public:
    ShortColumnStudy() : TabulatedStudy("ShortColumnStudy", 3) {
        addVariable("cards", cards, std::vector<int>{4, 5});
    }
    PVModel* GetPVModel(bool) override { return nullptr; }
};

class EmptyStudy : public TabulatedStudy {
public:
    EmptyStudy() : TabulatedStudy("EmptyStudy", 1) {}
    PVModel* GetPVModel(bool) override { return nullptr; }
};

TEST(TabulatedStudyTest, DeclarationsFillTheNameAndTypeTablesAndEachRowIsPrinted) {
    CardStudy study;
    ASSERT_EQ(study.GetNumGVs(), 2);
    EXPECT_EQ(study.GetNumExps(), 3);
    EXPECT_STREQ(study.GetGVName(0), "cards");
    EXPECT_STREQ(study.GetGVType(0), "int");
    EXPECT_STREQ(study.GetGVName(1), "rate");
    EXPECT_STREQ(study.GetGVType(1), "double");

    testing::internal::CaptureStdout();
    study.PrintGlobalValues(2);
    study.PrintGlobalValues(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The Global Variable values for experiment Experiment 3 are:\n"
              "cards\tint\t7\n"
              "rate\tdouble\t0.25\n"
              "The Global Variable values for experiment Experiment 1 are:\n"
              "cards\tint\t4\n"
              "rate\tdouble\t0.25\n");
    study.SetGVs(1);
    EXPECT_EQ(cards, 5);
    EXPECT_EQ(rate, 0.25);

    EmptyStudy empty;
    testing::internal::CaptureStdout();
    empty.PrintGlobalValues(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "There are no global variables.\n");
}

TEST(TabulatedStudyTest, VariablesAreFoundAndOverriddenByExactNameInTheirOwnType) {
    CardStudy study;
    study.SetGVs(0);
    EXPECT_EQ(study.GetGVValue("cards"), &cards);
    EXPECT_EQ(study.GetGVValue("rate"), &rate);
    testing::internal::CaptureStderr();
    EXPECT_EQ(study.GetGVValue("Cards"), nullptr);
    study.overrideGVs("i:cards:12:d:rate:1e-3:i:trucks:2");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "!! CardStudy::GetGVValue: Global Variable Cards does not exist.\n"
              "!! CardStudy::OverrideGVValue: Global Variable trucks does not exist.\n");
    EXPECT_EQ(cards, 12);
    EXPECT_EQ(rate, 1e-3);
}

TEST(TabulatedStudyDeathTest, AColumnOfTheWrongLengthOrARowOutsideTheTableAsserts) {
    EXPECT_DEATH(ShortColumnStudy(), "ShortColumnStudy: addColumn");
    CardStudy study;
    EXPECT_DEATH(study.SetGVs(3), "CardStudy: SetGVs");
}

} // namespace
