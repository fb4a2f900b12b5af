// What generated activities answer to the generator through the framework's
// bases for generated code: weight 1 and rank 1 unless the model gives them,
// and each kind's distribution parameters from the model's rate or delay (an
// erlang activity fires once per phase: exponential at the phase's rate). A
// hand-written activity next to them keeps the base defaults (weight 0, rank 0,
// no parameters). Expected values follow from models/kinds.san.

#include "Compiler.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

using testsupport::run;
using testsupport::TempDir;

const char* const probe = R"(#include "actions/Activity.h"
#include "models/SANModel.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <cstdio>

// An activity written by hand that overrides only what it must.
class HandWritten : public Activity {
public:
    BaseActionClass* Fire() override { return this; }
    void LinkVariables() override {}
};

void print(BaseActionClass* a) {
    std::printf("%s weight %g rank %d", a->Name, a->Weight(), a->Rank());
    const double* parameters = a->ReturnDistributionParameters();
    if (parameters == nullptr)
        std::printf(" none");
    else
        for (int k = 0; k < (a->DistributionType == Erlang ? 2 : 1); ++k)
            std::printf(" %g", parameters[k]);
    if (a->DistributionType == Deterministic || a->DistributionType == Instantaneous)
        std::printf(" sample %g", a->SampleDistribution());
    std::printf("\n");
}

int main() {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    auto* san = static_cast<SANModel*>(model->SubModel);
    for (int k = 0; k < san->NumActions; ++k)
        print(san->Actions[k]);
    HandWritten hand;
    hand.ActivityInitialize("hand", 0, Instantaneous, DefaultPolicy, 0, 0, false);
    print(&hand);
    DestructStudy();
    return 0;
}
)";

TEST(GeneratedActivityTest, DefaultsAndParametersFollowTheModel) {
    TempDir dir;
    std::ostringstream errors;
    ASSERT_TRUE(compileFile(std::string(GEN_SOURCE_DIR) + "/tests/compiler/models/kinds.san",
                            dir.path() + "gen", false, errors))
        << errors.str();
    std::ofstream(dir.path() + "probe.cpp") << probe;
    auto built =
        run(std::string(GEN_CXX) + " -std=c++20 " + GEN_PROBE_FLAGS + " -I" + GEN_SOURCE_DIR +
            "/src -I" + dir.path() + "gen " + dir.path() + "probe.cpp " + dir.path() +
            "gen/GeneratedModel.cpp " + GEN_FRAMEWORK_LIB + " -pthread -o " + dir.path() + "probe");
    ASSERT_EQ(built.status, 0) << built.err;
    auto ran = run(dir.path() + "probe");
    ASSERT_EQ(ran.status, 0) << ran.err;
    // Erlang: each of its 3 phases is one exponential firing at rate 4.
    EXPECT_EQ(ran.out, "fast weight 1 rank 1 2.5\n"
                       "slow weight 1 rank 1 4\n"
                       "tick weight 1 rank 1 7 sample 7\n"
                       "pick weight 1 rank 1 none sample 0\n"
                       "heavy weight 0.25 rank 3 none sample 0\n"
                       "hand weight 0 rank 0 none sample 0\n");
}

} // namespace
