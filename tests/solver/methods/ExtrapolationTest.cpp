// The extrapolated implicit Euler method against a dense matrix exponential in
// long double: random chains, stiff chains whose rates span 1e-6 to 1e4, values
// at several time points and integrals over time, each within the method's
// estimated bound; and the rule that picks it over uniformization.

#include "methods/Extrapolation.h"
#include "SolverTestSupport.h"
#include "methods/Measures.h"
#include "read/ModelReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using gensolver::ExtrapolationSolver;
using gensolver::RateMatrix;
using gensolver::Transition;
using solvertest::Dense;

struct TestChain {
    std::uint32_t states = 0;
    std::vector<Transition> arcs; // numbered from 0
    std::vector<double> reward;   // per state
};

// The chain's generator with one more column, the reward, and a zero last row:
// exp of it times t holds exp(Q t) in its top-left block and the integral
// over [0, t] of exp(Q u) r du in its last column.
Dense rewardGenerator(const TestChain& c) {
    const std::uint32_t n = c.states;
    Dense a(n + 1, std::vector<long double>(n + 1, 0.0L));
    for (const Transition& t : c.arcs) {
        if (t.from == t.to)
            continue;
        a[t.from][t.to] += t.rate;
        a[t.from][t.from] -= t.rate;
    }
    for (std::uint32_t i = 0; i < n; ++i)
        a[i][n] = c.reward[i];
    return a;
}

struct Exact {
    long double value;    // e1 exp(Q t) . r
    long double integral; // e1 int_0^t exp(Q u) r du
};

Exact exact(const TestChain& c, long double t) {
    const Dense e = solvertest::expm(rewardGenerator(c), t);
    Exact x{0.0L, e[0][c.states]};
    for (std::uint32_t j = 0; j < c.states; ++j)
        x.value += e[0][j] * c.reward[j];
    return x;
}

// n states, a ring plus random arcs with rates log-uniform in [low, high], and
// a reward per state in [-1, 2].
TestChain randomChain(std::uint32_t n, unsigned seed, double low, double high) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> exponent(std::log10(low), std::log10(high));
    std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
    std::uniform_real_distribution<double> reward(-1.0, 2.0);
    TestChain c;
    c.states = n;
    auto rate = [&] { return std::pow(10.0, exponent(gen)); };
    for (std::uint32_t i = 0; i < n; ++i)
        c.arcs.push_back({i, (i + 1) % n, rate()});
    for (std::uint32_t k = 0; k < 2 * n; ++k)
        c.arcs.push_back({pick(gen), pick(gen), rate()});
    for (std::uint32_t i = 0; i < n; ++i)
        c.reward.push_back(reward(gen));
    return c;
}

double maxAbs(const std::vector<double>& v) {
    double m = 0.0;
    for (const double x : v)
        m = std::max(m, std::fabs(x));
    return m;
}

// Advances through the times in order and checks the value and the integral at
// each against the exponential: within `tolerance` of it, and within the
// method's own estimate (plus `slack`, the oracle's own error).
void expectMatchesExponential(const TestChain& c, const std::vector<double>& times,
                              double tolerance, double slack,
                              gensolver::TransientOptions options = {}) {
    const RateMatrix m = gensolver::buildRateMatrix(c.states, c.arcs);
    ExtrapolationSolver s(m, {&c.reward}, options);
    const double rMax = maxAbs(c.reward);
    for (const double t : times) {
        SCOPED_TRACE("t = " + std::to_string(t));
        s.advanceTo(t);
        const Exact e = exact(c, t);
        double value = 0.0;
        for (std::uint32_t j = 0; j < c.states; ++j)
            value += s.distribution()[j] * c.reward[j];
        const double valueError = std::fabs(value - static_cast<double>(e.value));
        const double integralError = std::fabs(s.integral(0) - static_cast<double>(e.integral));
        EXPECT_LE(valueError, tolerance * std::max(1.0L, std::fabs(e.value)));
        EXPECT_LE(integralError, tolerance * std::max(1.0L, std::fabs(e.integral)));
        EXPECT_LE(valueError, s.distributionBound() * rMax + slack);
        EXPECT_LE(integralError, s.integralBound() * rMax + slack * std::max(1.0, t));
        EXPECT_FALSE(s.boundProven());
    }
}

TEST(Extrapolation, RandomChainsMatchTheExponentialAtSeveralTimes) {
    const double tolerance = solvertest::extendedPrecision() ? 1e-11 : 1e-9;
    for (const unsigned seed : {1u, 2u, 3u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        expectMatchesExponential(randomChain(6, seed, 0.1, 5.0), {0.01, 0.7, 2.5, 6.0}, tolerance,
                                 1e-14);
    }
}

TEST(Extrapolation, StiffChainsMatchTheExponentialWithoutStepsGrowingWithRateTimesTime) {
    // Rates from 1e-6 to 1e4: uniformization would take q t, up to 1e8 steps, for
    // the last time point. The exponential squares its way there, which costs it
    // digits when long double is only a double.
    const bool extended = solvertest::extendedPrecision();
    for (const unsigned seed : {4u, 5u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const TestChain c = randomChain(7, seed, 1e-6, 1e4);
        const RateMatrix m = gensolver::buildRateMatrix(c.states, c.arcs);
        expectMatchesExponential(c, {1e-3, 1.0, 100.0, 1e4}, extended ? 1e-10 : 1e-7,
                                 extended ? 1e-13 : 1e-7);
        ExtrapolationSolver s(m, {}, {});
        s.advanceTo(1e4);
        EXPECT_LT(s.steps(), 20000u);
    }
}

TEST(Extrapolation, UnitsFailingWithoutRepairAreFactoredInTheirOwnOrderWithoutFill) {
    // Eight units failing independently at 1e-3 to 10, never repaired, a state
    // per set of failed units (numbered by its bits, so every failure leads to
    // a higher number). The factors fill nothing in that order, which is
    // taken; the probability that all have failed by t, and its integral,
    // against their closed forms: prod(1 - e^(-l_i t)) and its integral by
    // inclusion and exclusion over the sets of units.
    const std::uint32_t units = 8, n = 1u << units;
    std::vector<double> rate(units);
    for (std::uint32_t i = 0; i < units; ++i)
        rate[i] = std::pow(10.0, -3.0 + 4.0 * i / (units - 1));
    std::vector<Transition> ts;
    for (std::uint32_t s = 0; s + 1 < n; ++s)
        for (std::uint32_t i = 0; i < units; ++i)
            if ((s >> i & 1u) == 0)
                ts.push_back({s, s | (1u << i), rate[i]});
    std::vector<double> allFailed(n, 0.0);
    allFailed[n - 1] = 1.0;
    const RateMatrix m = gensolver::buildRateMatrix(n, ts);
    ExtrapolationSolver s(m, {&allFailed}, {});
    gensolver::EliminationBudget none;
    none.fill = 0;
    EXPECT_TRUE(s.factorsFit(none));
    for (const double t : {1.0, 100.0, 1e4}) {
        SCOPED_TRACE("t = " + std::to_string(t));
        s.advanceTo(t);
        long double value = 1.0L, integral = t;
        for (std::uint32_t i = 0; i < units; ++i)
            value *= 1.0L - std::exp(-static_cast<long double>(rate[i]) * t);
        // int_0^t prod(1 - e^(-l u)) du = t + sum over nonempty sets S of
        // (-1)^|S| (1 - e^(-L_S t)) / L_S, L_S the rates of S added.
        for (std::uint32_t set = 1; set < n; ++set) {
            long double sum = 0.0L;
            for (std::uint32_t i = 0; i < units; ++i)
                if (set >> i & 1u)
                    sum += rate[i];
            integral += (__builtin_popcount(set) % 2 == 1 ? -1.0L : 1.0L) *
                        (1.0L - std::exp(-sum * t)) / sum;
        }
        const double valueError = std::fabs(s.distribution()[n - 1] - static_cast<double>(value));
        const double integralError = std::fabs(s.integral(0) - static_cast<double>(integral));
        EXPECT_LE(valueError, s.distributionBound() + 1e-13);
        EXPECT_LE(integralError, s.integralBound() + 1e-13 * t);
        EXPECT_LE(valueError, 1e-8);
    }
}

TEST(Extrapolation, FastRepairAndRareFailureKeepTheFailureProbabilityRelativelyAccurate) {
    // Two states that swap at 1e3 and 1e4 and fail at 1e-6 from the second: the
    // probability of having failed by t is small, and its closed form (the poles
    // of the 2 x 2 block) is matched to 1e-9 of itself, which needs the total kept
    // at 1 step after step.
    TestChain c;
    c.states = 3;
    c.arcs = {{0, 1, 1e3}, {1, 0, 1e4}, {1, 2, 1e-6}};
    c.reward = {0.0, 0.0, 1.0};
    const RateMatrix m = gensolver::buildRateMatrix(c.states, c.arcs);
    ExtrapolationSolver s(m, {&c.reward}, {});
    const long double a = 1e3L, b = 1e4L + 1e-6L, alpha = 1e3L, beta = 1e4L;
    const long double cc = alpha * 1e-6L;
    const long double s2 = (-(a + b) - std::sqrt((a - b) * (a - b) + 4 * alpha * beta)) / 2;
    const long double s1 = cc / s2;
    for (const long double t : {1.0L, 24.0L, 1000.0L}) {
        s.advanceTo(static_cast<double>(t));
        const long double up = (s1 + b + alpha) / (s1 - s2) * std::exp(s1 * t) +
                               (s2 + b + alpha) / (s2 - s1) * std::exp(s2 * t);
        const long double failed = 1.0L - up;
        EXPECT_NEAR(s.distribution()[2], static_cast<double>(failed),
                    1e-9 * static_cast<double>(failed));
    }
    EXPECT_LT(s.steps(), 4000u);
}

TEST(Extrapolation, UniformizationIsChosenUntilItNeedsTooManyStepsOnASmallEnoughChain) {
    // Largest exit rate 10: q = 10.2, so 20000 steps are t = 1960.8.
    const RateMatrix m = gensolver::buildRateMatrix(2, {{0, 1, 10.0}, {1, 0, 1.0}});
    gensolver::TransientOptions o;
    EXPECT_FALSE(gensolver::chooseExtrapolation(m, 1900.0, o));
    EXPECT_TRUE(gensolver::chooseExtrapolation(m, 2000.0, o));
    o.extrapolateStates = 1; // too many states to factor: uniformization stays
    EXPECT_FALSE(gensolver::chooseExtrapolation(m, 2000.0, o));
    o.method = gensolver::TransientChoice::Uniformization;
    EXPECT_FALSE(gensolver::chooseExtrapolation(m, 1e9, o));
    o.method = gensolver::TransientChoice::Extrapolation;
    EXPECT_TRUE(gensolver::chooseExtrapolation(m, 0.5, o));
}

TEST(Extrapolation, IterativeSolvesMatchTheExponentialOnRandomAndStiffChains) {
    // The same steps with each sub-step solved by BiCGSTAB: values and integrals
    // against the exponential, within the estimate that includes the solves' part.
    const bool extended = solvertest::extendedPrecision();
    gensolver::TransientOptions iterative;
    iterative.method = gensolver::TransientChoice::Iterative;
    for (const unsigned seed : {1u, 2u}) {
        SCOPED_TRACE("random seed " + std::to_string(seed));
        expectMatchesExponential(randomChain(6, seed, 0.1, 5.0), {0.01, 0.7, 2.5, 6.0},
                                 extended ? 1e-11 : 1e-9, 1e-14, iterative);
    }
    for (const unsigned seed : {4u, 5u}) {
        SCOPED_TRACE("stiff seed " + std::to_string(seed));
        expectMatchesExponential(randomChain(7, seed, 1e-6, 1e4), {1e-3, 1.0, 100.0, 1e4},
                                 extended ? 1e-10 : 1e-7, extended ? 1e-13 : 1e-7, iterative);
    }
}

TEST(Extrapolation, LargeChainsTurnToIterativeSolvesOnlyWhenUniformizationNeedsFarMoreSteps) {
    // Largest exit rate 10: q = 10.2. With one state allowed for factoring, the
    // chain counts as large: uniformization up to iterateAbove steps, iterative
    // extrapolation beyond.
    const RateMatrix m = gensolver::buildRateMatrix(2, {{0, 1, 10.0}, {1, 0, 1.0}});
    gensolver::TransientOptions o;
    o.extrapolateStates = 1;
    o.iterateAbove = 1e6;
    EXPECT_FALSE(gensolver::chooseExtrapolation(m, 9e4, o));
    EXPECT_TRUE(gensolver::chooseExtrapolation(m, 1e5, o));
    EXPECT_TRUE(gensolver::chooseIterativeSolves(m, o));
    o.extrapolateStates = 2;
    EXPECT_FALSE(gensolver::chooseIterativeSolves(m, o));
    o.method = gensolver::TransientChoice::Iterative;
    EXPECT_TRUE(gensolver::chooseIterativeSolves(m, o));
    EXPECT_TRUE(gensolver::chooseExtrapolation(m, 0.5, o));
    o.method = gensolver::TransientChoice::Extrapolation;
    EXPECT_FALSE(gensolver::chooseIterativeSolves(m, o));
}

TEST(Extrapolation, MeasuresSayWhichMethodGaveEachValueAndWhetherItsBoundIsProven) {
    // One chain, one instant and one interval variable, solved both ways through
    // the files: the same values within the bounds, the method named, and the
    // bound marked proven only for uniformization.
    solvertest::Chain c;
    c.states = 3;
    c.arcs = {{1, 2, 1e3}, {2, 1, 1e4}, {2, 3, 1e-3}, {3, 1, 0.5}};
    c.variables.push_back({"up", 0, {{5.0, 5.0}}, {1.0, 1.0, 0.0}, {}});
    c.variables.push_back({"work", 1, {{1.0, 5.0}}, {0.0, 2.0, 0.0}, {}});
    testsupport::TempDir dir;
    solvertest::writeChain(dir.path() + "c", c);
    const gensolver::Model model = gensolver::readModel(dir.path() + "c");
    gensolver::SolveOptions uni, ext;
    uni.transient.method = gensolver::TransientChoice::Uniformization;
    ext.transient.method = gensolver::TransientChoice::Extrapolation;
    const gensolver::Solution a = gensolver::solve(model, uni);
    const gensolver::Solution b = gensolver::solve(model, ext);
    ASSERT_EQ(a.results.size(), 2u);
    ASSERT_EQ(b.results.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_NEAR(a.results[i].value, b.results[i].value,
                    a.results[i].bound + b.results[i].bound);
        EXPECT_TRUE(a.results[i].boundProven);
        EXPECT_FALSE(b.results[i].boundProven);
        EXPECT_EQ(a.results[i].method.rfind("uniformization", 0), 0u) << a.results[i].method;
        EXPECT_EQ(b.results[i].method.rfind("implicit extrapolation", 0), 0u)
            << b.results[i].method;
        EXPECT_GT(b.results[i].iterations, 0u);
    }
}

} // namespace

namespace {

TEST(Extrapolation, AutoTriesUniformizationFirstAndExtrapolatesWhereTheChainHasNotSettled) {
    // Two states, 1 -> 2 at a and back at b: p2(t) = a / (a + b) (1 - e^-(a+b)t).
    // At t = 5000 uniformization would take 51,000 steps, but the chain settles
    // within a few hundred: auto answers by uniformization with steady-state
    // detection and a proven bound.
    {
        const double a = 10.0, b = 5.0, t = 5000.0;
        solvertest::Chain c;
        c.states = 2;
        c.arcs = {{1, 2, a}, {2, 1, b}};
        c.variables.push_back({"down", 0, {{t, t}}, {0.0, 1.0}, {}});
        testsupport::TempDir dir;
        solvertest::writeChain(dir.path() + "c", c);
        const gensolver::Solution s =
            gensolver::solve(gensolver::readModel(dir.path() + "c"), gensolver::SolveOptions{});
        ASSERT_EQ(s.results.size(), 1u);
        const gensolver::Result& r = s.results[0];
        EXPECT_EQ(r.method.rfind("uniformization, steady state detected", 0), 0u) << r.method;
        EXPECT_TRUE(r.boundProven);
        EXPECT_LE(std::fabs(r.value - a / (a + b) * (1.0 - std::exp(-(a + b) * t))), r.bound);
    }
    // A stiff chain far from its limit at t = 5 (51,000 steps): the probe stops
    // after the steps auto allows and the value comes from the extrapolation,
    // within the bounds of uniformization's own value.
    {
        solvertest::Chain c;
        c.states = 3;
        c.arcs = {{1, 2, 1e3}, {2, 1, 1e4}, {2, 3, 1e-3}, {3, 1, 0.5}};
        c.variables.push_back({"up", 0, {{0.5, 0.5}, {5.0, 5.0}}, {1.0, 1.0, 0.0}, {}});
        testsupport::TempDir dir;
        solvertest::writeChain(dir.path() + "c", c);
        const gensolver::Model model = gensolver::readModel(dir.path() + "c");
        gensolver::SolveOptions uni;
        uni.transient.method = gensolver::TransientChoice::Uniformization;
        const gensolver::Solution a = gensolver::solve(model, uni);
        const gensolver::Solution b = gensolver::solve(model, gensolver::SolveOptions{});
        ASSERT_EQ(b.results.size(), 2u);
        for (std::size_t i = 0; i < 2; ++i)
            EXPECT_NEAR(a.results[i].value, b.results[i].value,
                        a.results[i].bound + b.results[i].bound);
        // t = 0.5 (5,100 steps) is the probe's; t = 5 the extrapolation's.
        EXPECT_EQ(b.results[0].method.rfind("uniformization", 0), 0u) << b.results[0].method;
        EXPECT_TRUE(b.results[0].boundProven);
        EXPECT_EQ(b.results[1].method.rfind("implicit extrapolation", 0), 0u)
            << b.results[1].method;
        EXPECT_NE(b.results[1].method.find("uniformization did not reach the limit"),
                  std::string::npos)
            << b.results[1].method;
        EXPECT_FALSE(b.results[1].boundProven);
    }
    // The same fast pair ahead of an absorbing state, as in a reliability model:
    // state 1 is transient, the limit is failure, and auto extrapolates at once.
    {
        solvertest::Chain c;
        c.states = 3;
        c.arcs = {{1, 2, 1e3}, {2, 1, 1e4}, {2, 3, 1e-3}};
        c.variables.push_back({"up", 0, {{5.0, 5.0}}, {1.0, 1.0, 0.0}, {}});
        testsupport::TempDir dir;
        solvertest::writeChain(dir.path() + "c", c);
        const gensolver::Solution s =
            gensolver::solve(gensolver::readModel(dir.path() + "c"), gensolver::SolveOptions{});
        ASSERT_EQ(s.results.size(), 1u);
        EXPECT_EQ(s.results[0].method.rfind("implicit extrapolation", 0), 0u)
            << s.results[0].method;
        EXPECT_EQ(s.results[0].method.find("uniformization"), std::string::npos)
            << s.results[0].method;
    }
}

TEST(Extrapolation, IntegrandsFarFromOneAreScaledSoTheirIntegralsKeepTheirDigits) {
    // Rewards 0 .. 5 times 2^-1040 are subnormal: products with the solution
    // lose their digits, and an error estimate taken on them kept rejecting
    // steps. Scaled by a power of two, the solve must take the same steps as with
    // the rewards themselves and give their integral times 2^-1040 (to the
    // 34 bits that a number near 2^-1040 keeps). Times 2^1000 (near overflow)
    // alike, to the last bits.
    TestChain c = randomChain(6, 11, 1e-2, 1e3);
    for (std::uint32_t i = 0; i < c.states; ++i)
        c.reward[i] = static_cast<double>(i % 6);
    const RateMatrix m = gensolver::buildRateMatrix(c.states, c.arcs);
    gensolver::TransientOptions options;
    options.maxSteps = 20000;
    ExtrapolationSolver plain(m, {&c.reward}, options);
    plain.advanceTo(30.0);
    ASSERT_GT(plain.integral(0), 1.0);
    for (const int exponent : {-1040, 1000}) {
        SCOPED_TRACE("2^" + std::to_string(exponent));
        std::vector<double> scaled = c.reward;
        for (double& v : scaled)
            v = std::ldexp(v, exponent);
        ExtrapolationSolver s(m, {&scaled}, options);
        s.advanceTo(30.0);
        EXPECT_EQ(s.macroSteps(), plain.macroSteps());
        EXPECT_NEAR(std::ldexp(s.integral(0), -exponent) / plain.integral(0), 1.0,
                    exponent < 0 ? 1e-9 : 1e-15);
    }
}

TEST(Extrapolation, RatesTimesTheIntervalBeyondADoubleAreRefusedByEveryMethod) {
    // q t overflows: uniformization's Poisson mean is infinite and the
    // extrapolation cannot resolve a step; neither may print a value.
    solvertest::Chain c;
    c.states = 3;
    c.arcs = {{1, 2, 1e307}, {2, 1, 1e3}, {2, 3, 1.0}};
    c.variables.push_back({"up", 1, {{23.0, 24.0}}, {1.0, 1.0, 0.0}, {}});
    testsupport::TempDir dir;
    solvertest::writeChain(dir.path() + "c", c);
    const gensolver::Model model = gensolver::readModel(dir.path() + "c");
    for (const auto method : {gensolver::TransientChoice::Auto,
                              gensolver::TransientChoice::Uniformization}) {
        gensolver::SolveOptions o;
        o.transient.method = method;
        EXPECT_THROW(gensolver::solve(model, o), gensolver::SolveError);
    }
}

// A chain of 600 states whose time t takes uniformization some 25,000 steps:
// auto extrapolates where its factors stay small (a birth-death chain), and
// takes uniformization where they would fill in (random arcs across the
// numbering, on which the elimination had run for minutes on 12,000 states).
// At t both chains have long settled, so each value is checked against the
// stationary distribution by the dense elimination without subtraction.
TEST(Extrapolation, AutoTakesUniformizationWhereTheFactorsWouldFillIn) {
    constexpr std::uint32_t n = 600;
    std::mt19937 gen(3);
    std::uniform_int_distribution<std::uint32_t> pick(0, n - 1);
    std::uniform_real_distribution<double> rate(1.0, 10.0);
    std::vector<Transition> random, banded;
    for (std::uint32_t i = 0; i < n; ++i) {
        random.push_back({i, (i + 1) % n, rate(gen)});
        for (int k = 0; k < 4; ++k)
            random.push_back({i, pick(gen), rate(gen)});
        if (i + 1 < n) {
            banded.push_back({i, i + 1, 2.0});
            banded.push_back({i + 1, i, 3.0});
        }
    }
    const bool extended = solvertest::extendedPrecision();
    for (const bool fills : {true, false}) {
        SCOPED_TRACE(fills ? "random arcs" : "birth-death");
        const std::vector<Transition>& ts = fills ? random : banded;
        solvertest::Chain c;
        c.states = n;
        std::vector<double> exit(n, 0.0);
        for (const Transition& t : ts) {
            if (t.from == t.to)
                continue;
            c.arcs.push_back({t.from + 1, t.to + 1, t.rate});
            exit[t.from] += t.rate;
        }
        std::vector<double> reward(n);
        for (std::uint32_t i = 0; i < n; ++i)
            reward[i] = static_cast<double>(i % 7) / 3.0;
        const double q = 1.02 * *std::max_element(exit.begin(), exit.end());
        const double t = 25000.0 / q;
        c.variables.push_back({"r", 0, {{t, t}}, reward, {}});
        testsupport::TempDir dir;
        solvertest::writeChain(dir.path() + "c", c);
        // Past the dense limit, so that auto does not first probe for the limit.
        gensolver::SolveOptions o;
        o.limit.denseLimit = 100;
        const gensolver::Solution sol = gensolver::solve(gensolver::readModel(dir.path() + "c"), o);
        ASSERT_EQ(sol.results.size(), 1u);
        const gensolver::Result& r = sol.results[0];
        EXPECT_EQ(r.method.rfind(fills ? "uniformization" : "implicit extrapolation", 0), 0u)
            << r.method;
        EXPECT_EQ(r.boundProven, fills);
        const std::vector<long double> pi = solvertest::foldedStationary(n, ts);
        long double exact = 0.0L;
        for (std::uint32_t i = 0; i < n; ++i)
            exact += pi[i] * reward[i];
        EXPECT_LE(std::fabs(r.value - static_cast<double>(exact)),
                  (fills ? 1.0 : 10.0) * r.bound + (extended ? 1e-15 : 1e-12));
    }
}

} // namespace
