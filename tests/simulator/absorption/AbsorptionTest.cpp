// Values until absorption by simulation (absorption.san): each replication runs
// until its path is absorbed, against the closed forms of the wear-out chain;
// an interval and a time point beyond the absorption see the absorbed marking;
// a model whose paths are never absorbed is refused, on one worker and on two,
// and so is biasing.

#include "SimReport.h"
#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>

namespace {

TEST(UntilAbsorption, ReplicationsRunEachPathToItsAbsorption) {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.level = 0.999;
        settings.replications = 4000;
        // P(failed at 1) = 1 - the transient mass at 1 of the chain on
        // {working, worn}, rates 1 and 2 back and 0.5 out: e^(Q t) from working.
        const double r1 = (-3.5 + std::sqrt(10.25)) / 2, r2 = (-3.5 - std::sqrt(10.25)) / 2;
        auto alive = [&](double t) {
            // x'' + 3.5 x' + 0.5 x = 0 for the total mass, x(0) = 1, x'(0) = 0.
            const double c1 = -r2 / (r1 - r2), c2 = r1 / (r1 - r2);
            return c1 * std::exp(r1 * t) + c2 * std::exp(r2 * t);
        };
        struct Expected {
            const char* name;
            double value;
        } expected[] = {{"lifetime", 7.0},
                        {"repairs", 4.0},
                        {"wornTime", 2.0},
                        {"failedTime", 193.0},
                        {"failedAt", 1.0 - alive(1.0)},
                        {"failedAt", 1.0}};
        for (const std::uint64_t seed : {1u, 2u}) {
            settings.seed = seed;
            const SimResult result = simulate(model, actions, settings);
            ASSERT_EQ(result.estimates.size(), 6u);
            for (std::size_t k = 0; k < 6; ++k) {
                const Estimate& e = result.estimates[k];
                SCOPED_TRACE(e.measure.name + " seed " + std::to_string(seed));
                EXPECT_EQ(e.measure.name, expected[k].name);
                EXPECT_EQ(e.measure.untilAbsorption, k < 3);
                if (k < 3) {
                    EXPECT_EQ(e.measure.stop, std::numeric_limits<double>::infinity());
                    EXPECT_EQ(e.method, "replications, each to absorption");
                    EXPECT_GT(e.halfWidth, 0.0);
                }
                EXPECT_LE(std::fabs(e.value - expected[k].value), e.halfWidth + 1e-12);
            }
            // The report names the stop as gen-solve does.
            std::ostringstream csv;
            writeSimReport(csv, result, SimRunInfo{"absorption", 0, &settings, 0.0},
                           SimFormat::Csv);
            EXPECT_NE(csv.str().find("\nlifetime,1,0,absorption,"), std::string::npos) << csv.str();
        }
    }
    DestructStudy();
}

// Biased replications would weigh paths of unbounded length: refused.
TEST(UntilAbsorption, BiasingIsRefused) {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(0);
    PVModel* model = study->GetPVModel(false);
    SimSettings biased;
    biased.bias = {{"fail", 2.0}};
    SimSettings balanced;
    balanced.balanced = {"fail"};
    for (const SimSettings& settings : {biased, balanced})
        EXPECT_EQ(settingsProblem(settings, model)
                      .rfind("variable lifetime is reported until "
                             "absorption, which --bias and --balanced "
                             "do not serve",
                             0),
                  0u)
            << settingsProblem(settings, model);
    EXPECT_EQ(settingsProblem(SimSettings{}, model), "");
    DestructStudy();
}

TEST(UntilAbsorption, PathsNeverAbsorbedAreRefused) {
    BaseStudyClass* study = GenerateStudy();
    study->SetGVs(1);
    PVModel* model = study->GetPVModel(false);
    {
        ActionTable actions(model);
        SimSettings settings;
        settings.replications = 20;
        settings.batchEvents = 100;
        for (const unsigned workers : {1u, 2u}) {
            settings.threads = workers;
            try {
                simulate(model, actions, settings);
                ADD_FAILURE() << "not refused on " << workers << " worker(s)";
            } catch (const SimulationError& e) {
                EXPECT_NE(std::string(e.what()).find("had not been absorbed after 102400 timed "
                                                     "firings"),
                          std::string::npos)
                    << e.what();
            }
        }
    }
    DestructStudy();
}

} // namespace
