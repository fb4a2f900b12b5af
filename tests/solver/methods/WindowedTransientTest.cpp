// Transients on a window of the states nearest state 1: the cut chain against
// the whole chain's matrix exponential (its probabilities lie below the whole
// chain's and fall short of them by exactly the sinks' mass), and the windowed
// method against closed forms on chains whose mass stays near state 1 (the
// M/M/infinity queue, windows grown on the way; a stiff workload beside failures)
// and on one whose mass drifts away (a Poisson process, handed to the whole
// chain), plus a chain mostly unreachable.

#include "methods/WindowedTransient.h"
#include "SolverTestSupport.h"
#include "methods/ChainBackend.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace {

using gensolver::RateMatrix;
using gensolver::TransientMethod;
using gensolver::TransientOptions;
using gensolver::Transition;
using gensolver::WindowedTransient;

// Random chain of n states: a path 0 -> 1 -> ... -> n-1 plus 2n random arcs
// (some of rate 0), rates log-uniform over [1e-2, 1e2].
std::vector<Transition> randomChain(std::uint32_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<std::uint32_t> state(0, n - 1);
    std::uniform_real_distribution<double> exponent(-2.0, 2.0);
    std::vector<Transition> ts;
    for (std::uint32_t i = 0; i + 1 < n; ++i)
        ts.push_back({i, i + 1, std::pow(10.0, exponent(rng))});
    for (std::uint32_t k = 0; k < 2 * n; ++k) {
        const std::uint32_t a = state(rng), b = state(rng);
        if (a != b)
            ts.push_back({a, b, k % 7 == 0 ? 0.0 : std::pow(10.0, exponent(rng))});
    }
    return ts;
}

TEST(CutChainTest, LiesBelowTheWholeChainByTheSinksMass) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        const std::uint32_t n = 60;
        const std::vector<Transition> ts = randomChain(n, seed);
        const RateMatrix m = gensolver::buildRateMatrix(n, ts);
        const std::vector<std::uint32_t> order = gensolver::breadthFirstOrder(m);
        ASSERT_EQ(order.size(), n); // the path reaches every state
        for (const std::uint32_t size : {5u, 17u, 40u}) {
            std::vector<std::uint32_t> local;
            const gensolver::CutChain cut = gensolver::cutChain(m, order, size, local);
            const RateMatrix& c = cut.matrix;
            ASSERT_EQ(cut.window, size);
            // Sinks absorb and take no more transitions than a state of m has.
            std::uint64_t maxIn = 0;
            for (std::uint32_t j = 0; j < n; ++j)
                maxIn = std::max(maxIn, m.start[j + 1] - m.start[j]);
            for (std::uint32_t s = size; s < c.states(); ++s) {
                EXPECT_EQ(c.exitRate[s], 0.0);
                EXPECT_LE(c.start[s + 1] - c.start[s], maxIn);
            }
            // A window state's rates in the cut chain add up to its exit rate.
            std::vector<double> out(c.states(), 0.0);
            for (std::uint32_t j = 0; j < c.states(); ++j)
                for (std::uint64_t e = c.start[j]; e < c.start[j + 1]; ++e)
                    out[c.source[e]] += c.rate[e];
            for (std::uint32_t k = 0; k < size; ++k)
                EXPECT_NEAR(out[k], c.exitRate[k], 1e-12 * c.exitRate[k]);
            std::vector<Transition> cutArcs;
            for (std::uint32_t j = 0; j < c.states(); ++j)
                for (std::uint64_t e = c.start[j]; e < c.start[j + 1]; ++e)
                    cutArcs.push_back({c.source[e], j, c.rate[e]});
            const long double t = 0.7L;
            const solvertest::Dense whole = solvertest::expm(solvertest::denseGenerator(n, ts), t);
            const solvertest::Dense part =
                solvertest::expm(solvertest::denseGenerator(c.states(), cutArcs), t);
            // Without extended precision the exponentials carry double's rounding.
            const long double slack = solvertest::extendedPrecision() ? 1e-15L : 1e-12L;
            long double missing = 0.0L, sinks = 0.0L;
            for (std::uint32_t k = 0; k < size; ++k) {
                const long double below = whole[0][order[k]] - part[0][k];
                EXPECT_GE(below, -slack) << "seed " << seed << " window " << size;
                missing += below;
            }
            for (std::uint32_t k = 0; k < n; ++k)
                if (local[k] == UINT32_MAX)
                    missing += whole[0][k];
            for (std::uint32_t s = size; s < c.states(); ++s)
                sinks += part[0][s];
            EXPECT_NEAR(static_cast<double>(missing), static_cast<double>(sinks),
                        static_cast<double>(100 * slack))
                << "seed " << seed << " window " << size;
        }
    }
}

// The M/M/infinity queue cut at n customers: arrivals at rate lambda, each
// customer leaving at rate mu. From empty, the number present at t is Poisson
// with mean lambda/mu (1 - e^{-mu t}); the top states' exit rates (about n mu)
// make uniformization need n mu t steps while the mass stays near 0.
std::vector<Transition> infiniteServer(std::uint32_t n, double lambda, double mu) {
    std::vector<Transition> ts;
    for (std::uint32_t k = 0; k + 1 < n; ++k) {
        ts.push_back({k, k + 1, lambda});
        ts.push_back({k + 1, k, (k + 1) * mu});
    }
    return ts;
}

// Small limits, so that a chain of a few thousand states takes the windows.
TransientOptions smallWindows() {
    TransientOptions o;
    o.extrapolateStates = 200;
    o.extrapolateAbove = 100.0;
    o.windowStates = 32;
    return o;
}

std::unique_ptr<TransientMethod> localTransient(const RateMatrix& m,
                                                std::vector<const std::vector<double>*> rewards,
                                                const TransientOptions& o, double lastTime) {
    gensolver::LocalBackend backend(m);
    double rate = 0.0;
    return backend.transient(std::move(rewards), nullptr, o, lastTime, rate);
}

TEST(WindowedTransientTest, QueueNearEmptyAgainstItsPoissonLaw) {
    const std::uint32_t n = 3000;
    const double lambda = 20.0, mu = 1.0;
    const RateMatrix m = gensolver::buildRateMatrix(n, infiniteServer(n, lambda, mu));
    std::vector<double> count(n), empty(n, 0.0);
    for (std::uint32_t k = 0; k < n; ++k)
        count[k] = k;
    empty[0] = 1.0;
    const TransientOptions o = smallWindows();
    ASSERT_TRUE(gensolver::chooseWindow(m, 50.0, o));
    auto method = localTransient(m, {&count}, o, 50.0);
    auto* windowed = dynamic_cast<WindowedTransient*>(method.get());
    ASSERT_NE(windowed, nullptr);
    for (const double t : {0.5, 5.0, 50.0}) {
        method->advanceTo(t);
        const double mean = lambda / mu * (1.0 - std::exp(-mu * t));
        const double meanIntegral = lambda / mu * (t - (1.0 - std::exp(-mu * t)) / mu);
        double value = 0.0, none = 0.0;
        for (std::uint32_t k = 0; k < n; ++k) {
            value += method->distribution()[k] * count[k];
            none += method->distribution()[k] * empty[k];
        }
        // Bounds scale with the largest reward: n - 1 customers.
        const double bound = method->distributionBound() * (n - 1);
        const double intBound = method->integralBound() * (n - 1);
        EXPECT_NEAR(value, mean, bound) << "t = " << t;
        EXPECT_NEAR(none, std::exp(-mean), method->distributionBound()) << "t = " << t;
        EXPECT_NEAR(method->integral(0), meanIntegral, intBound) << "t = " << t;
        EXPECT_LT(bound, 1e-5) << "t = " << t;
        EXPECT_LT(intBound, 1e-3) << "t = " << t;
        EXPECT_NE(method->describe().find("states nearest state 1"), std::string::npos);
    }
    // The mass that leaks past 32 and 64 customers by t = 50 exceeds 1e-12.
    EXPECT_GE(windowed->windowsDropped(), 1u);
    EXPECT_GT(windowed->windowStates(), 64u);
    EXPECT_LE(windowed->windowStates(), 200u);
}

TEST(WindowedTransientTest, StiffWorkloadAgainstItsClosedForm) {
    // A workload switching idle -> busy at 1e4 and back at 1e3 per hour, beside
    // units failing one at a time at 0.1 per hour and repaired at 1 (3,000
    // levels, mass near none down): rates 1e-1 to 1e4, so uniformization would
    // take 1.1e4 steps per hour. The workload ignores the failures, so from idle
    // P(busy at t) = b (1 - e^{-11000 t}) and its integral is
    // b (t - (1 - e^{-11000 t}) / 11000), b = 10/11.
    const std::uint32_t levels = 3000, n = 2 * levels;
    std::vector<Transition> ts;
    auto state = [](std::uint32_t down, std::uint32_t busy) { return 2 * down + busy; };
    for (std::uint32_t d = 0; d < levels; ++d) {
        ts.push_back({state(d, 0), state(d, 1), 1e4});
        ts.push_back({state(d, 1), state(d, 0), 1e3});
        for (std::uint32_t b = 0; b < 2; ++b) {
            if (d + 1 < levels)
                ts.push_back({state(d, b), state(d + 1, b), 0.1});
            if (d > 0)
                ts.push_back({state(d, b), state(d - 1, b), 1.0});
        }
    }
    const RateMatrix m = gensolver::buildRateMatrix(n, ts);
    std::vector<double> busy(n, 0.0);
    for (std::uint32_t d = 0; d < levels; ++d)
        busy[state(d, 1)] = 1.0;
    auto method = localTransient(m, {&busy}, smallWindows(), 1000.0);
    ASSERT_NE(dynamic_cast<WindowedTransient*>(method.get()), nullptr);
    const double b = 10.0 / 11.0, rate = 11000.0;
    for (const double t : {1e-4, 1.0, 1000.0}) {
        method->advanceTo(t);
        double value = 0.0;
        for (std::uint32_t k = 0; k < n; ++k)
            value += method->distribution()[k] * busy[k];
        EXPECT_NEAR(value, b * -std::expm1(-rate * t), method->distributionBound() + 1e-14)
            << "t = " << t;
        EXPECT_NEAR(method->integral(0), b * (t + std::expm1(-rate * t) / rate),
                    method->integralBound() + 1e-12 * t)
            << "t = " << t;
        EXPECT_LT(method->distributionBound(), 1e-8) << "t = " << t;
        EXPECT_NE(method->describe().find("extrapolation"), std::string::npos)
            << method->describe();
    }
}

TEST(WindowedTransientTest, DriftingMassGoesToTheWholeChain) {
    // A Poisson process of rate 1 counted up to n - 1: by t = 1000 its mass is
    // near 1000, beyond any window of 200 states.
    const std::uint32_t n = 3000;
    std::vector<Transition> ts;
    for (std::uint32_t k = 0; k + 1 < n; ++k)
        ts.push_back({k, k + 1, 1.0});
    const RateMatrix m = gensolver::buildRateMatrix(n, ts);
    std::vector<double> count(n);
    for (std::uint32_t k = 0; k < n; ++k)
        count[k] = k;
    auto method = localTransient(m, {&count}, smallWindows(), 1000.0);
    auto* windowed = dynamic_cast<WindowedTransient*>(method.get());
    ASSERT_NE(windowed, nullptr);
    method->advanceTo(2.0);
    EXPECT_EQ(windowed->windowStates(), 32u);
    double early = 0.0;
    for (std::uint32_t k = 0; k < n; ++k)
        early += method->distribution()[k] * count[k];
    EXPECT_NEAR(early, 2.0, method->distributionBound() * (n - 1) + 1e-12);
    method->advanceTo(1000.0);
    EXPECT_EQ(windowed->windowStates(), 0u);
    EXPECT_NE(method->describe().find("lost"), std::string::npos);
    double late = 0.0;
    for (std::uint32_t k = 0; k < n; ++k)
        late += method->distribution()[k] * count[k];
    // P(N(1000) >= 2999) is below 1e-300: the mean is 1000.
    EXPECT_NEAR(late, 1000.0, method->distributionBound() * (n - 1) + 1e-9);
    EXPECT_TRUE(method->boundProven()); // uniformization on the whole chain
}

TEST(WindowedTransientTest, ReachableStatesAloneAreExact) {
    // 40 states reachable (a queue of 40) among 3000: the window holds them all,
    // with no sink, so the bound is the cut chain's own.
    const std::uint32_t n = 3000, reachable = 40;
    std::vector<Transition> ts = infiniteServer(reachable, 5.0, 1.0);
    for (std::uint32_t k = reachable; k + 1 < n; ++k)
        ts.push_back({k, k + 1, 1000.0});
    const RateMatrix m = gensolver::buildRateMatrix(n, ts);
    std::vector<double> count(n);
    for (std::uint32_t k = 0; k < n; ++k)
        count[k] = k;
    TransientOptions o = smallWindows();
    o.windowStates = 64;
    auto method = localTransient(m, {&count}, o, 30.0);
    method->advanceTo(30.0);
    EXPECT_NE(method->describe().find("40 states reachable from state 1"), std::string::npos)
        << method->describe();
    const solvertest::Dense e = solvertest::expm(
        solvertest::denseGenerator(reachable, infiniteServer(reachable, 5.0, 1.0)), 30.0L);
    long double exact = 0.0L;
    double value = 0.0;
    for (std::uint32_t k = 0; k < reachable; ++k)
        exact += e[0][k] * k;
    for (std::uint32_t k = 0; k < n; ++k)
        value += method->distribution()[k] * count[k];
    const double tolerance = solvertest::extendedPrecision() ? 0.0 : 1e-10;
    EXPECT_NEAR(value, static_cast<double>(exact),
                method->distributionBound() * (reachable - 1) + tolerance);
    for (std::uint32_t k = reachable; k < n; ++k)
        ASSERT_EQ(method->distribution()[k], 0.0);
}

} // namespace
