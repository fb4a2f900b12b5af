// Gauss-Seidel swept level by level over threads: the wavefront keeps every
// state after its lower-numbered neighbours (checked on random chains and on a
// hypercube, whose levels are known), and the sweeps reach the dense solution
// for closed classes and for transient states feeding several classes, with the
// same values on any number of threads; so do the sweeps in state order in parts.

#include "methods/GaussSeidel.h"
#include "SolverTestSupport.h"
#include "methods/Components.h"
#include "methods/LimitSolver.h"
#include "methods/Parallel.h"
#include "methods/SparseElimination.h"
#include "methods/Transient.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>

namespace {

using gensolver::Transition;
using solvertest::randomIrreducible;

// Level of each state in the wavefront of its component.
std::vector<std::uint32_t> levelsOf(const gensolver::Wavefront& w, std::uint32_t n) {
    std::vector<std::uint32_t> level(n, 0xFFFFFFFFu);
    for (std::size_t l = 0; l + 1 < w.level.size(); ++l)
        for (std::uint32_t k = w.level[l]; k < w.level[l + 1]; ++k) {
            EXPECT_EQ(level[w.state[k]], 0xFFFFFFFFu) << "state " << w.state[k] << " twice";
            level[w.state[k]] = static_cast<std::uint32_t>(l);
        }
    return level;
}

TEST(GaussSeidel, TheWavefrontPutsEveryStateAfterItsLowerNumberedNeighbours) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        const std::uint32_t n = 700;
        const std::vector<Transition> ts = randomIrreducible(n, seed, -1.0, 1.0);
        const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, ts);
        const gensolver::Components comps = gensolver::findComponents(m);
        ASSERT_EQ(comps.count(), 1u);
        const gensolver::Wavefront w = gensolver::findWavefront(m, comps, 0);
        const std::vector<std::uint32_t> level = levelsOf(w, n);
        for (std::uint32_t i = 0; i < n; ++i)
            ASSERT_NE(level[i], 0xFFFFFFFFu) << "state " << i << " missing";
        for (const Transition& t : ts) {
            if (t.from != t.to) {
                EXPECT_LT(level[std::min(t.from, t.to)], level[std::max(t.from, t.to)])
                    << t.from << " -> " << t.to;
            }
        }
        // A level lists its states in ascending order.
        for (std::size_t l = 0; l + 1 < w.level.size(); ++l)
            for (std::uint32_t k = w.level[l] + 1; k < w.level[l + 1]; ++k)
                EXPECT_LT(w.state[k - 1], w.state[k]);
    }
    // On a hypercube numbered by its bits, the longest rising path to a state
    // sets one bit per step: a state's level is its number of set bits.
    const unsigned d = 10;
    std::vector<Transition> cube;
    for (std::uint32_t s = 0; s < (1u << d); ++s)
        for (unsigned b = 0; b < d; ++b)
            cube.push_back({s, s ^ (1u << b), 1.0 + b});
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(1u << d, cube);
    const gensolver::Components comps = gensolver::findComponents(m);
    const gensolver::Wavefront w = gensolver::findWavefront(m, comps, 0);
    EXPECT_EQ(w.level.size(), d + 2);
    const std::vector<std::uint32_t> level = levelsOf(w, 1u << d);
    for (std::uint32_t s = 0; s < (1u << d); ++s)
        EXPECT_EQ(level[s], static_cast<std::uint32_t>(std::popcount(s))) << "state " << s;
}

// A hypercube of dimension d numbered by its bits, each edge both ways with a
// rate drawn from 32 values between 0.1 and 10: its wavefront levels are wide.
std::vector<Transition> hypercube(unsigned d, unsigned seed) {
    std::vector<Transition> ts;
    std::uint64_t x = seed * 0x9E3779B97F4A7C15ull + 1;
    for (std::uint32_t s = 0; s < (1u << d); ++s)
        for (unsigned b = 0; b < d; ++b) {
            x = x * 6364136223846793005ull + 1442695040888963407ull;
            ts.push_back({s, s ^ (1u << b), std::pow(10.0, static_cast<double>(x >> 59) / 16 - 1)});
        }
    return ts;
}

// The 1-norm distance of x from the stationary distribution of the irreducible
// chain, solved densely in long double.
double distanceToDense(std::uint32_t n, const std::vector<Transition>& ts,
                       const std::vector<double>& x) {
    std::vector<std::uint32_t> all(n);
    for (std::uint32_t i = 0; i < n; ++i)
        all[i] = i;
    const std::vector<long double> exact =
        solvertest::classStationary(solvertest::denseGenerator(n, ts), all);
    long double distance = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i)
        distance += std::fabs(static_cast<long double>(x[i]) - exact[i]);
    return static_cast<double>(distance);
}

// Gauss-Seidel everywhere, by wavefront on every component of two or more states.
gensolver::LimitOptions byWavefront() {
    gensolver::LimitOptions o;
    o.denseLimit = 1;
    o.wavefrontFrom = 2;
    o.wavefrontRows = 1;
    return o;
}

TEST(GaussSeidel, WavefrontSweepsReachTheDenseSolutionOnRandomStiffAndPeriodicChains) {
    // Random chains (their ring makes one state per level) and a hypercube.
    for (const auto& [n, seed, lo, hi] :
         {std::tuple{300u, 5u, -1.0, 1.0}, std::tuple{200u, 6u, -4.0, 2.0},
          std::tuple{256u, 0u, 0.0, 0.0}}) {
        const std::vector<Transition> ts =
            seed == 0 ? hypercube(8, 7) : randomIrreducible(n, seed, lo, hi);
        const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, ts);
        const gensolver::Components comps = gensolver::findComponents(m);
        std::vector<double> x(n, 0.0);
        const gensolver::SweepResult r =
            gensolver::gaussSeidel(m, comps, 0, true, byWavefront(), x);
        EXPECT_TRUE(r.converged);
        EXPECT_GT(r.levels, 1u);
        EXPECT_LE(distanceToDense(n, ts, x), 1e-10) << "seed " << seed;
    }
    // A cycle: one state per level, each 1 / rate of the time.
    const std::uint32_t n = 50;
    std::vector<Transition> cycle;
    for (std::uint32_t i = 0; i < n; ++i)
        cycle.push_back({i, (i + 1) % n, 1.0 + i % 3});
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, cycle), byWavefront());
    long double total = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i)
        total += 1.0L / (1.0L + i % 3);
    for (std::uint32_t i = 0; i < n; ++i)
        EXPECT_NEAR(limit.distribution[i], static_cast<double>(1.0L / (1.0L + i % 3) / total),
                    1e-12);
}

// Gauss-Seidel in state order in fixed parts side by side on every component of
// two or more states whose states ascend (no wavefront is ever wide enough).
gensolver::LimitOptions inStateOrderParts() {
    gensolver::LimitOptions o = byWavefront();
    o.wavefrontRows = 0xFFFFFFFFu;
    return o;
}

TEST(GaussSeidel, StateOrderSweepsInPartsGiveTheDenseSolutionAlikeOnAnyNumberOfThreads) {
    for (const auto& [n, seed, lo, hi] :
         {std::tuple{300u, 5u, -1.0, 1.0}, std::tuple{200u, 6u, -4.0, 2.0}}) {
        const std::vector<Transition> ts = randomIrreducible(n, seed, lo, hi);
        const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, ts);
        gensolver::setSharedThreads(1);
        const gensolver::Limit one = gensolver::solveLimit(m, inStateOrderParts());
        EXPECT_TRUE(one.converged) << one.method();
        EXPECT_EQ(one.wavefrontLevels, 0u);
        EXPECT_LE(distanceToDense(n, ts, one.distribution), 1e-10) << "seed " << seed;
        for (const unsigned threads : {2u, 3u}) {
            gensolver::setSharedThreads(threads);
            const gensolver::Limit more = gensolver::solveLimit(m, inStateOrderParts());
            EXPECT_EQ(one.sweeps, more.sweeps) << threads << " threads";
            for (std::uint32_t i = 0; i < n; ++i)
                ASSERT_EQ(one.distribution[i], more.distribution[i])
                    << "state " << i << ", " << threads << " threads";
        }
        gensolver::setSharedThreads(0);
    }
}

TEST(GaussSeidel, TransientStatesFeedingTwoClassesGiveTheDenseLimit) {
    // States 0..39 transient and strongly connected, leaking into a random class
    // 40..69 and a cycle 70..79: the open component's sweeps carry the 1 of the
    // start state, the later classes the inflow from it.
    const std::uint32_t n = 80;
    std::vector<Transition> ts = randomIrreducible(40, 41, -1.0, 1.0);
    for (const Transition& t : randomIrreducible(30, 42, -1.0, 1.0))
        ts.push_back({t.from + 40, t.to + 40, t.rate});
    for (std::uint32_t i = 70; i < 80; ++i)
        ts.push_back({i, i == 79 ? 70 : i + 1, 1.5});
    ts.push_back({7, 45, 0.2});
    ts.push_back({33, 72, 0.05});
    // By wavefront, and in state order in parts: the open component's parts
    // and the classes' read the values of the components before them.
    for (const gensolver::LimitOptions& options : {byWavefront(), inStateOrderParts()}) {
        const gensolver::Limit limit =
            gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), options);
        EXPECT_TRUE(limit.converged) << limit.method();
        EXPECT_EQ(limit.classesReached, 2u);
        // The limit is the first row of exp(Q t) once t has let the transient states
        // empty.
        const solvertest::Dense p =
            solvertest::expm(solvertest::generator([&] {
                                 solvertest::Chain c;
                                 c.states = n;
                                 for (const Transition& t : ts)
                                     c.arcs.push_back({t.from + 1, t.to + 1, t.rate});
                                 return c;
                             }()),
                             1e5L);
        // Squaring the exponential up to t loses digits where long double is only a
        // double (under Valgrind).
        const double tolerance = solvertest::extendedPrecision() ? 1e-10 : 1e-8;
        for (std::uint32_t i = 0; i < n; ++i)
            EXPECT_NEAR(limit.distribution[i], static_cast<double>(p[0][i]), tolerance)
                << "state " << i;
    }
}

// Options under which the sweeps give up on stiff levels soon: components of
// more than 8 states are solved iteratively, within 2,000 sweeps.
gensolver::LimitOptions sweepsThatGiveUp() {
    gensolver::LimitOptions options;
    options.denseLimit = 8;
    options.maxSweeps = 2000;
    return options;
}

// A system of `levels` levels (state 0 all up): failures at 1e-6 a level down,
// repairs at 1e3 a level up. From the lowest level it fails for good, at 1e-6
// each, into state `levels` or into the pair levels + 1 <-> levels + 2 (rates
// 2 and 1).
std::vector<Transition> stiffLevelsAndTwoClasses(std::uint32_t levels) {
    std::vector<Transition> ts;
    for (std::uint32_t k = 0; k < levels; ++k) {
        if (k + 1 < levels)
            ts.push_back({k, k + 1, 1e-6});
        if (k > 0)
            ts.push_back({k, k - 1, 1e3});
    }
    ts.push_back({levels - 1, levels, 1e-6});
    ts.push_back({levels - 1, levels + 1, 1e-6});
    ts.push_back({levels + 1, levels + 2, 2.0});
    ts.push_back({levels + 2, levels + 1, 1.0});
    return ts;
}

TEST(GaussSeidel, TimesBeforeAClassThatTheSweepsCannotReachAreEliminated) {
    // A system of 20 levels (state 0 all up): failures at 1e-6 a level down,
    // repairs at 1e3 a level up, so the times spent before failing span 1e180.
    // From the lowest level it fails for good into state 20 or into the pair
    // 21 <-> 22 (rates 2 and 1), each at 1e-6: each is reached with probability
    // 1/2, and the pair holds 1/3 and 2/3 of it. The sweeps and ILU(0) give up
    // on the levels; the elimination of the times before a class, with its
    // proven bound, gives the answer.
    const std::uint32_t levels = 20, n = levels + 3;
    const std::vector<Transition> ts = stiffLevelsAndTwoClasses(levels);
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), sweepsThatGiveUp());
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_TRUE(limit.transientEliminated) << limit.method();
    EXPECT_NE(limit.method().find(", then the times before a closed class by sparse elimination"),
              std::string::npos)
        << limit.method();
    EXPECT_LE(limit.errorEstimate, 1e-12);
    const double exact[] = {0.5, 1.0 / 6.0, 1.0 / 3.0};
    double distance = 0.0;
    for (std::uint32_t i = 0; i < levels; ++i)
        distance += std::fabs(limit.distribution[i]);
    for (std::uint32_t i = 0; i < 3; ++i)
        distance += std::fabs(limit.distribution[levels + i] - exact[i]);
    EXPECT_LE(distance, limit.errorEstimate + 1e-15);

    // The elimination is tried within a budget: the levels, a path, fold one
    // rate into one state per level but the last, and fill nothing; a budget
    // one short stops it.
    std::vector<std::uint32_t> states(levels), local(n, UINT32_MAX);
    for (std::uint32_t k = 0; k < levels; ++k)
        states[k] = local[k] = k;
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, ts);
    EXPECT_NO_THROW(gensolver::SparseElimination(m, states, local, {levels - 1, 0}));
    EXPECT_THROW(gensolver::SparseElimination(m, states, local, {levels - 2, 0}),
                 gensolver::EliminationOverBudget);
    // A star eliminated from its centre joins its 5 points to one another:
    // 20 entries of fill.
    std::vector<Transition> star;
    for (std::uint32_t i = 1; i <= 5; ++i) {
        star.push_back({0, i, 1.0});
        star.push_back({i, 0, 1.0});
        star.push_back({i, 6, 0.5});
    }
    const gensolver::RateMatrix s = gensolver::buildRateMatrix(7, star);
    const std::vector<std::uint32_t> points = {0, 1, 2, 3, 4, 5};
    const std::vector<std::uint32_t> at = {0, 1, 2, 3, 4, 5, UINT32_MAX};
    EXPECT_NO_THROW(gensolver::SparseElimination(s, points, at, {UINT64_MAX, 20}));
    EXPECT_THROW(gensolver::SparseElimination(s, points, at, {UINT64_MAX, 19}),
                 gensolver::EliminationOverBudget);
    // A hub eliminated last, with 2,000 leaves that each go only to it and
    // back: each leaf folds one rate (a loop back to the hub, dropped), but
    // finding it in the hub's row passes over the leaves still in that row,
    // some 2 million entries in all. The scans are counted beside the folds, so
    // that a budget of folds cannot hide work growing with the square of a
    // row (on a chain of 1.6 million states, two minutes within a budget meant
    // for a second or two).
    const std::uint32_t leaves = 2000;
    std::vector<Transition> hub;
    for (std::uint32_t i = 1; i <= leaves; ++i) {
        hub.push_back({0, i, 1.0});
        hub.push_back({i, 0, 1.0});
    }
    hub.push_back({0, leaves + 1, 1.0});
    const gensolver::RateMatrix h = gensolver::buildRateMatrix(leaves + 2, hub);
    std::vector<std::uint32_t> leavesFirst(leaves + 1), hubAt(leaves + 2, UINT32_MAX);
    for (std::uint32_t k = 0; k < leaves; ++k)
        leavesFirst[k] = k + 1, hubAt[k + 1] = k;
    leavesFirst[leaves] = 0;
    hubAt[0] = leaves;
    gensolver::EliminationBudget budget{leaves, 0, UINT64_MAX};
    EXPECT_NO_THROW(gensolver::SparseElimination(h, leavesFirst, hubAt, budget));
    budget.scans = 1000000;
    EXPECT_THROW(gensolver::SparseElimination(h, leavesFirst, hubAt, budget),
                 gensolver::EliminationOverBudget);
}

TEST(GaussSeidel, TimesBeforeAClassKeepTheirBoundWhereTheEliminationUnderflows) {
    // The 20 stiff levels above fail from the lowest into state 20, the pair
    // 21 <-> 22, or state 23, each at 1e-6. State 23 goes to 20 at 1, or at
    // 1e-20 on along a path 24..47 whose states go on at 1e-20 or back at 1,
    // and whose last goes to state 48 at 1. State 48 is reached with
    // probability about 1e-480 / 3, below any double: eliminated from its far
    // end, the path's rates out fall below the normal range, and the times
    // spent on it do too, so the elimination's own bound must carry those
    // absolute errors, where the times (1e170) leave the residual's bound no
    // use. Exact: 20 holds 2/3, the pair 1/9 and 2/9.
    const std::uint32_t levels = 20, path = 24, n = levels + 4 + path + 1;
    std::vector<Transition> ts = stiffLevelsAndTwoClasses(levels);
    ts.push_back({levels - 1, levels + 3, 1e-6});
    ts.push_back({levels + 3, levels, 1.0});
    for (std::uint32_t k = levels + 3; k < levels + 4 + path; ++k) {
        ts.push_back({k, k + 1, k + 1 < levels + 4 + path ? 1e-20 : 1.0});
        if (k > levels + 3)
            ts.push_back({k, k - 1, 1.0});
    }
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), sweepsThatGiveUp());
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_TRUE(limit.transientEliminated) << limit.method();
    EXPECT_LE(limit.errorEstimate, 1e-12);
    double distance = 0.0;
    for (std::uint32_t i = 0; i < n; ++i) {
        const double exact = i == levels       ? 2.0 / 3.0
                             : i == levels + 1 ? 1.0 / 9.0
                             : i == levels + 2 ? 2.0 / 9.0
                                               : 0.0;
        distance += std::fabs(limit.distribution[i] - exact);
    }
    EXPECT_LE(distance, limit.errorEstimate + 1e-15);
}

TEST(GaussSeidel, RandomStiffChainsBeforeTheirClassesMatchTheFoldedLimit) {
    // Random systems of 14 to 20 stiff levels (failures at 3e-7 to 3e-6 a
    // level down, repairs at 3e2 to 3e3 up), whose lowest level fails into 2
    // to 4 classes (a state, or a random class of up to 5), and from a random
    // level onto a path of up to 24 states, each going on at 1e-25 to 1e-15 or
    // back at 1, the first also into a class and the last into a class: the
    // sweeps give up, and wherever the elimination of the times before a class
    // takes over (whose rates and times fall below the doubles on the longer
    // paths), its values must lie within its bound of the folded limit.
    std::mt19937 random(20261127);
    auto uniform = [&](double lo, double hi) {
        return std::uniform_real_distribution<double>(lo, hi)(random);
    };
    auto between = [&](std::uint32_t lo, std::uint32_t hi) {
        return std::uniform_int_distribution<std::uint32_t>(lo, hi)(random);
    };
    std::uint32_t eliminated = 0;
    const std::uint32_t chains = 24;
    for (std::uint32_t round = 0; round < chains; ++round) {
        const std::uint32_t levels = between(14, 20), path = between(0, 24);
        const std::uint32_t transient = levels + path;
        std::vector<Transition> ts;
        const double failure = std::pow(10.0, uniform(-6.5, -5.5));
        const double repair = std::pow(10.0, uniform(2.5, 3.5));
        for (std::uint32_t k = 0; k < levels; ++k) {
            if (k + 1 < levels)
                ts.push_back({k, k + 1, failure * uniform(0.5, 2.0)});
            if (k > 0)
                ts.push_back({k, k - 1, repair * uniform(0.5, 2.0)});
        }
        std::vector<std::vector<std::uint32_t>> classes;
        std::uint32_t n = transient;
        for (std::uint32_t c = between(2, 4); c-- > 0;) {
            const std::uint32_t size = between(1, 5);
            classes.emplace_back();
            for (std::uint32_t k = 0; k < size; ++k)
                classes.back().push_back(n + k);
            if (size > 1)
                for (const Transition& t : randomIrreducible(size, between(1, 1000), -1.0, 1.0))
                    ts.push_back({t.from + n, t.to + n, t.rate});
            ts.push_back({levels - 1, n, 1e-6 * uniform(0.5, 2.0)});
            n += size;
        }
        auto someClass = [&] { return classes[between(0, classes.size() - 1)].front(); };
        if (path > 0) {
            ts.push_back({between(0, levels - 1), levels, 1e-6});
            ts.push_back({levels, someClass(), 1.0});
            for (std::uint32_t k = levels; k < transient; ++k) {
                if (k > levels)
                    ts.push_back({k, k - 1, 1.0});
                ts.push_back({k, k + 1 < transient ? k + 1 : someClass(),
                              k + 1 < transient ? std::pow(10.0, uniform(-25.0, -15.0)) : 1.0});
            }
        }
        const gensolver::Limit limit =
            gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), sweepsThatGiveUp());
        const std::vector<long double> exact = solvertest::foldedLimit(n, ts, transient, classes);
        long double distance = 0.0L;
        for (std::uint32_t i = 0; i < n; ++i)
            distance += std::fabs(static_cast<long double>(limit.distribution[i]) - exact[i]);
        SCOPED_TRACE("chain " + std::to_string(round) + ": " + limit.method());
        EXPECT_TRUE(limit.converged);
        EXPECT_LE(static_cast<double>(distance), limit.errorEstimate + 1e-14);
        eliminated += limit.transientEliminated ? 1 : 0;
    }
    EXPECT_GE(eliminated, chains / 2);
}

TEST(GaussSeidel, ALongTimeInATransientComponentDoesNotHideItsFastStates) {
    // State 0 leaves at 1e-12 for a ring 1..40 run against the numbering (i to
    // i - 1 at 1, 1 to 40), which returns to 0 from state 1 at 1e-3 and leaks
    // into state 41 from state 20 and into state 42 from state 39, each at
    // 0.05. The times in the ring (about 1 each) are 1e-12 of state 0's, so
    // the sweeps' relative change says nothing of them: the values must still
    // be those of the folded limit, within the bound printed.
    const std::uint32_t ring = 40, n = ring + 3;
    std::vector<Transition> ts = {{0, 1, 1e-12}, {1, 0, 1e-3}, {1, ring, 1.0}};
    for (std::uint32_t k = 2; k <= ring; ++k)
        ts.push_back({k, k - 1, 1.0});
    ts.push_back({20, ring + 1, 0.05});
    ts.push_back({ring - 1, ring + 2, 0.05});
    gensolver::LimitOptions options;
    options.denseLimit = 4;
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), options);
    const std::vector<long double> exact =
        solvertest::foldedLimit(n, ts, ring + 1, {{ring + 1}, {ring + 2}});
    long double distance = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i)
        distance += std::fabs(static_cast<long double>(limit.distribution[i]) - exact[i]);
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_LE(limit.errorEstimate, 1e-12) << limit.method();
    EXPECT_LE(static_cast<double>(distance), limit.errorEstimate + 1e-15) << limit.method();
}

TEST(GaussSeidel, TransientRatesBeyondTheDenseRangeGoToTheSparseElimination) {
    // States 0, 1 and 2 transient: 0 goes to 1 at 1 and to 2 at 1e-200; 1
    // returns at 1 or ends in state 3 at 1; 2 returns at 1e200 or ends in state
    // 4 at 1. Folding state 2 into 0 divides 1e-200 by 1e200: the dense
    // elimination refuses, and the sparse one, which carries such a quotient
    // as a perturbation of 0's rates, answers: state 3 holds all but 1e-400.
    const std::uint32_t n = 5;
    const std::vector<Transition> ts = {{0, 1, 1.0}, {0, 2, 1e-200}, {1, 0, 1.0},
                                        {1, 3, 1.0}, {2, 0, 1e200},  {2, 4, 1.0}};
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), gensolver::LimitOptions{});
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_EQ(limit.method(),
              "direct elimination, then the times before a closed class by sparse elimination");
    EXPECT_LE(limit.errorEstimate, 1e-14);
    EXPECT_LE(std::fabs(limit.distribution[3] - 1.0) + limit.distribution[4],
              limit.errorEstimate + 1e-16);
    // A closed class out of range for the dense elimination is still refused.
    EXPECT_THROW(gensolver::solveLimit(gensolver::buildRateMatrix(2, {{0, 1, 1.5}, {1, 0, 1e-317}}),
                                       gensolver::LimitOptions{}),
                 gensolver::SolveError);
}

TEST(GaussSeidel, WavefrontSweepsGiveTheSameValuesOnAnyNumberOfThreads) {
    // Levels of up to 3,432 states, cut into parts of 1,024 that threads share:
    // two threads split the levels of four parts into two halves, three take
    // the parts one by one.
    const std::uint32_t n = 1u << 14;
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, hypercube(14, 51));
    gensolver::LimitOptions options = byWavefront();
    options.wavefrontRows = 1000;
    gensolver::setSharedThreads(1);
    const gensolver::Limit one = gensolver::solveLimit(m, options);
    EXPECT_TRUE(one.converged) << one.method();
    EXPECT_EQ(one.wavefrontLevels, 15u);
    for (const unsigned threads : {2u, 3u}) {
        gensolver::setSharedThreads(threads);
        const gensolver::Limit more = gensolver::solveLimit(m, options);
        EXPECT_EQ(one.sweeps, more.sweeps) << threads << " threads";
        for (std::uint32_t i = 0; i < n; ++i)
            ASSERT_EQ(one.distribution[i], more.distribution[i])
                << "state " << i << ", " << threads << " threads";
    }
    gensolver::setSharedThreads(0);
    // Its exit rates are sums of 14 of 32 rates, too many to divide into the
    // weights beforehand: the rows keep their exit rates. The values balance.
    double imbalance = 0.0;
    double flow = 0.0;
    for (std::uint32_t j = 0; j < n; ++j) {
        double in = 0.0;
        for (std::uint64_t e = m.start[j]; e < m.start[j + 1]; ++e)
            in += one.distribution[m.source[e]] * m.rate[e];
        imbalance += std::fabs(in - one.distribution[j] * m.exitRate[j]);
        flow += one.distribution[j] * m.exitRate[j];
    }
    EXPECT_LE(imbalance / flow, 1e-12);
}

} // namespace
