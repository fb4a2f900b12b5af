// A deterministic repair time (repair.san: failures at rate lambda, repairs of
// exactly D) against the closed forms of the alternating renewal process that
// starts up. Before D no repair can have ended: A(t) = exp(-lambda t), the
// expected up time and the expected failures over [0, T <= D] are both
// (1 - exp(-lambda T)) / lambda and 1 - exp(-lambda T). For D <= t < 2D the
// unit is up if it never failed or failed once at s <= t - D and not since:
// A(t) = exp(-lambda t) + lambda (t - D) exp(-lambda (t - D)). In the long run
// it is up 1 / (1 + lambda D) of the time and fails lambda / (1 + lambda D)
// times per unit of time.

#include "Simulator.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(DeterministicRepair, EstimatesCoverTheClosedForms) {
    const double lambda = 1.0, D = 0.5;
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.seed = 20261125;
        settings.level = 0.999;
        settings.replications = 4000;
        settings.batches = 20;
        settings.batchEvents = 2000;
        SimResult result = simulate(model, actions, settings);
        const double exact[] = {
            std::exp(-lambda * 0.4), // up at 0.4
            std::exp(-lambda * 0.8) + lambda * (0.8 - D) * std::exp(-lambda * (0.8 - D)), // 0.8
            (1 - std::exp(-lambda * 0.4)) / lambda, // up time over [0, 0.4]
            1 - std::exp(-lambda * 0.4),            // failures over [0, 0.4]
            1 / (1 + lambda * D),                   // availability
            lambda / (1 + lambda * D),              // failure rate
        };
        ASSERT_EQ(result.estimates.size(), 6u);
        for (int m = 0; m < 6; ++m) {
            const Estimate& e = result.estimates[m];
            EXPECT_NEAR(e.value, exact[m], e.halfWidth) << e.measure.name << " " << m;
            // The interval is tight enough to tell the deterministic delay from
            // an exponential one of the same mean: A(0.8) would be 0.684 with one.
            EXPECT_LT(e.halfWidth, 0.05) << e.measure.name;
        }
    }
    DestructStudy();
}

} // namespace
