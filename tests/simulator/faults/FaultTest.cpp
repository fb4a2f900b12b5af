// Faults raised by model code while simulating (faults.san: a rate, a weight,
// a firing effect or a reward that throws once the model is busy) end the run
// with one line that names the activity or reward variable, in process and as
// a command with one or several workers (status 1, nothing on standard output
// but what was printed before).

#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <string>

extern int fault; // the model's global: which code throws

namespace {

using testsupport::binary;
using testsupport::run;
using testsupport::RunResult;

// The message of the run's refusal with `fault` set to `which`, or empty.
std::string refusal(int which) {
    static PVModel* const model = [] {
        BaseStudyClass* study = GenerateStudy();
        study->SetGVs(0);
        return study->GetPVModel(false);
    }();
    static const ActionTable actions(model);
    fault = which;
    SimSettings settings;
    settings.replications = 200;
    std::string text;
    try {
        simulate(model, actions, settings);
    } catch (const SimulationError& e) {
        text = e.what();
    }
    fault = 0;
    return text;
}

TEST(ModelFaults, EachThrowingFragmentIsNamedInOneLine) {
    EXPECT_EQ(refusal(0), "");
    EXPECT_EQ(refusal(1), "activity second: argument out of its domain");
    EXPECT_EQ(refusal(2), "activity pick: argument out of its domain");
    EXPECT_EQ(refusal(3), "activity second: argument out of its domain");
    EXPECT_EQ(refusal(4), "reward variable load: argument out of its domain");
}

TEST(ModelFaults, TheCommandPrintsOneLineWhateverTheWorkers) {
    const std::string expected[] = {"activity second", "reward variable load"};
    for (int which : {1, 4}) {
        for (const char* threads : {"1", "2", "3"}) {
            RunResult r =
                run(binary("tests/gen-simfaults-sim") + " -O i:fault:" + std::to_string(which) +
                    " --replications 300 --threads " + threads);
            EXPECT_EQ(r.status, 1) << which << " " << threads;
            EXPECT_EQ(r.err, "Error: " + expected[which == 4] + ": argument out of its domain\n")
                << which << " " << threads;
            EXPECT_EQ(r.out, "") << threads;
        }
    }
}

} // namespace
