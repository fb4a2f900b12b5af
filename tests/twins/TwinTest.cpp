// Models written in the model language against their hand-written twins: both
// builds run every case with the same arguments, each in a fresh folder, and
// must leave the same exit status, the same standard output and error (less the
// processor time line) and byte-identical result files.

#include "twins/TwinRun.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using testsupport::binary;

namespace {

// One model's twins and the argument lists both are run with.
struct Twins {
    const char* handWritten; // executable built from hand-written classes
    const char* fromFile;    // executable built from the model file
    std::vector<std::string> runs;
};

// Every experiment 0 .. count - 1 of a study, run under the name exp.
std::vector<std::string> experiments(int count) {
    std::vector<std::string> runs;
    for (int e = 0; e < count; ++e)
        runs.push_back("-Nexp -B" + std::to_string(e));
    return runs;
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

void expectTwinsAgree(const Twins& twins) {
    for (const std::string& arguments : twins.runs) {
        SCOPED_TRACE(std::string(twins.fromFile) + " " + arguments);
        const twins::Outcome hand = twins::runAlone(binary(twins.handWritten), arguments);
        const twins::Outcome file = twins::runAlone(binary(twins.fromFile), arguments);
        if (hand.status == 0) {
            EXPECT_FALSE(hand.files.empty()) << "the run wrote nothing";
        }
        for (const std::string& d : twins::differences(hand, file))
            ADD_FAILURE() << d;
    }
}

} // namespace

// The comparison itself: a run agrees with a repetition of itself, since the
// processor time line is left out, and tells apart two experiments whose rates
// and printed values differ.
TEST(TwinRun, ARepeatedRunAgreesAndAnotherExperimentDoesNot) {
    const twins::Outcome first = twins::runAlone(binary("gen"), "-Nexp -B0");
    EXPECT_EQ(first.status, 0);
    EXPECT_EQ(first.files.size(), 3u); // exp.arm, exp.var, exp.pvtype
    EXPECT_EQ(first.out.find("Computation Time"), std::string::npos);
    EXPECT_TRUE(twins::differences(first, twins::runAlone(binary("gen"), "-Nexp -B0")).empty());

    const std::vector<std::string> found =
        twins::differences(first, twins::runAlone(binary("gen"), "-Nexp -B1"));
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0], "standard output: line 2 is \"The Global Variable values for experiment "
                        "Experiment 1 are:\" against \"The Global Variable values for experiment "
                        "Experiment 2 are:\"");
    EXPECT_EQ(found[1].rfind("file exp.arm: line ", 0), 0u) << found[1];
}


// The shipped model: gen is built from the hand-written classes, gen-computer from
// the model file. Every experiment, then overrides that are applied, refused for
// their type or name, an experiment out of range and a traced run.
TEST(Twins, ShippedModel) {
    expectTwinsAgree({"gen", "gen-computer",
                      experiments(10) + std::vector<std::string>{
                                            "-Nexp -B0 -O d:lambda_w:2.5e-6:d:alpha:500",
                                            "-Nexp -B3 -O d:gamma:1:i:alpha:5",
                                            "-Nexp -B10",
                                            "-Nexp -B9 -a -l4 -ttrace",
                                        }});
}

// The polling example while its hand-written classes remain: every experiment up
// to N = 12 and the overrides of its end-to-end test. (Its generated elements
// are named station[0] and arrival[0] where the hand-written ones are station1
// and arrival1, so traces differ in those names.)
TEST(Twins, PollingExample) {
    expectTwinsAgree({"gen-polling", "gen-polling_file",
                      experiments(11) + std::vector<std::string>{"-Nexp -B0 -O i:N:5",
                                                                 "-Nexp -B0 -O i:N:1"}});
}
