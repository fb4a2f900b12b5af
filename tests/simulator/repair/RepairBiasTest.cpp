// Importance sampling biases exponential delays only: the deterministic repair
// of repair.san is refused, the exponential failure accepted.

#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

namespace {

TEST(RepairBias, OnlyExponentialActivitiesCanBeBiased) {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.replications = 10;
        settings.batches = 2;
        settings.batchEvents = 10;
        settings.bias = {{"repair", 10.0}};
        try {
            simulate(model, actions, settings);
            ADD_FAILURE() << "a deterministic activity was biased";
        } catch (const SimulationError& e) {
            EXPECT_NE(std::string(e.what()).find("not exponential"), std::string::npos);
        }
        settings.bias = {{"failure", 10.0}};
        SimResult result = simulate(model, actions, settings);
        ASSERT_FALSE(result.estimates.empty());
        EXPECT_EQ(result.estimates.front().method, "importance sampling, bias failure x10");
        EXPECT_EQ(result.estimates.back().method, "batch means");
    }
    DestructStudy();
}

} // namespace
