// Long-run values of a model whose paths end in one of several markings that
// enable nothing (ends.san): one long run ends in one of them, so its batch
// means all repeat one outcome. The values come from replications that each
// run to their end, against the closed form 1/4; where some paths end and
// others run on for ever, the run is refused.

#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PathsThatEnd, LongRunValuesComeFromReplicationsToEachEnd) {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.level = 0.999;
        settings.replications = 4000;
        for (const std::uint64_t seed : {1u, 2u, 3u}) {
            settings.seed = seed;
            const SimResult result = simulate(model, actions, settings);
            ASSERT_EQ(result.estimates.size(), 2u);
            const Estimate& inA = result.estimates[0];
            EXPECT_EQ(inA.method, "replications to each path's end");
            EXPECT_EQ(inA.samples, 4000u);
            EXPECT_NEAR(inA.value, 0.25, inA.halfWidth) << "seed " << seed;
            EXPECT_GT(inA.halfWidth, 0.01);
            EXPECT_LT(inA.halfWidth, 0.03);
            EXPECT_EQ(result.batchLength, 0.0);
        }
        // With a relative half-width asked, the runs to each end stop once it
        // is reached, checked every round of replications.
        settings.relWidth = 0.1;
        settings.replications = 100000;
        const SimResult early = simulate(model, actions, settings);
        const Estimate& inA = early.estimates[0];
        EXPECT_TRUE(inA.reached);
        EXPECT_LE(inA.halfWidth, 0.1 * inA.value);
        EXPECT_LT(inA.samples, 100000u);
        EXPECT_EQ(inA.samples % 100, 0u);
    }
    DestructStudy();
}

TEST(PathsThatEnd, EndsBesideACycleThatRunsOnAreRefused) {
    // The long run of some seeds ends in failedA; the replications to each
    // end then meet paths in the cycle that never end.
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(1);
    PVModel* model = study->GetPVModel(false);
    int refused = 0;
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.replications = 200;
        settings.batchEvents = 100;
        for (std::uint64_t seed = 1; seed <= 20; ++seed) {
            settings.seed = seed;
            try {
                simulate(model, actions, settings);
            } catch (const SimulationError& e) {
                ++refused;
                EXPECT_NE(std::string(e.what()).find("cannot be estimated by simulation"),
                          std::string::npos)
                    << e.what();
            }
        }
    }
    DestructStudy();
    EXPECT_GT(refused, 0);
}

} // namespace
