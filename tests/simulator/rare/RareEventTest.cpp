// Importance sampling on two units in parallel (rare.san: failures at rate
// lambda per working unit, one repair at rate mu, stopped once both are down):
// the probability that both are down at time 10 is about 2e-7 for lambda =
// 1e-4 (experiment 0) and 2e-3 for lambda = 1e-2 (experiment 1). The exact
// values come from uniformization of the three-state chain here.

#include "SimCommandLine.h"
#include "Simulator.h"
#include "Trajectory.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr double mu = 1.0, horizon = 10.0;

// P(both units down by t) from two working at 0: sum_k Poisson(k; qt) pi P^k
// over the uniformized chain P = I + Q / q, states 2, 1 and 0 units working.
double lossProbability(double lambda, double t) {
    const double q = lambda + mu;
    std::array<double, 3> p = {1, 0, 0};
    double weight = std::exp(-q * t), lost = 0.0;
    for (int k = 0; k < 400; ++k) {
        lost += weight * p[2];
        p = {p[0] * (1 - 2 * lambda / q) + p[1] * mu / q,
             p[0] * 2 * lambda / q + p[1] * (1 - (lambda + mu) / q), p[1] * lambda / q + p[2]};
        weight *= q * t / (k + 1);
    }
    return lost;
}

bool underValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

class RareEvent : public ::testing::Test {
protected:
    static void SetUpTestSuite() { Study = GenerateStudy(); }
    static void TearDownTestSuite() { DestructStudy(); }
    // The estimate of the loss probability in `experiment`.
    static SimResult runAll(int experiment, const SimSettings& settings) {
        Study->SetGVs(experiment);
        PVModel* model = Study->GetPVModel(false);
        ActionTable actions(model);
        SimResult result = simulate(model, actions, settings);
        EXPECT_EQ(result.estimates.size(), 1u);
        return result;
    }
    static Estimate run(int experiment, const SimSettings& settings) {
        return runAll(experiment, settings).estimates.at(0);
    }
    static BaseStudyClass* Study;
};

BaseStudyClass* RareEvent::Study = nullptr;

TEST_F(RareEvent, BiasedIntervalsCoverTheExactLossProbability) {
    const double exact = lossProbability(1e-4, horizon);
    // About 2 lambda^2 (t - 1/mu) / mu: losses at the rate 2 lambda lambda / mu
    // once the repair has reached its balance, after about 1/mu.
    ASSERT_NEAR(exact, 1.8e-7, 0.01e-7);
    SimSettings settings;
    settings.level = 0.99;
    settings.replications = 1000;
    settings.bias = {{"failure", 1000.0}};
    int seeds = underValgrind() ? 4 : 20;
    int covered = 0;
    for (int seed = 1; seed <= seeds; ++seed) {
        settings.seed = static_cast<std::uint64_t>(seed);
        Estimate e = run(0, settings);
        EXPECT_EQ(e.method, "importance sampling, bias failure x1000");
        EXPECT_GT(e.halfWidth, 0.0);
        if (std::fabs(e.value - exact) <= e.halfWidth)
            ++covered;
    }
    EXPECT_GE(covered, seeds - (seeds + 9) / 10);
}

TEST_F(RareEvent, BiasingNarrowsTheIntervalFarBelowPlainReplications) {
    SimSettings settings;
    settings.replications = underValgrind() ? 500 : 2000;
    Estimate plainRare = run(0, settings);
    // Plain replication sees no loss at all: an interval of width 0 that bounds nothing.
    EXPECT_EQ(plainRare.value, 0.0);
    EXPECT_EQ(plainRare.halfWidth, 0.0);
    EXPECT_EQ(plainRare.method, "replications");

    const double exact = lossProbability(1e-2, horizon);
    Estimate plain = run(1, settings);
    settings.bias = {{"failure", 10.0}};
    Estimate biased = run(1, settings);
    ASSERT_GT(plain.value, 0.0);
    ASSERT_GT(biased.value, 0.0);
    EXPECT_LT(biased.halfWidth / biased.value, plain.halfWidth / plain.value / 3.0);
    EXPECT_NEAR(biased.value, exact, 2.0 * biased.halfWidth);
}

// Asked for a relative width, a run whose replications have all seen nothing
// goes on to its budget, and what it prints is marked as not reached: a
// hundred replications without a loss bound nothing about a loss of 2e-7.
TEST_F(RareEvent, AValueWithoutSpreadNeverReachesTheWidthAskedFor) {
    SimSettings settings;
    settings.replications = underValgrind() ? 300 : 3000;
    settings.relWidth = 0.1;
    SimResult result = runAll(0, settings);
    const Estimate& lost = result.estimates.at(0);
    EXPECT_EQ(lost.halfWidth, 0.0);
    EXPECT_EQ(lost.samples, settings.replications);
    EXPECT_FALSE(lost.reached);
    EXPECT_FALSE(result.allReached());
}

// The likelihood ratios have mean 1 under any biasing; a biasing so strong
// that the paths which carry the weight are never drawn shows as a mean far
// below 1, while the weighted value is far below the exact one.
TEST_F(RareEvent, TooStrongABiasIsFlaggedByTheLikelihoodRatios) {
    SimSettings settings;
    settings.replications = underValgrind() ? 500 : 2000;
    settings.bias = {{"failure", 1000.0}};
    SimResult fitting = runAll(0, settings);
    EXPECT_TRUE(fitting.weighted);
    EXPECT_FALSE(fitting.likelihoodWarning());
    SimResult excessive = runAll(1, settings);
    EXPECT_LT(excessive.estimates.at(0).value, 0.5 * lossProbability(1e-2, horizon));
    EXPECT_LT(excessive.likelihoodMean, 0.5);
    EXPECT_TRUE(excessive.likelihoodWarning());
    settings.bias.clear();
    SimResult plain = runAll(1, settings);
    EXPECT_FALSE(plain.weighted);
    EXPECT_FALSE(plain.likelihoodWarning());
}

TEST_F(RareEvent, WeightedResultsDoNotDependOnTheWorkers) {
    SimSettings settings;
    settings.replications = 200;
    settings.bias = {{"failure", 300.0}, {"repair", 0.5}};
    Estimate one = run(0, settings);
    settings.threads = 3;
    Estimate three = run(0, settings);
    EXPECT_EQ(one.value, three.value);
    EXPECT_EQ(one.halfWidth, three.halfWidth);
    EXPECT_EQ(one.method, "importance sampling, bias failure x300 repair x0.5");
}

TEST_F(RareEvent, BadBiasesAreRefused) {
    SimSettings settings;
    settings.replications = 10;
    settings.bias = {{"crash", 10.0}};
    EXPECT_THROW(run(0, settings), SimulationError);
    settings.bias = {{"failure", 10.0}, {"failure", 2.0}};
    EXPECT_THROW(run(0, settings), SimulationError);
    settings.bias = {{"failure", 0.0}};
    EXPECT_THROW(run(0, settings), SimulationError);

    const char* good[] = {"gen-sim", "--bias", "failure=1e3", "--bias", "repair=0.5"};
    SimCommandLine line;
    EXPECT_EQ(parseSimCommandLine(5, const_cast<char**>(good), line), "");
    ASSERT_EQ(line.settings.bias.size(), 2u);
    EXPECT_EQ(line.settings.bias[0].first, "failure");
    EXPECT_EQ(line.settings.bias[0].second, 1000.0);
    EXPECT_EQ(line.settings.bias[1].second, 0.5);
    for (const char* bad : {"failure", "=10", "failure=0", "failure=-1", "failure=x"}) {
        const char* argv[] = {"gen-sim", "--bias", bad};
        SimCommandLine refused;
        EXPECT_NE(parseSimCommandLine(3, const_cast<char**>(argv), refused), "") << bad;
    }
}

} // namespace
