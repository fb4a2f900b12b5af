// The extrapolation of Gauss-Seidel's iterates: it recovers the fixed point of
// a linear iteration whose error lies in as few modes as it can cancel, and it
// declines where the iterates do not move. Gauss-Seidel with it matches a
// dense solve of a small polling chain in fewer sweeps than without, and the
// split of that chain's transient states between two absorbing states in a
// twentieth of the sweeps; on a two-dimensional birth-death grid, where it does
// not help, it undoes the extrapolation that set the sweeps back and stops; by
// wavefront and in state order in parts, with the same values on any number of
// threads.

#include "methods/IterateExtrapolation.h"
#include "SolverTestSupport.h"
#include "methods/LimitSolver.h"
#include "methods/Parallel.h"
#include "methods/RateMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using gensolver::IterateExtrapolation;
using gensolver::Transition;

TEST(IterateExtrapolation, RecoversTheFixedPointWhereTheErrorHasAsManyModesAsDifferences) {
    // x_(k+1) = G x_k + c with G diagonal, its entries taking three values
    // (one slow, one negative): the error after k steps lies in three modes,
    // which a combination of four differences can cancel, so the combination
    // is x* itself.
    const std::uint32_t n = 20000;
    const double modes[3] = {0.99, 0.6, -0.4};
    std::vector<double> g(n), c(n), fixed(n), x(n);
    for (std::uint32_t k = 0; k < n; ++k) {
        g[k] = modes[k % 3];
        fixed[k] = 1.0 + (k % 7) * 0.25;
        c[k] = fixed[k] * (1.0 - g[k]);
        x[k] = 3.0 - (k % 5) * 0.5; // the start
    }
    gensolver::Parallel pool(2);
    IterateExtrapolation extrapolation(n);
    for (unsigned slot = 0; slot < IterateExtrapolation::kKept; ++slot) {
        for (std::uint32_t k = 0; k < n; ++k)
            x[k] = g[k] * x[k] + c[k];
        extrapolation.keep(pool, slot, 1.0, [&](std::uint64_t k) { return x[k]; });
    }
    double before = 0.0;
    for (std::uint32_t k = 0; k < n; ++k)
        before = std::max(before, std::fabs(x[k] - fixed[k]));
    EXPECT_GT(before, 0.5);
    std::vector<double> out(n, -1.0);
    ASSERT_TRUE(extrapolation.extrapolate(pool, [&](std::uint64_t k, double v) { out[k] = v; }));
    double after = 0.0;
    for (std::uint32_t k = 0; k < n; ++k)
        after = std::max(after, std::fabs(out[k] - fixed[k]));
    EXPECT_LT(after, 1e-6);

    // Iterates that do not move leave a singular system: nothing is handed.
    IterateExtrapolation still(n);
    for (unsigned slot = 0; slot < IterateExtrapolation::kKept; ++slot)
        still.keep(pool, slot, 1.0, [&](std::uint64_t k) { return fixed[k]; });
    bool handed = false;
    EXPECT_FALSE(still.extrapolate(pool, [&](std::uint64_t, double) { handed = true; }));
    EXPECT_FALSE(handed);
}

// A side x side grid, i up at rate 1 and down at rate 1.25, j up at rate 1 and
// down at 1.1, numbered i * side + j: pi(i, j) is proportional to 0.8^i 0.909^j.
// Numbered row by row, its wavefront levels are the antidiagonals.
struct Grid {
    std::uint32_t side;
    std::vector<Transition> transitions;
    std::vector<double> exact;
};

Grid birthDeathGrid(std::uint32_t side) {
    Grid grid{side, {}, std::vector<double>(std::size_t{side} * side)};
    const double a = 1.0, b = 1.25, c = 1.0, d = 1.1;
    double total = 0.0;
    for (std::uint32_t i = 0; i < side; ++i)
        for (std::uint32_t j = 0; j < side; ++j) {
            const std::uint32_t s = i * side + j;
            if (i + 1 < side) {
                grid.transitions.push_back({s, s + side, a});
                grid.transitions.push_back({s + side, s, b});
            }
            if (j + 1 < side) {
                grid.transitions.push_back({s, s + 1, c});
                grid.transitions.push_back({s + 1, s, d});
            }
            total += grid.exact[s] = std::pow(a / b, i) * std::pow(c / d, j);
        }
    for (double& p : grid.exact)
        p /= total;
    return grid;
}

// One server visiting three queues in turn: each queue holds up to four jobs,
// arriving at rate 0.3 each; the server serves its queue at rate 4 until it is
// empty, then walks to the next at rate 2. 750 states, state 0 with every queue
// empty and the server at the first.
constexpr std::uint32_t kPollingStates = 750;

std::vector<Transition> pollingTransitions() {
    const std::uint32_t cap = 5, queues = 3;
    auto id = [&](const std::uint32_t (&q)[3], std::uint32_t at, std::uint32_t walking) {
        return (((q[0] * cap + q[1]) * cap + q[2]) * queues + at) * 2 + walking;
    };
    const std::uint32_t n = cap * cap * cap * queues * 2;
    std::vector<Transition> ts;
    for (std::uint32_t s = 0; s < n; ++s) {
        const std::uint32_t walking = s % 2, at = s / 2 % queues;
        const std::uint32_t q[3] = {s / 6 / cap / cap, s / 6 / cap % cap, s / 6 % cap};
        for (std::uint32_t k = 0; k < queues; ++k)
            if (q[k] + 1 < cap) {
                std::uint32_t r[3] = {q[0], q[1], q[2]};
                ++r[k];
                ts.push_back({s, id(r, at, walking), 0.3});
            }
        if (walking == 1) {
            ts.push_back({s, id(q, (at + 1) % queues, 0), 2.0});
        } else if (q[at] > 0) {
            std::uint32_t r[3] = {q[0], q[1], q[2]};
            --r[at];
            ts.push_back({s, id(r, at, r[at] == 0 ? 1 : 0), 4.0});
        } else {
            ts.push_back({s, id(q, at, 1), 1e6}); // arrived at an empty queue
        }
    }
    return ts;
}

// The polling chain with its stationary distribution by a dense long-double solve.
Grid pollingChain() {
    Grid net{0, pollingTransitions(), {}};
    std::vector<std::uint32_t> all(kPollingStates);
    for (std::uint32_t i = 0; i < kPollingStates; ++i)
        all[i] = i;
    for (const long double p : solvertest::classStationary(
             solvertest::denseGenerator(kPollingStates, net.transitions), all))
        net.exact.push_back(static_cast<double>(p));
    return net;
}

double distance(const std::vector<double>& x, const std::vector<double>& exact) {
    double sum = 0.0;
    for (std::size_t k = 0; k < x.size(); ++k)
        sum += std::fabs(x[k] - exact[k]);
    return sum;
}

// Gauss-Seidel with and without extrapolation by wavefront and in state order
// in parts, on one thread and on several: both within 1e-11 of the exact
// distribution, the extrapolated sweeps alike on any number of threads. Returns
// the sweeps of each and the extrapolations kept, by wavefront.
struct Sweeps {
    std::uint64_t plain = 0, extrapolated = 0, extrapolations = 0;
};

Sweeps sweepBothWays(const Grid& chain) {
    const auto n = static_cast<std::uint32_t>(chain.exact.size());
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, chain.transitions);
    gensolver::LimitOptions byWavefront;
    byWavefront.denseLimit = 1;
    byWavefront.wavefrontFrom = 2;
    byWavefront.wavefrontRows = 1;
    gensolver::LimitOptions inParts = byWavefront;
    inParts.wavefrontRows = 0xFFFFFFFFu;
    Sweeps sweeps;
    for (gensolver::LimitOptions options : {byWavefront, inParts}) {
        SCOPED_TRACE(options.wavefrontRows == 1 ? "by wavefront" : "in state order in parts");
        options.extrapolateFrom = 0xFFFFFFFFu;
        gensolver::setSharedThreads(1);
        const gensolver::Limit plain = gensolver::solveLimit(m, options);
        EXPECT_TRUE(plain.converged) << plain.method();
        EXPECT_EQ(plain.extrapolations, 0u);
        EXPECT_LE(distance(plain.distribution, chain.exact), 1e-11);
        options.extrapolateFrom = 1;
        const gensolver::Limit one = gensolver::solveLimit(m, options);
        EXPECT_TRUE(one.converged) << one.method();
        EXPECT_LE(one.errorEstimate, options.tolerance);
        EXPECT_LE(distance(one.distribution, chain.exact), 1e-11);
        if (options.wavefrontRows == 1)
            sweeps = {plain.sweeps, one.sweeps, one.extrapolations};
        for (const unsigned threads : {2u, 3u}) {
            gensolver::setSharedThreads(threads);
            const gensolver::Limit more = gensolver::solveLimit(m, options);
            EXPECT_EQ(one.sweeps, more.sweeps) << threads << " threads";
            EXPECT_EQ(one.extrapolations, more.extrapolations) << threads << " threads";
            EXPECT_TRUE(one.distribution == more.distribution) << threads << " threads";
        }
        gensolver::setSharedThreads(0);
    }
    return sweeps;
}

TEST(IterateExtrapolation, GaussSeidelExtrapolatedMatchesTheDenseSolveOfAPollingChain) {
    const Sweeps s = sweepBothWays(pollingChain());
    EXPECT_GT(s.extrapolations, 0u);
    EXPECT_LT(s.extrapolated, s.plain);
}

TEST(IterateExtrapolation, AnExtrapolationThatSetsTheSweepsBackIsUndoneAndTheLast) {
    // The grid's sweeps converge so slowly (over 10,000 sweeps) that the kept
    // differences are nearly parallel, and an extrapolation leaves the changes
    // larger than the sweeps alone would: the sweeps go back to the iterate
    // before it and make no more, at the cost of a few percent more sweeps.
    // Without that check the extrapolations, every 16 sweeps, keep the sweeps
    // from converging at all.
    const Sweeps s = sweepBothWays(birthDeathGrid(60));
    EXPECT_GT(s.plain, 10000u);
    EXPECT_LT(s.extrapolations, 4u);
    EXPECT_LE(s.extrapolated, s.plain + s.plain / 10);
}

TEST(IterateExtrapolation, TransientStatesSplitBetweenTwoAbsorbingStatesAsTheDenseSolveDoes) {
    // The polling chain left for good, at rate 0.1 from every state with the
    // first queue full into state A and at 0.2 with the third queue full into
    // state B: its states are one open component, swept with the inflow of
    // state 0, and where the chain ends is the sum over them of the expected
    // time spent there times the rate of leaving into A or B.
    const std::uint32_t n = kPollingStates, a = n, b = n + 1;
    std::vector<Transition> ts = pollingTransitions();
    for (std::uint32_t s = 0; s < n; ++s) {
        if (s / 6 / 25 == 4)
            ts.push_back({s, a, 0.1});
        if (s / 6 % 5 == 4)
            ts.push_back({s, b, 0.2});
    }
    // z (-Q restricted to the transient states) = e_0, densely.
    const solvertest::Dense q = solvertest::denseGenerator(n + 2, ts);
    solvertest::Dense minusQ(n, std::vector<long double>(n));
    for (std::uint32_t i = 0; i < n; ++i)
        for (std::uint32_t j = 0; j < n; ++j)
            minusQ[i][j] = -q[i][j];
    std::vector<long double> e0(n, 0.0L);
    e0[0] = 1.0L;
    const std::vector<long double> z = solvertest::solveLeft(minusQ, e0);
    long double intoA = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i)
        intoA += z[i] * q[i][a];
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n + 2, ts);
    gensolver::LimitOptions options;
    options.denseLimit = 1;
    options.wavefrontFrom = 2;
    options.wavefrontRows = 1;
    options.extrapolateFrom = 1;
    gensolver::setSharedThreads(1);
    gensolver::LimitOptions plainly = options;
    plainly.extrapolateFrom = 0xFFFFFFFFu;
    const gensolver::Limit plain = gensolver::solveLimit(m, plainly);
    EXPECT_TRUE(plain.converged) << plain.method();
    EXPECT_NEAR(plain.distribution[a], static_cast<double>(intoA), 1e-10);
    const gensolver::Limit one = gensolver::solveLimit(m, options);
    EXPECT_TRUE(one.converged) << one.method();
    // The sweeps alone take over 30,000; extrapolated, some 1,600.
    EXPECT_LE(4 * one.sweeps, plain.sweeps) << one.sweeps << " against " << plain.sweeps;
    EXPECT_GT(one.extrapolations, 0u) << one.method();
    EXPECT_EQ(one.classesReached, 2u);
    EXPECT_NEAR(one.distribution[a], static_cast<double>(intoA), 1e-10);
    EXPECT_NEAR(one.distribution[b], static_cast<double>(1.0L - intoA), 1e-10);
    gensolver::setSharedThreads(2);
    const gensolver::Limit two = gensolver::solveLimit(m, options);
    gensolver::setSharedThreads(0);
    EXPECT_EQ(one.sweeps, two.sweeps);
    EXPECT_TRUE(one.distribution == two.distribution);
}

} // namespace
