// The simulator on the two-unit model (duplex.san: failures at rate lambda per
// working unit, one repair at rate mu): for 100 fixed seeds the exact values lie
// within the 99 % intervals at least 97 times, for every measure. The exact
// values come from the chain solved here: uniformization of the three-state
// generator for the transient and accumulated measures, the balance equations
// for the long run.

#include "Simulator.h"
#include "firing/ActionTable.h"
#include "pv/PVModel.h"
#include "simulator/ModelUnderTest.h"
#include "study/BaseStudyClass.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace {

constexpr double lambda = 1.0, mu = 2.0;
using Vec = std::array<double, 3>; // states: 2, 1 and 0 units working

// One step of the uniformized chain P = I + Q / q.
Vec step(const Vec& p, double q) {
    double out0 = 2 * lambda, out1 = lambda + mu, out2 = mu;
    return {p[0] * (1 - out0 / q) + p[1] * mu / q,
            p[0] * 2 * lambda / q + p[1] * (1 - out1 / q) + p[2] * mu / q,
            p[1] * lambda / q + p[2] * (1 - out2 / q)};
}

// The distribution at t, and its integral over [0, t] when `integral` is set:
// sum_k Poisson(k; qt) pi P^k, and (1/q) sum_k P(N > k) pi P^k.
Vec transient(double t, bool integral) {
    const double q = 3.0;
    Vec p = {1, 0, 0}, sum = {0, 0, 0};
    double weight = std::exp(-q * t), cumulative = 0.0;
    for (int k = 0; k < 400; ++k) {
        cumulative += weight;
        double factor = integral ? (1.0 - cumulative) / q : weight;
        for (int s = 0; s < 3; ++s)
            sum[s] += factor * p[s];
        p = step(p, q);
        weight *= q * t / (k + 1);
    }
    return sum;
}

bool underValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

using DuplexSimulation = ModelUnderTest;

TEST_F(DuplexSimulation, ExactValuesLieInThe99PercentIntervalsFor97Of100Seeds) {
    Vec at05 = transient(0.5, false), at2 = transient(2.0, false), over2 = transient(2.0, true);
    // In the order of the model's measures.
    const double exact[] = {
        at05[0] + at05[1],                         // up at 0.5
        at2[0] + at2[1],                           // up at 2
        over2[2],                                  // down over [0, 2]
        2 * lambda * over2[0] + lambda * over2[1], // failures over [0, 2]
        (2 * over2[0] + over2[1]) / 2,             // load averaged over [0, 2]
        0.8,                                       // availability: (1 + 1) / 2.5
        1.2,                                       // failure rate: 2 * 0.4 + 0.4
    };
    const int numMeasures = sizeof exact / sizeof exact[0];
    SimSettings settings;
    settings.level = 0.99;
    settings.replications = 400;
    settings.batches = 20;
    settings.batchEvents = 300;
    int seeds = 100;
    if (underValgrind()) {
        // The same check at a tenth of the seeds: at most one miss.
        seeds = 10;
        settings.replications = 200;
    }
    int covered[numMeasures] = {};
    for (int seed = 1; seed <= seeds; ++seed) {
        settings.seed = static_cast<std::uint64_t>(seed);
        SimResult result = simulate(Model, *Actions, settings);
        ASSERT_EQ(result.estimates.size(), static_cast<std::size_t>(numMeasures));
        for (int m = 0; m < numMeasures; ++m) {
            const Estimate& e = result.estimates[m];
            if (std::fabs(e.value - exact[m]) <= e.halfWidth)
                ++covered[m];
        }
    }
    for (int m = 0; m < numMeasures; ++m)
        EXPECT_GE(covered[m], seeds - (seeds * 3 + 99) / 100) << "measure " << m;
}

TEST_F(DuplexSimulation, MeasuresComeInModelOrderWithTheirMethods) {
    SimSettings settings;
    settings.replications = 10;
    settings.batches = 2;
    settings.batchEvents = 10;
    SimResult result = simulate(Model, *Actions, settings);
    const char* names[] = {"up", "up", "down", "failures", "load", "availability", "failureRate"};
    ASSERT_EQ(result.estimates.size(), 7u);
    for (int m = 0; m < 7; ++m)
        EXPECT_EQ(result.estimates[m].measure.name, names[m]);
    EXPECT_EQ(result.estimates[0].measure.start, 0.5);
    EXPECT_EQ(result.estimates[1].measure.start, 2.0);
    EXPECT_EQ(result.estimates[0].samples, 10u);
    EXPECT_EQ(result.estimates[6].samples, 2u);
    EXPECT_TRUE(result.estimates[6].measure.longRun());
}

TEST_F(DuplexSimulation, RelativeWidthStopsTheReplicationsEarly) {
    SimSettings settings;
    settings.replications = 100000;
    settings.relWidth = 0.05;
    settings.batches = 5;
    settings.batchEvents = 100;
    SimResult result = simulate(Model, *Actions, settings);
    EXPECT_TRUE(result.allReached());
    // Checked after every round of 100: stopped once every value was within 5 %.
    EXPECT_LT(result.estimates[0].samples, 100000u);
    EXPECT_EQ(result.estimates[0].samples % 100, 0u);
    for (const Estimate& e : result.estimates)
        EXPECT_LE(e.halfWidth, 0.05 * std::fabs(e.value));
}

// Batches of one firing's length: neighbouring batches share the outages that
// span them, so their means are alike and the Student interval over 30 of
// them far too narrow (the exact availability lay outside it for 30 of 175
// seeds; 9 now). The batches' length doubles until their parts look
// independent, and the intervals cover about as their level says.
TEST_F(DuplexSimulation, BatchesTooShortForTheOutagesAreLengthenedUntilIndependent) {
    SimSettings settings;
    settings.replications = 2;
    settings.batches = 30;
    settings.batchEvents = 1;
    int seeds = underValgrind() ? 20 : 200;
    int covered = 0, spread = 0;
    for (int seed = 1; seed <= seeds; ++seed) {
        settings.seed = static_cast<std::uint64_t>(seed);
        SimResult result = simulate(Model, *Actions, settings);
        const Estimate& availability = result.estimates.at(5);
        if (availability.halfWidth == 0.0)
            continue; // never down: reported as NO SPREAD
        ++spread;
        covered += availability.low <= 0.8 && 0.8 <= availability.high;
        EXPECT_TRUE(result.neverCompleted.empty());
    }
    EXPECT_GE(spread, seeds * 3 / 4);
    EXPECT_GE(covered, underValgrind() ? spread - 2 : spread * 92 / 100);
}

// A run too short for an activity to complete: its effect on the long run is
// not in the values, and the result names it.
TEST_F(DuplexSimulation, ActivitiesThatNeverCompletedInTheBatchesAreNamed) {
    SimSettings settings;
    settings.replications = 2;
    settings.batches = 2;
    settings.batchEvents = 1;
    // From two working units the first firing is a failure, after which the
    // repair is pending; a single firing in each batch at most leaves some
    // seed whose batches end with the repair still pending and never done.
    int named = 0;
    for (int seed = 1; seed <= 20; ++seed) {
        settings.seed = static_cast<std::uint64_t>(seed);
        SimResult result = simulate(Model, *Actions, settings);
        for (const std::string& name : result.neverCompleted)
            EXPECT_TRUE(name == "failure" || name == "repair") << name;
        named += !result.neverCompleted.empty();
        EXPECT_EQ(result.longRunWarning(), !result.neverCompleted.empty());
    }
    EXPECT_GT(named, 0);
    settings.batches = 30;
    settings.batchEvents = 1000;
    EXPECT_TRUE(simulate(Model, *Actions, settings).neverCompleted.empty());
}

} // namespace
