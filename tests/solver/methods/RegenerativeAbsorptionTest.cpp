// Values until absorption of processes with deterministic delays, against the
// renewal argument over the cycles a delay starts (closed forms), against Erlang
// phase expansions of growing order, and the refusals.

#include "RegenerativeTestSupport.h"
#include "methods/Absorption.h"
#include "methods/ErlangExpansion.h"
#include "methods/Regenerative.h"
#include "methods/Transient.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace {

using namespace gensolver;
using regentest::modelOf;
using regentest::Process;

constexpr auto kNone = RegenerativeModel::kNoDelay;

// The row of `name` until absorption (or the probability of absorption).
const Result& until(const Solution& s, const std::string& name) {
    for (const Result& r : s.results)
        if (r.variable == name && (r.untilAbsorption || name == "absorption probability"))
            return r;
    ADD_FAILURE() << "no row " << name;
    return s.results.front();
}

Solution solveUntilAbsorption(const RegenerativeModel& m) {
    SolveOptions options;
    options.absorption = true;
    return solveRegenerative(m, options);
}

// Up (0) fails at rate lambda; down (1) is repaired after exactly d, unless a
// second failure (rate gamma) loses the system (2) first.
Process repairRacingFailure(double lambda, double gamma, double d) {
    Process p;
    p.states = 3;
    p.delays = {d};
    p.group = {kNone, 0, kNone};
    p.arcs = {{0, 1, lambda, false}, {1, 2, gamma, false}, {1, 0, 1.0, true}};
    return p;
}

// A clock started in 0 runs on when 0 moves to 1 (rate alpha); 1 fails (rate
// lambda) into 2, which absorbs; the clock's expiry after d restarts in 0.
Process clockAcrossTwoStates(double alpha, double lambda, double d) {
    Process p;
    p.states = 3;
    p.delays = {d};
    p.group = {0, 0, kNone};
    p.arcs = {{0, 1, alpha, false}, {1, 2, lambda, false}, {0, 0, 1.0, true}, {1, 0, 1.0, true}};
    return p;
}

TEST(RegenerativeAbsorption, MeanTimesAndRewardsMatchTheRenewalClosedForms) {
    // Each down period ends in loss with p = 1 - e^(-gamma d) and lasts
    // (1 - e^(-gamma d)) / gamma on average; the cycles are independent, so the
    // mean time to absorption is (1/lambda + p/gamma) / p and the time up 1/(lambda p).
    struct Case {
        double lambda, gamma, d;
    };
    for (const Case c : {Case{0.01, 0.05, 2.0}, Case{1e-4, 1e-3, 1.0}, Case{2.0, 3.0, 0.5}}) {
        const RegenerativeModel m =
            modelOf(repairRacingFailure(c.lambda, c.gamma, c.d), {{1.0, 0.0, 0.0}});
        const double p = -std::expm1(-c.gamma * c.d);
        const double mean = (1.0 / c.lambda + p / c.gamma) / p;
        const Solution s = solveUntilAbsorption(m);
        EXPECT_EQ(until(s, "absorption probability").value, 1.0);
        const Result& time = until(s, "time to absorption");
        const Result& up = until(s, "a");
        EXPECT_NEAR(time.value, mean, 1e-11 * mean) << c.lambda;
        EXPECT_NEAR(up.value, 1.0 / (c.lambda * p), 1e-11 * mean) << c.lambda;
        EXPECT_LE(std::fabs(time.value - mean), time.bound);
        EXPECT_LT(time.bound, 1e-9 * mean);
        EXPECT_TRUE(time.boundProven);
        EXPECT_NE(time.method.find("deterministic delays"), std::string::npos);
    }
    // The clock across two states: failure needs the move (alpha) then the
    // failure (lambda) within one period, F(d) = 1 - (lambda e^(-alpha d) -
    // alpha e^(-lambda d)) / (lambda - alpha); a period lasts the integral of
    // 1 - F over [0, d], and of it alpha (e^(-alpha u) - e^(-lambda u)) /
    // (lambda - alpha) is spent in 1.
    const double alpha = 0.7, lambda = 0.2, d = 1.5;
    const double ea = std::exp(-alpha * d), el = std::exp(-lambda * d);
    const double fail = 1.0 - (lambda * ea - alpha * el) / (lambda - alpha);
    const double inOne = alpha / (lambda - alpha) * ((1.0 - ea) / alpha - (1.0 - el) / lambda);
    const double period = (1.0 - ea) / alpha + inOne;
    const Solution s =
        solveUntilAbsorption(modelOf(clockAcrossTwoStates(alpha, lambda, d), {{0.0, 1.0, 0.0}}));
    const Result& time = until(s, "time to absorption");
    EXPECT_NEAR(time.value, period / fail, 1e-11 * period / fail);
    EXPECT_LE(std::fabs(time.value - period / fail), time.bound);
    EXPECT_NEAR(until(s, "a").value, inOne / fail, 1e-11 * period / fail);
    // A memoryless failure under a timer that only restarts itself: 1 / lambda.
    Process timer;
    timer.states = 2;
    timer.delays = {0.3};
    timer.group = {0, kNone};
    timer.arcs = {{0, 1, 0.25, false}, {0, 0, 1.0, true}};
    EXPECT_NEAR(
        until(solveUntilAbsorption(modelOf(timer, {{1.0, 0.0}})), "time to absorption").value, 4.0,
        4e-12);
}

// Repairs that rarely lose the system, as in the disk array of the shipped
// models: absorption comes after hundreds to thousands of repairs, so what each
// row's uniformization rounds is counted that many times, and a row that came out
// a unit of roundoff short of 1 must not send that much of every path to
// absorption.
TEST(RegenerativeAbsorption, RareLossesStayWithinTheBoundWithTheirRounding) {
    struct Case {
        double lambda, gamma, d;
    };
    for (const Case c : {Case{4e-4, 3e-4, 10.0}, Case{1e-3, 1e-5, 1.0}, Case{0.5, 1e-4, 3.0},
                         Case{2.0, 0.01, 0.2}}) {
        const RegenerativeModel m =
            modelOf(repairRacingFailure(c.lambda, c.gamma, c.d), {{0.0, 1.0, 0.0}});
        const double p = -std::expm1(-c.gamma * c.d);
        const double mean = (1.0 / c.lambda + p / c.gamma) / p;
        const Solution s = solveUntilAbsorption(m);
        const Result& time = until(s, "time to absorption");
        const Result& down = until(s, "a");
        EXPECT_LE(std::fabs(time.value - mean), time.bound) << c.lambda << " " << c.gamma;
        EXPECT_LT(time.bound, 1e-8 * mean);
        // Each down period lasts p / gamma on average, and 1 / p of them come.
        EXPECT_LE(std::fabs(down.value - 1.0 / c.gamma), down.bound) << c.gamma;
        EXPECT_NEAR(down.value, 1.0 / c.gamma, 1e-14 / c.gamma) << c.gamma;
    }
}

TEST(RegenerativeAbsorption, ErlangExpansionsOfGrowingOrderApproachIt) {
    // The delay as K exponential phases (expandDelays, solved as a chain without
    // delays): the error shrinks as 1/K, and the extrapolation 2V(2K) - V(K),
    // whose error shrinks as 1/K², comes an order of magnitude closer.
    const RegenerativeModel m = modelOf(clockAcrossTwoStates(0.7, 0.2, 1.5), {{0.0, 1.0, 0.0}});
    const double exact = until(solveUntilAbsorption(m), "time to absorption").value;
    double previousError = 0.0, previousValue = 0.0;
    for (std::uint32_t k = 8; k <= 256; k *= 2) {
        const ErlangExpansion x = expandDelays(m, k);
        const Absorption a = solveAbsorption(x.matrix);
        double bound = 0.0;
        const double value = a.accumulated(std::vector<double>(x.matrix.states(), 1.0), bound);
        const double error = std::fabs(value - exact);
        if (k > 8) {
            EXPECT_NEAR(error / previousError, 0.5, 0.05) << k;
            EXPECT_LT(std::fabs(2.0 * value - previousValue - exact), 0.15 * error) << k;
        }
        previousError = error;
        previousValue = value;
    }
    EXPECT_LT(previousError, 1e-2 * exact);
}

TEST(RegenerativeAbsorption, AbsorptionThatIsNotCertainAndTheRefusals) {
    // From 0 (a delay of 2), a failure at rate 0.5 absorbs in 1; the expiry leads
    // to 2, a cycle with a delay that never absorbs: p = 1 - e^(-1).
    Process p;
    p.states = 4;
    p.delays = {2.0, 1.0};
    p.group = {0, kNone, kNone, 1};
    p.arcs = {{0, 1, 0.5, false}, {0, 2, 1.0, true}, {2, 3, 1.0, false}, {3, 2, 1.0, true}};
    RegenerativeModel m = modelOf(p, {{1.0, 0.0, 0.0, 0.0}});
    m.untilAbsorption = {true}; // no long-run value, which two closed classes would refuse
    Solution s = solveUntilAbsorption(m);
    const Result& probability = until(s, "absorption probability");
    EXPECT_NEAR(probability.value, -std::expm1(-1.0), 1e-13);
    EXPECT_LE(std::fabs(probability.value + std::expm1(-1.0)), probability.bound);
    EXPECT_LT(probability.bound, 1e-12);
    EXPECT_NE(s.absorptionNotice.find("not certain"), std::string::npos);
    // A delay whose expiry returns to its state, with nothing else leaving it, is
    // a closed class, not an absorbing state: refused, naming it.
    p.arcs = {{0, 1, 0.5, false}, {0, 2, 1.0, true}, {2, 3, 1.0, false}, {3, 3, 1.0, true}};
    m = modelOf(p, {{1.0, 0.0, 0.0, 0.0}});
    m.untilAbsorption = {true};
    try {
        solveUntilAbsorption(m);
        ADD_FAILURE() << "not refused";
    } catch (const SolveError& e) {
        EXPECT_NE(std::string(e.what()).find("state 4 is never left"), std::string::npos)
            << e.what();
    }
    // Rows that would take more uniformization steps than allowed.
    SolveOptions few;
    few.absorption = true;
    few.transient.maxSteps = 10;
    EXPECT_THROW(
        solveRegenerative(modelOf(repairRacingFailure(1.0, 100.0, 1.0), {{1.0, 0, 0}}), few),
        SolveError);
}

TEST(RegenerativeAbsorption, VariablesNamedUntilAbsorptionLeaveTheirTimePoints) {
    RegenerativeModel m =
        modelOf(repairRacingFailure(0.01, 0.05, 2.0), {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}},
                RewardType::InstantOfTime, {{1.0, 1.0}});
    m.untilAbsorption = {false, true};
    const Solution s = solveRegenerative(m, SolveOptions{});
    // a at its time point; then the probability, the mean time and b until absorption.
    ASSERT_EQ(s.results.size(), 4u);
    EXPECT_EQ(s.results[0].variable, "a");
    EXPECT_FALSE(s.results[0].untilAbsorption);
    EXPECT_EQ(s.results[3].variable, "b");
    EXPECT_TRUE(s.results[3].untilAbsorption);
    // Time down until loss: each of the 1/p periods lasts p/gamma on average.
    EXPECT_NEAR(s.results[3].value, 1.0 / 0.05, 1e-10);
}

} // namespace
