// The override string, through the shipped study (all doubles) and through a
// study with one variable of each type that a type letter names.

#include "GlobalVariables.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Applies the overrides; returns standard output followed by "|" and standard error.
std::string applyOverrides(BaseStudyClass& study, const char* overrides) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    study.overrideGVs(overrides);
    std::string err = testing::internal::GetCapturedStderr();
    return testing::internal::GetCapturedStdout() + "|" + err;
}

struct Case {
    const char* overrides;
    const char* printed;        // standard output | standard error
    std::vector<double> values; // alpha, beta, lambda_i, lambda_w afterwards
};

constexpr double A = 1000.0, B = 10000.0, I = 1e-7, W = 1e-6; // experiment 1
const char* const noGamma =
    "|!! study_1RangeStudy::OverrideGVValue: Global Variable gamma does not exist.\n";

TEST(RangeOverrideTest, AppliesOrReportsEachTriple) {
    // nan, inf and 1e999 are refused on the real gen (tests/robust).
    const Case cases[] = {
        {nullptr, "|", {A, B, I, W}},
        {"d:lambda_w:2.5e-6:d:alpha:500", "|", {500, B, I, 2.5e-6}},
        {"d:alpha:1:d:beta", "Not enough double override tokens|", {1, B, I, W}},
        {"x:alpha:5:d:beta:7", "Type x not recognized\n|", {A, 7, I, W}},
        {" d:alpha:5", "Type   not recognized\n|", {A, B, I, W}},
        {"dbl:alpha:5", "|", {5, B, I, W}}, // only the first character is the letter
        {"d:gamma:1", noGamma, {A, B, I, W}},
        {"::d::alpha:::5:::", "|", {5, B, I, W}}, // empty tokens do not exist
        {"d:alpha:5:d:alpha:6", "|", {6, B, I, W}},
        // Values that do not convert, as a whole token, are refused; the run goes on.
        {"d:alpha:5abc:d:beta:2",
         "|!! Override of alpha with \"5abc\" refused: not a valid double\n",
         {A, 2, I, W}},
        // A letter of another type than the variable's is refused, not reinterpreted.
        {"i:alpha:5:d:beta:3",
         "|!! Override of alpha with \"5\" refused: type letter i (int) does not match its type "
         "double\n",
         {A, 3, I, W}},
        {"i:gamma:5", noGamma, {A, B, I, W}}, // an unknown name cannot be type-checked
        // An unknown name with a value that does not convert: the name first.
        {"d:gamma:abc:d:beta:2",
         "|!! study_1RangeStudy::OverrideGVValue: Global Variable gamma does not exist.\n"
         "!! Override of gamma with \"abc\" refused: not a valid double\n",
         {A, 2, I, W}},
    };
    for (const Case& c : cases) {
        DestructStudy();
        GenerateStudy()->SetGVs(0);
        EXPECT_EQ(applyOverrides(*GlobalStudyPtr, c.overrides), c.printed) << c.overrides;
        EXPECT_EQ((std::vector{alpha, beta, lambda_i, lambda_w}), c.values) << c.overrides;
    }
    DestructStudy();
}

// One variable of each type, named after its type; OverrideGVValue stores the
// value's bytes at the declared type's size, as generated studies do.
class TypedStudy : public BaseStudyClass {
public:
    static constexpr const char* types[7] = {"bool", "char", "double", "float",
                                             "int",  "long", "short"};
    static constexpr std::size_t sizes[7] = {sizeof(bool), 1, 8, 4, 4, sizeof(long), 2};
    TypedStudy() {
        NumGVs = 7;
        GVNames = new char*[NumGVs];
        GVTypes = new char*[NumGVs];
        for (int i = 0; i < NumGVs; ++i) {
            GVNames[i] = strdup(types[i]);
            GVTypes[i] = strdup(types[i]);
        }
    }
    void OverrideGVValue(const char* name, const void* value) override {
        std::memcpy(&stored[index(name)], value, sizes[index(name)]);
    }
    template <class T> T get(const char* name) {
        T value;
        std::memcpy(&value, &stored[index(name)], sizeof value);
        return value;
    }
    static int index(const char* name) {
        int i = 0;
        while (i < 6 && std::strcmp(name, types[i]) != 0) // the tests name known types only
            ++i;
        return i;
    }
    std::uint64_t stored[7] = {};
};

TEST(TypedOverrideTest, EachLetterConvertsItsTypeOrRefusesTheValue) {
    TypedStudy study;
    EXPECT_EQ(applyOverrides(study, "b:bool:2:c:char:z:d:double:0.25:f:float:1.5:i:int:0x1F:"
                                    "l:long:-5000000000:s:short:-7"),
              "|");
    EXPECT_TRUE(study.get<bool>("bool"));
    EXPECT_EQ(study.get<char>("char"), 'z');
    EXPECT_EQ(study.get<double>("double"), 0.25);
    EXPECT_EQ(study.get<float>("float"), 1.5f);
    EXPECT_EQ(study.get<int>("int"), 31);
    EXPECT_EQ(study.get<long>("long"), -5000000000L);
    EXPECT_EQ(study.get<short>("short"), -7);

    applyOverrides(study, "b:bool:0:i:int:010:s:short:0x10");
    EXPECT_FALSE(study.get<bool>("bool"));
    EXPECT_EQ(study.get<int>("int"), 8); // a leading 0 means octal
    EXPECT_EQ(study.get<short>("short"), 16);

    EXPECT_EQ(applyOverrides(study, "s:short:40000:i:int:4294967296:c:char:zz:b:bool:yes:"
                                    "i:int:1.5:f:float:1e40:d:int:3:l:short:3"),
              "|!! Override of short with \"40000\" refused: not a valid short\n"
              "!! Override of int with \"4294967296\" refused: not a valid int\n"
              "!! Override of char with \"zz\" refused: not a valid char\n"
              "!! Override of bool with \"yes\" refused: not a valid bool\n"
              "!! Override of int with \"1.5\" refused: not a valid int\n"
              "!! Override of float with \"1e40\" refused: not a valid float\n"
              "!! Override of int with \"3\" refused: type letter d (double) does not match "
              "its type int\n"
              "!! Override of short with \"3\" refused: type letter l (long) does not match its "
              "type short\n");
    EXPECT_EQ(study.get<int>("int"), 8);
    EXPECT_EQ(study.get<short>("short"), 16);
    EXPECT_FALSE(study.get<bool>("bool"));
}

} // namespace
