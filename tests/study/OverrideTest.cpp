// The override string, through the shipped study (all doubles) and through a
// study with one variable of each type that a type letter names.

#include "GlobalVariables.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

namespace {

struct Outcome {
    std::string out;
    std::string err;
};

Outcome applyOverrides(BaseStudyClass& study, const char* overrides) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    study.overrideGVs(overrides);
    Outcome outcome;
    outcome.err = testing::internal::GetCapturedStderr();
    outcome.out = testing::internal::GetCapturedStdout();
    return outcome;
}

struct Case {
    const char* overrides;
    const char* out;
    const char* err;
    double alpha, beta, lambda_i, lambda_w; // values afterwards
};

void PrintTo(const Case& c, std::ostream* os) {
    *os << (c.overrides ? c.overrides : "(null)");
}

constexpr double A = 1000.0, B = 10000.0, I = 1e-7, W = 1e-6; // experiment 1

const Case cases[] = {
    {nullptr, "", "", A, B, I, W},
    {"d:lambda_w:2.5e-6:d:alpha:500", "", "", 500, B, I, 2.5e-6},
    {"d", "Not enough double override tokens", "", A, B, I, W},
    {"d:alpha:1:d:beta", "Not enough double override tokens", "", 1, B, I, W},
    {"x:alpha:5:d:beta:7", "Type x not recognized\n", "", A, 7, I, W},
    {" d:alpha:5", "Type   not recognized\n", "", A, B, I, W},
    {"dbl:alpha:5", "", "", 5, B, I, W}, // only the first character is the letter
    {"d:gamma:1", "",
     "!! study_1RangeStudy::OverrideGVValue: Global Variable gamma does not exist.\n", A, B, I, W},
    {"d::alpha::5", "", "", 5, B, I, W},
    {"::d:::alpha:5:::", "", "", 5, B, I, W},
    {"d:alpha:5:d:alpha:6", "", "", 6, B, I, W},
    // Values that do not convert, as a whole token, are refused; the run goes on.
    {"d:alpha:5abc:d:beta:2", "",
     "!! Override of alpha with \"5abc\" refused: not a valid double\n", A, 2, I, W},
    {"d:alpha:1e999", "", "!! Override of alpha with \"1e999\" refused: not a valid double\n", A, B,
     I, W},
    // A letter of another type than the variable's is refused, not reinterpreted.
    {"i:alpha:5:d:beta:3", "",
     "!! Override of alpha with \"5\" refused: type letter i (int) does not match its type "
     "double\n",
     A, 3, I, W},
    // An unknown name cannot be type-checked; the study reports it.
    {"i:gamma:5", "",
     "!! study_1RangeStudy::OverrideGVValue: Global Variable gamma does not exist.\n", A, B, I, W},
};

class RangeOverrideTest : public ::testing::TestWithParam<Case> {
protected:
    void SetUp() override {
        DestructStudy();
        GenerateStudy()->SetGVs(0);
    }
    void TearDown() override { DestructStudy(); }
};

TEST_P(RangeOverrideTest, AppliesOrReportsEachTriple) {
    const Case& c = GetParam();
    Outcome outcome = applyOverrides(*GlobalStudyPtr, c.overrides);
    EXPECT_EQ(outcome.out, c.out);
    EXPECT_EQ(outcome.err, c.err);
    EXPECT_EQ(alpha, c.alpha);
    EXPECT_EQ(beta, c.beta);
    EXPECT_EQ(lambda_i, c.lambda_i);
    EXPECT_EQ(lambda_w, c.lambda_w);
}

INSTANTIATE_TEST_SUITE_P(OverrideStrings, RangeOverrideTest, ::testing::ValuesIn(cases));

// A study with one variable of each type; OverrideGVValue stores the value as the
// variable's declared type, as generated studies do.
class TypedStudy : public BaseStudyClass {
public:
    bool flag = false;
    char letter = ' ';
    double ratio = 0;
    float part = 0;
    int count = 0;
    long big = 0;
    short small = 0;

    TypedStudy() {
        NumGVs = static_cast<int>(variables().size());
        GVNames = new char*[NumGVs];
        GVTypes = new char*[NumGVs];
        for (int i = 0; i < NumGVs; ++i) {
            GVNames[i] = strdup(variables()[i].name);
            GVTypes[i] = strdup(variables()[i].type);
        }
    }
    void OverrideGVValue(const char* name, const void* value) override {
        for (const Variable& v : variables())
            if (std::strcmp(name, v.name) == 0)
                std::memcpy(v.address, value, v.size);
    }

private:
    struct Variable {
        const char* name;
        const char* type;
        void* address;
        std::size_t size;
    };
    std::vector<Variable> variables() {
        return {{"flag", "bool", &flag, sizeof flag},      {"letter", "char", &letter, 1},
                {"ratio", "double", &ratio, sizeof ratio}, {"part", "float", &part, sizeof part},
                {"count", "int", &count, sizeof count},    {"big", "long", &big, sizeof big},
                {"small", "short", &small, sizeof small}};
    }
};

TEST(TypedOverrideTest, EachLetterConvertsItsType) {
    TypedStudy study;
    Outcome outcome = applyOverrides(
        study, "b:flag:2:c:letter:z:d:ratio:0.25:f:part:1.5:i:count:0x1F:l:big:-5000000000:s:"
               "small:-7");
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(study.flag);
    EXPECT_EQ(study.letter, 'z');
    EXPECT_EQ(study.ratio, 0.25);
    EXPECT_EQ(study.part, 1.5f);
    EXPECT_EQ(study.count, 31);
    EXPECT_EQ(study.big, -5000000000L);
    EXPECT_EQ(study.small, -7);

    applyOverrides(study, "b:flag:0:i:count:010:s:small:0x10");
    EXPECT_FALSE(study.flag);
    EXPECT_EQ(study.count, 8); // a leading 0 means octal
    EXPECT_EQ(study.small, 16);
}

TEST(TypedOverrideTest, OutOfRangeAndMalformedValuesAreRefused) {
    TypedStudy study;
    Outcome outcome = applyOverrides(study, "s:small:40000:i:count:4294967296:c:letter:zz:"
                                            "b:flag:yes:i:count:1.5:f:part:1e40");
    EXPECT_EQ(outcome.err, "!! Override of small with \"40000\" refused: not a valid short\n"
                           "!! Override of count with \"4294967296\" refused: not a valid int\n"
                           "!! Override of letter with \"zz\" refused: not a valid char\n"
                           "!! Override of flag with \"yes\" refused: not a valid bool\n"
                           "!! Override of count with \"1.5\" refused: not a valid int\n"
                           "!! Override of part with \"1e40\" refused: not a valid float\n");
    EXPECT_EQ(study.count, 0);
    EXPECT_FALSE(study.flag);

    outcome = applyOverrides(study, "d:count:3:i:ratio:3:l:small:3");
    EXPECT_EQ(outcome.err, "!! Override of count with \"3\" refused: type letter d (double) does "
                           "not match its type int\n"
                           "!! Override of ratio with \"3\" refused: type letter i (int) does "
                           "not match its type double\n"
                           "!! Override of small with \"3\" refused: type letter l (long) does "
                           "not match its type short\n");
}

} // namespace
