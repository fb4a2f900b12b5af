// Importance sampling biases exponential delays only: the deterministic repair
// of repair.san is refused, the exponential failure accepted.

#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

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

TEST(RepairBias, RegenerationCyclesGiveTheLongRunValuesOfADeterministicRepair) {
    // A cycle is an exponential up time of mean 1 / lambda and a repair of
    // exactly D: availability (1 / lambda) / (1 / lambda + D) = 2 / 3, and one
    // failure per cycle, 1 / (1 / lambda + D) = 2 / 3 per unit time. Balanced
    // biasing of the one failure changes nothing (it is alone wherever it is
    // enabled), so the cycles run as drawn and every ratio is 1.
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.level = 0.99;
        settings.replications = 4000;
        settings.balanced = {"failure"};
        SimResult result = simulate(model, actions, settings);
        const Estimate& availability = result.estimates.at(result.estimates.size() - 2);
        const Estimate& failureRate = result.estimates.back();
        ASSERT_EQ(availability.measure.name, "availability");
        EXPECT_NE(availability.method.find("regeneration cycles"), std::string::npos);
        EXPECT_LE(std::fabs(availability.value - 2.0 / 3.0), availability.halfWidth);
        EXPECT_LE(std::fabs(failureRate.value - 2.0 / 3.0), failureRate.halfWidth);
        EXPECT_LT(availability.halfWidth, 0.05);
        EXPECT_EQ(result.likelihoodMean, 1.0);
    }
    DestructStudy();
}

} // namespace
