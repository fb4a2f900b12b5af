// Values until absorption against closed forms of standard reliability systems,
// a hand-derived reward and repair count, a dense long-double solve of random
// absorbing chains, and the cases in which absorption is not certain or cannot
// happen. Chains are written in gen's formats and read back.

#include "methods/Absorption.h"
#include "SolverTestSupport.h"
#include "methods/Measures.h"
#include "methods/SparseElimination.h"
#include "read/ModelReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>

namespace {

using gensolver::Result;
using gensolver::Solution;
using solvertest::Chain;

// One variable with a single time point at 0, so that only the absorption rows cost
// anything; its rate reward is given per state.
Chain chainOf(std::uint32_t states, std::vector<Chain::Arc> arcs, std::vector<double> reward = {},
              std::vector<double> impulse = {}) {
    Chain c;
    c.states = states;
    c.arcs = std::move(arcs);
    Chain::Variable v;
    v.name = "r";
    v.times = {{0.0, 0.0}};
    v.rate = reward.empty() ? std::vector<double>(states, 0.0) : std::move(reward);
    v.impulse = std::move(impulse);
    c.variables.push_back(v);
    return c;
}

Solution solveAbsorption(const Chain& chain,
                         gensolver::AbsorptionMethod method = gensolver::AbsorptionMethod::Auto) {
    testsupport::TempDir dir;
    solvertest::writeChain(dir.path() + "c", chain);
    gensolver::SolveOptions options;
    options.absorption = true;
    options.absorptionMethod = method;
    return gensolver::solve(gensolver::readModel(dir.path() + "c"), options);
}

const Result* find(const Solution& s, const std::string& name, bool untilAbsorption = true) {
    for (const Result& r : s.results)
        if (r.variable == name && r.untilAbsorption == untilAbsorption)
            return &r;
    return nullptr;
}

// The row's value is within `relative` of exact, and its bound covers its error.
void expectValue(const Solution& s, const std::string& name, long double exact,
                 double relative = 1e-9) {
    const Result* r = find(s, name);
    ASSERT_NE(r, nullptr) << name;
    const double e = static_cast<double>(exact);
    EXPECT_NEAR(r->value, e, relative * std::fabs(e)) << name << ": " << r->method;
    EXPECT_LE(std::fabs(r->value - e), r->bound + 4e-16L * std::fabs(exact)) << name;
    EXPECT_LE(r->bound, relative * std::fabs(e)) << name;
    EXPECT_EQ(r->type, gensolver::RewardType::IntervalOfTime);
}

// Two units in parallel (state 1: both up, 2: one up, 3: failed), with repair of
// the failed unit at mu when mu > 0.
Chain parallel(double lambda, double mu) {
    std::vector<Chain::Arc> arcs = {{1, 2, 2 * lambda}, {2, 3, lambda}};
    if (mu > 0.0)
        arcs.push_back({2, 1, mu});
    return chainOf(3, arcs);
}

TEST(Absorption, MeanTimeToFailureOfStandardSystemsMatchesTheirClosedForms) {
    const long double lambda = 0.25L, mu = 3.0L;
    expectValue(solveAbsorption(parallel(0.25, 0.0)), "time to absorption", 3.0L / (2 * lambda));
    expectValue(solveAbsorption(parallel(0.25, 3.0)), "time to absorption",
                (3 * lambda + mu) / (2 * lambda * lambda));
    // Cold standby: the spare starts when the first unit fails.
    expectValue(solveAbsorption(chainOf(3, {{1, 2, 0.25}, {2, 3, 0.25}})), "time to absorption",
                2.0L / lambda);
    // 3-out-of-7 without repair: state s has 8 - s units up; failure below 3 up.
    std::vector<Chain::Arc> arcs;
    long double exact = 0.0L;
    for (std::uint32_t up = 7; up >= 3; --up) {
        arcs.push_back({8 - up, 9 - up, up * 0.25});
        exact += 1.0L / (up * lambda);
    }
    expectValue(solveAbsorption(chainOf(6, arcs)), "time to absorption", exact);
}

// 2-out-of-n with one repairer, failure 1e-6 per unit and repair 1e3: a
// birth-death chain of n - 1 levels and the failed state, with its mean time to
// failure. Level s (1 = all up) is left downwards at d_s = (n - s + 1) lambda,
// upwards at mu for s > 1. Mean time to pass from level s to s + 1 is
// tau_s = (1 + mu tau_{s-1}) / d_s, and the mean time to failure is their sum.
struct TwoOutOfN {
    Chain chain;
    long double meanTime = 0.0L;
};

TwoOutOfN twoOutOfN(std::uint32_t n) {
    const std::uint32_t k = 2;
    const long double lambda = 1e-6L, mu = 1e3L;
    std::vector<Chain::Arc> arcs;
    for (std::uint32_t up = n; up >= k; --up) {
        const std::uint32_t s = n - up + 1;
        arcs.push_back({s, s + 1, up * 1e-6});
        if (up < n)
            arcs.push_back({s, s - 1, 1e3});
    }
    TwoOutOfN t;
    long double tau = 0.0L;
    for (std::uint32_t s = 1; s <= n - k + 1; ++s) {
        const long double d = (n - s + 1) * lambda;
        tau = (1.0L + (s > 1 ? mu * tau : 0.0L)) / d;
        t.meanTime += tau;
    }
    t.chain = chainOf(n - k + 2, arcs);
    return t;
}

TEST(Absorption, TheResidualsRefinementsAreCountedInTheMethod) {
    // Two units in parallel with repair: the residual, refined, bounds the mean
    // time more tightly than the roundings, and the method says how many
    // refinements that took (at least one: the first residual is that of the
    // solve in doubles).
    const Solution s = solveAbsorption(parallel(1e-3, 1.0));
    const Result* r = find(s, "time to absorption");
    ASSERT_NE(r, nullptr);
    const std::string prefix = "sparse elimination, ";
    ASSERT_EQ(r->method.rfind(prefix, 0), 0u) << r->method;
    EXPECT_GE(std::stoi(r->method.substr(prefix.size())), 1) << r->method;
    EXPECT_NE(r->method.find(" refinement"), std::string::npos) << r->method;
}

TEST(Absorption, StiffSystemsAreSolvedToFullAccuracy) {
    const long double lambda = 1e-6L, mu = 1e3L;
    expectValue(solveAbsorption(parallel(1e-6, 1e3)), "time to absorption",
                (3 * lambda + mu) / (2 * lambda * lambda));
    // 2-out-of-12: a mean time to failure beyond 1e80.
    const TwoOutOfN system = twoOutOfN(12);
    const Solution big = solveAbsorption(system.chain);
    const Result* r = find(big, "time to absorption");
    ASSERT_NE(r, nullptr);
    const double e = static_cast<double>(system.meanTime);
    EXPECT_NEAR(r->value / e, 1.0, 1e-9);
    EXPECT_LE(std::fabs(r->value - e), r->bound + 4e-16 * e);
}

TEST(Absorption, MeanTimesBeyondTheBoundsReachStillGiveANumberOrAnInfiniteBound) {
    // 2-out-of-n with n = 24 to 34: mean times to failure from near 1e195 to
    // beyond 1e280, where exit rate times mean time passes what the residual sums
    // resolve. The value stays right; the bound may only be infinite, never NaN.
    for (const std::uint32_t n : {24u, 30u, 32u, 34u}) {
        SCOPED_TRACE(n);
        const TwoOutOfN system = twoOutOfN(n);
        const Solution big = solveAbsorption(system.chain);
        for (const char* name : {"time to absorption", "r"}) {
            const Result* r = find(big, name);
            ASSERT_NE(r, nullptr) << name;
            EXPECT_FALSE(std::isnan(r->bound)) << name;
            EXPECT_GE(r->bound, 0.0) << name;
        }
        const Result* r = find(big, "time to absorption");
        EXPECT_NEAR(r->value / static_cast<double>(system.meanTime), 1.0, 1e-9);
    }
}

TEST(Absorption, MeanTimesBeyondTheResidualsReachAreBoundedByTheRoundingsOfTheElimination) {
    // From n = 20 (a mean time of 4e149) exit rate times mean time passes what the
    // residual sums resolve; the elimination, which never subtracts, still bounds
    // its error from its roundings, and that bound must cover the closed form.
    for (const std::uint32_t n : {20u, 24u, 30u, 34u}) {
        SCOPED_TRACE(n);
        const TwoOutOfN system = twoOutOfN(n);
        const Solution big = solveAbsorption(system.chain);
        const Result* r = find(big, "time to absorption");
        ASSERT_NE(r, nullptr);
        const long double exact = system.meanTime;
        EXPECT_EQ(r->method, "sparse elimination, bound from its rounding");
        EXPECT_TRUE(r->boundProven);
        EXPECT_LE(r->bound, 1e-12 * r->value);
        // The closed form's recursion in long double is good to about 1e-17.
        EXPECT_LE(std::fabs(r->value - exact), r->bound + 1e-16L * exact);
        const Result* zero = find(big, "r");
        ASSERT_NE(zero, nullptr);
        EXPECT_EQ(zero->value, 0.0);
        EXPECT_EQ(zero->bound, 0.0);
    }
}

TEST(Absorption, TimesBelowTheNormalRangeLeaveTheMeanTimeItsBound) {
    // 2-out-of-20 (a mean time to failure of 4e149) with an excursion from the
    // all-up state onto a path of 30 states, each going on at 1e-20 or back at
    // 1, the last failing: the times spent on the path fall from 1e129 to below
    // 1e-308, and the elimination's rates with them, while they move the mean
    // time by less than 1e-19 of itself. The bound must stay finite and cover
    // the closed form.
    TwoOutOfN system = twoOutOfN(20);
    const std::uint32_t failed = system.chain.states, path = 30;
    for (std::uint32_t k = 1; k <= path; ++k) {
        const std::uint32_t at = failed + k;
        system.chain.arcs.push_back({k == 1 ? 1 : at - 1, at, 1e-20});
        system.chain.arcs.push_back({at, k == 1 ? 1 : at - 1, 1.0});
    }
    system.chain.arcs.push_back({failed + path, failed, 1.0});
    system.chain.states += path;
    system.chain.variables.front().rate.assign(system.chain.states, 0.0);
    const Solution big = solveAbsorption(system.chain);
    const Result* r = find(big, "time to absorption");
    ASSERT_NE(r, nullptr);
    const long double exact = system.meanTime;
    EXPECT_TRUE(r->boundProven);
    EXPECT_LE(r->bound, 1e-12 * r->value) << r->method;
    EXPECT_LE(std::fabs(r->value - exact), r->bound + 1e-16L * exact);
}

// State 0 goes to 1 at 1e-200 and leaves T (state 2) at 1; state 1 leaves at
// 1e200: the time spent in 1 is 1e-400, below the doubles.
gensolver::RateMatrix timeBelowTheNormalRange() {
    return gensolver::buildRateMatrix(3, {{0, 2, 1.0}, {0, 1, 1e-200}, {1, 2, 1e200}});
}

TEST(Absorption, AnExpectedTimeBelowTheNormalRangeHasNoRelativeBound) {
    // State 0 goes to 1 at 1e-200 and leaves T at 1; state 1 leaves at 1e200. The
    // time spent in 1, 1e-400, is no double: its entry must not claim a relative
    // error bound, while state 0's keeps one.
    const gensolver::RateMatrix m = timeBelowTheNormalRange();
    const gensolver::SparseElimination lu(m, {0, 1}, {0, 1, UINT32_MAX});
    std::vector<double> x = {1.0, 0.0};
    std::vector<std::uint32_t> counts(2, 0);
    lu.solveLeft(x, counts);
    EXPECT_EQ(x[1], 0.0);
    EXPECT_TRUE(std::isinf(lu.relativeError(counts[1])));
    EXPECT_LE(lu.relativeError(counts[0]), 1e-14);
    EXPECT_NEAR(x[0], 1.0, 1e-15);
}

TEST(Absorption, ResultsBelowTheNormalRangeCarryTheirErrorAbsolutely) {
    // The chain above, solved with the errors below the normal range carried:
    // state 1's entry, 0 where the exact value is 1e-400, has an absolute bound
    // that covers that and no more than a few of the smallest doubles, and
    // state 0's relative bound stands.
    const gensolver::RateMatrix m = timeBelowTheNormalRange();
    const gensolver::SparseElimination lu(m, {0, 1}, {0, 1, UINT32_MAX});
    std::vector<double> x = {1.0, 0.0};
    std::vector<std::uint32_t> counts(2, 0);
    std::vector<double> absolute;
    lu.solveLeft(x, counts, absolute);
    EXPECT_EQ(x[1], 0.0);
    EXPECT_GT(absolute[1], 0.0);
    EXPECT_LE(absolute[1], 0x1p-1070);
    EXPECT_LE(lu.relativeErrorBesideSlack(counts[1]), 1e-14);
    EXPECT_LE(lu.relativeErrorBesideSlack(counts[0]), 1e-14);
    EXPECT_NEAR(x[0], 1.0, 1e-15);
    EXPECT_LE(absolute[0], 0x1p-1070);

    // Eliminated from its far end, a path whose states go on at 1e-20 or back at
    // 1 hands its start rates of 1e-20, 1e-40, ... out of it: below the normal
    // range they are kept as perturbations of the rates, not relative errors.
    const std::uint32_t length = 20;
    std::vector<gensolver::Transition> ts;
    for (std::uint32_t k = 0; k < length; ++k) {
        ts.push_back({k, k + 1, k + 1 < length ? 1e-20 : 1.0});
        if (k > 0)
            ts.push_back({k, k - 1, 1.0});
    }
    ts.push_back({0, length + 1, 1.0});
    const gensolver::RateMatrix p = gensolver::buildRateMatrix(length + 2, ts);
    std::vector<std::uint32_t> states, local(length + 2, UINT32_MAX);
    for (std::uint32_t k = length; k-- > 0;) {
        local[k] = static_cast<std::uint32_t>(states.size());
        states.push_back(k);
    }
    const gensolver::SparseElimination far(p, states, local);
    double slack = 0.0;
    for (const double a : far.slack())
        slack += a;
    EXPECT_GT(slack, 0.0);
    EXPECT_LE(slack, 0x1p-1060);
    EXPECT_TRUE(std::isinf(far.relativeError(0)));
    EXPECT_LE(far.relativeErrorBesideSlack(0), 1e-13);
}

TEST(Absorption, RewardsAndRepairsUntilFailureMatchTheHandDerivation) {
    // Parallel with repair: x2 lambda = 1 (failure leaves state 2 once), so the
    // times spent are x2 = 1 / lambda and x1 = (1 + mu x2) / (2 lambda). Units up
    // earn 2 x1 + x2; repairs (impulse 1 into state 1) number mu x2; the failure
    // itself (impulse 5 into state 3) counts once, at absorption.
    const long double lambda = 0.5L, mu = 4.0L;
    const long double x2 = 1.0L / lambda, x1 = (1.0L + mu * x2) / (2 * lambda);
    Chain c = parallel(0.5, 4.0);
    c.variables[0].rate = {2.0, 1.0, 7.0}; // the failed state's reward is never earned
    Chain::Variable repairs = c.variables[0];
    repairs.name = "repairs";
    repairs.rate = {0.0, 0.0, 0.0};
    repairs.impulse = {1.0, 0.0, 5.0};
    c.variables.push_back(repairs);
    const Solution s = solveAbsorption(c);
    expectValue(s, "r", 2 * x1 + x2, 1e-13);
    expectValue(s, "repairs", mu * x2 + 5.0L, 1e-13);
    expectValue(s, "time to absorption", x1 + x2, 1e-13);
    EXPECT_TRUE(s.absorptionNotice.empty());
}

// A random absorbing chain of 30 states (state 30 absorbing, every other one
// leaks to it) with a random reward, and its values from a dense long-double
// solve of x (-Q_TT) = e_1.
struct RandomAbsorbing {
    Chain chain;
    long double time = 0.0L, earned = 0.0L;
};

RandomAbsorbing randomAbsorbing(unsigned seed) {
    const std::uint32_t n = 30;
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> rate(0.1, 5.0);
    std::uniform_int_distribution<std::uint32_t> pick(1, n - 1);
    std::vector<Chain::Arc> arcs;
    for (std::uint32_t i = 1; i < n; ++i)
        arcs.push_back({i, n, rate(gen) * 1e-3});
    for (std::uint32_t a = 0; a < 4 * n; ++a)
        arcs.push_back({pick(gen), pick(gen), rate(gen)});
    std::vector<double> reward(n);
    for (double& w : reward)
        w = rate(gen) - 2.0;
    RandomAbsorbing r;
    r.chain = chainOf(n, arcs, reward);
    const solvertest::Dense q = solvertest::generator(r.chain);
    solvertest::Dense a(n - 1, std::vector<long double>(n - 1));
    for (std::uint32_t i = 0; i + 1 < n; ++i)
        for (std::uint32_t j = 0; j + 1 < n; ++j)
            a[i][j] = -q[i][j];
    std::vector<long double> b(n - 1, 0.0L);
    b[0] = 1.0L;
    const std::vector<long double> x = solvertest::solveLeft(a, b);
    for (std::uint32_t j = 0; j + 1 < n; ++j) {
        r.time += x[j];
        r.earned += x[j] * reward[j];
    }
    return r;
}

// The dense oracle solves in long double; Valgrind computes long double in
// double precision, so under it the oracle is no longer the more accurate side.
bool underValgrind() {
    const char* preload = std::getenv("LD_PRELOAD");
    return preload != nullptr && std::strstr(preload, "vgpreload") != nullptr;
}

void expectRandomChainsMatch(gensolver::AbsorptionMethod method, const std::string& prefix) {
    for (const unsigned seed : {4u, 5u, 6u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomAbsorbing c = randomAbsorbing(seed);
        const double tolerance = solvertest::extendedPrecision() ? 1e-12 : 1e-9;
        const Solution s = solveAbsorption(c.chain, method);
        expectValue(s, "time to absorption", c.time, tolerance);
        const Result* r = find(s, "r");
        ASSERT_NE(r, nullptr);
        EXPECT_EQ(r->method.rfind(prefix, 0), 0u) << r->method;
        EXPECT_NEAR(r->value, static_cast<double>(c.earned),
                    tolerance * static_cast<double>(c.time));
    }
}

TEST(Absorption, RandomChainsMatchADenseSolveWithinTheirBounds) {
    if (underValgrind())
        GTEST_SKIP() << "Valgrind has no extended precision for the long-double oracle";
    expectRandomChainsMatch(gensolver::AbsorptionMethod::Auto, "sparse elimination");
}

TEST(Absorption, TheIterativeSolvesMatchADenseSolveWithinTheirBounds) {
    if (underValgrind())
        GTEST_SKIP() << "Valgrind has no extended precision for the long-double oracle";
    expectRandomChainsMatch(gensolver::AbsorptionMethod::Iterative, "BiCGSTAB+ILU(0), ");
}

// A cube of side `side`: a point moves up each axis at up[axis] and down at
// down[axis] (stiff where they differ by orders), and the far corner absorbs.
// With trap > 0 the point at the cube's centre also leaves at that rate for a
// closed pair of states, so that absorption is not certain.
std::vector<gensolver::Transition> cubeTransitions(std::uint32_t side, const double (&up)[3],
                                                   const double (&down)[3], double trap,
                                                   std::uint32_t& states) {
    const std::uint32_t n = side * side * side;
    std::vector<gensolver::Transition> ts;
    for (std::uint32_t s = 0; s + 1 < n; ++s) {
        const std::uint32_t coordinate[3] = {s % side, s / side % side, s / (side * side)};
        const std::uint32_t stride[3] = {1, side, side * side};
        for (int axis = 0; axis < 3; ++axis) {
            if (coordinate[axis] + 1 < side)
                ts.push_back({s, s + stride[axis], up[axis]});
            if (coordinate[axis] > 0)
                ts.push_back({s, s - stride[axis], down[axis]});
        }
    }
    if (trap > 0.0) {
        const std::uint32_t centre = (side / 2) * (1 + side + side * side);
        ts.push_back({centre, n, trap});
        ts.push_back({n, n + 1, 1.0});
        ts.push_back({n + 1, n, 2.0});
    }
    states = trap > 0.0 ? n + 2 : n;
    return ts;
}

gensolver::RateMatrix cube(std::uint32_t side, const double (&up)[3], const double (&down)[3],
                           double trap = 0.0) {
    std::uint32_t n = 0;
    const std::vector<gensolver::Transition> ts = cubeTransitions(side, up, down, trap, n);
    return gensolver::buildRateMatrix(n, ts);
}

double meanTime(const gensolver::Absorption& a, double& bound) {
    return a.accumulated(std::vector<double>(a.time.size(), 1.0), bound);
}

TEST(Absorption, WhereTheEliminationWouldFillBeyondItsBudgetTheIterativeSolvesAnswer) {
    // A cube of 1,728 states, with the elimination allowed 2,000 entries: Auto
    // turns to BiCGSTAB, whose values agree with the elimination's to their
    // bounds, and bound them to 1e-12 relative. With a trap beside the
    // absorbing corner, the probability of absorption does the same.
    using gensolver::AbsorptionBound;
    using gensolver::AbsorptionMethod;
    gensolver::EliminationBudget small;
    small.fill = 2000;
    for (const double trap : {0.0, 0.05}) {
        SCOPED_TRACE("trap " + std::to_string(trap));
        const gensolver::RateMatrix m = cube(12, {1.0, 2.0, 0.5}, {0.7, 1.5, 0.4}, trap);
        const gensolver::Absorption iterative = gensolver::solveAbsorption(
            m, {}, small, true, AbsorptionBound::Times, AbsorptionMethod::Auto);
        const gensolver::Absorption eliminated = gensolver::solveAbsorption(m);
        EXPECT_TRUE(iterative.iterative) << iterative.method();
        EXPECT_FALSE(eliminated.iterative) << eliminated.method();
        EXPECT_EQ(iterative.method().rfind("BiCGSTAB+ILU(0), ", 0), 0u) << iterative.method();
        double b1 = 0.0, b2 = 0.0;
        const double t1 = meanTime(iterative, b1), t2 = meanTime(eliminated, b2);
        EXPECT_LE(std::fabs(t1 - t2), b1 + b2 + 4e-16 * t2) << t1 << " " << t2;
        EXPECT_LE(b1, 1e-12 * t1);
        EXPECT_GT(t1, 0.0);
        if (trap > 0.0) {
            EXPECT_EQ(iterative.outcome, gensolver::Absorption::Outcome::NotCertain);
            EXPECT_LE(std::fabs(iterative.probability - eliminated.probability),
                      iterative.probabilityBound + eliminated.probabilityBound + 4e-16);
            EXPECT_LE(iterative.probabilityBound, 1e-12);
            EXPECT_LT(iterative.probability, 1.0);
        }
    }
}

TEST(Absorption, UnitsFailingWithoutRepairAreEliminatedInTheirOwnOrderWithoutFill) {
    // Ten units failing independently, never repaired, a state per set of
    // failed units (numbered by its bits: every failure leads to a higher
    // number), absorbed when all have failed. In the state order nothing fills
    // in, so the factors hold exactly the transitions between the 1,023
    // transient states, and the mean time to absorption is that of the last
    // failure: the integral of 1 - prod(1 - e^(-l_i t)), by inclusion and
    // exclusion over the sets of units.
    const std::uint32_t units = 10, n = 1u << units;
    std::vector<double> rate(units);
    for (std::uint32_t i = 0; i < units; ++i)
        rate[i] = 1.0 + 0.37 * i;
    std::vector<gensolver::Transition> ts;
    std::uint64_t between = 0;
    for (std::uint32_t s = 0; s + 1 < n; ++s)
        for (std::uint32_t i = 0; i < units; ++i)
            if ((s >> i & 1u) == 0) {
                ts.push_back({s, s | (1u << i), rate[i]});
                between += (s | (1u << i)) + 1 < n ? 1 : 0;
            }
    long double exact = 0.0L;
    for (std::uint32_t set = 1; set < n; ++set) {
        long double sum = 0.0L;
        for (std::uint32_t i = 0; i < units; ++i)
            if (set >> i & 1u)
                sum += rate[i];
        exact += (__builtin_popcount(set) % 2 == 1 ? 1.0L : -1.0L) / sum;
    }
    const gensolver::RateMatrix m = gensolver::buildRateMatrix(n, ts);
    for (const auto method :
         {gensolver::AbsorptionMethod::Auto, gensolver::AbsorptionMethod::Elimination}) {
        const gensolver::Absorption a = gensolver::solveAbsorption(m, method);
        EXPECT_FALSE(a.iterative) << a.method();
        EXPECT_EQ(a.factorSize, between);
        double bound = 0.0;
        const double time = meanTime(a, bound);
        EXPECT_LE(std::fabs(time - static_cast<double>(exact)), bound + 4e-16L * std::fabs(exact))
            << time;
        EXPECT_LE(bound, 1e-12 * time);
    }
}

TEST(Absorption, IterativeSolvesThatMissTheirBoundGiveWayToTheElimination) {
    // A stiff cube: drift away from the absorbing corner at 10 against 0.1
    // towards it along two axes, a mean time of some 5e23. Forced, the
    // iterative solves still bound their error honestly; under Auto, where
    // they miss 1e-12, the elimination is run within the caller's budget, here
    // too small: it throws rather than give the looser values.
    using gensolver::AbsorptionBound;
    using gensolver::AbsorptionMethod;
    const gensolver::RateMatrix m = cube(6, {0.1, 0.1, 0.1}, {10.0, 10.0, 1.0});
    const gensolver::Absorption eliminated = gensolver::solveAbsorption(m);
    const gensolver::Absorption forced = gensolver::solveAbsorption(m, AbsorptionMethod::Iterative);
    double be = 0.0, bf = 0.0;
    const double te = meanTime(eliminated, be), tf = meanTime(forced, bf);
    EXPECT_LE(be, 1e-9 * te);
    EXPECT_LE(std::fabs(tf - te), bf + be + 4e-16 * te) << tf << " " << te;
    if (bf > 1e-12 * tf) {
        gensolver::EliminationBudget small;
        small.fill = 10;
        EXPECT_THROW(gensolver::solveAbsorption(m, {}, small, true, AbsorptionBound::Times,
                                                AbsorptionMethod::Auto),
                     gensolver::EliminationOverBudget);
    } else {
        ADD_FAILURE() << "the stiff cube no longer defeats the iterative solves: " << bf / tf;
    }
}

TEST(Absorption, WhereTheIterativeSolvesFindNoBoundTheValuesAreRefusedNamingTheElimination) {
    // The cube drifting away from its absorbing corner at 1e3 against 1e-3: the
    // forced iterative solves leave the mean time (some 1e59) without a finite
    // bound, and gen-solve refuses it rather than print it; by default the
    // elimination answers.
    std::uint32_t n = 0;
    std::vector<Chain::Arc> arcs;
    for (const gensolver::Transition& t :
         cubeTransitions(6, {1e-3, 1e-3, 1e-3}, {1e3, 1e3, 1.0}, 0.0, n))
        arcs.push_back({t.from + 1, t.to + 1, t.rate});
    const Chain c = chainOf(n, arcs);
    try {
        solveAbsorption(c, gensolver::AbsorptionMethod::Iterative);
        ADD_FAILURE() << "no refusal";
    } catch (const gensolver::SolveError& e) {
        EXPECT_STREQ(e.what(), "variable time to absorption: its error bound until absorption is "
                               "not finite: the iterative solves found none on this chain (the "
                               "elimination, --absorption-method elimination, may); no value is "
                               "printed");
    }
    const Solution s = solveAbsorption(c);
    const Result* r = find(s, "time to absorption");
    ASSERT_NE(r, nullptr);
    EXPECT_GT(r->value, 1e50);
    EXPECT_LE(r->bound, 1e-9 * r->value) << r->method;
}

TEST(Absorption, AMeanTimeBeyondTheRangeOfADoubleIsRefusedNamingTheRow) {
    // Units fail one at a time at rate 1 and are repaired at 1e12; the 30th
    // failure absorbs. The mean time is some 1e348 hours: no double holds it,
    // and the solve stops rather than print infinity or NaN.
    std::vector<Chain::Arc> arcs;
    for (std::uint32_t k = 1; k <= 30; ++k) {
        arcs.push_back({k, k + 1, 1.0});
        if (k > 1)
            arcs.push_back({k, k - 1, 1e12});
    }
    try {
        solveAbsorption(chainOf(31, arcs));
        ADD_FAILURE() << "no refusal";
    } catch (const gensolver::SolveError& e) {
        EXPECT_STREQ(e.what(), "variable time to absorption: its value until absorption is not "
                               "finite (the chain's rates or rewards span beyond the range of a "
                               "double); no value is printed");
    }
}

TEST(Absorption, UncertainOrImpossibleAbsorptionIsRefusedWithItsProbability) {
    // 1 <-> 2 -> 5 (absorbing), 1 -> 3 <-> 4 (a closed class). From 1 the chain
    // moves to 2 w.p. a/(a+b); from 2 it is absorbed w.p. f/(e+f), else back to 1:
    // P = a f / ((a + b)(e + f) - a e) = 2 / (3 * 4 - 6) = 1/3.
    const Solution s = solveAbsorption(
        chainOf(5, {{1, 2, 2.0}, {1, 3, 1.0}, {2, 1, 3.0}, {2, 5, 1.0}, {3, 4, 1.0}, {4, 3, 2.0}}));
    const Result* p = find(s, "absorption probability", false);
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(p->longRun);
    EXPECT_NEAR(p->value, 1.0 / 3.0, 1e-15);
    EXPECT_LE(std::fabs(p->value - 1.0 / 3.0), p->bound + 1e-16);
    EXPECT_LE(p->bound, 1e-14);
    EXPECT_EQ(find(s, "time to absorption"), nullptr);
    EXPECT_EQ(find(s, "r"), nullptr);
    EXPECT_NE(s.absorptionNotice.find("not certain"), std::string::npos) << s.absorptionNotice;
    EXPECT_NE(s.absorptionNotice.find("probability 0.333333333333333"), std::string::npos)
        << s.absorptionNotice;

    // An irreducible chain is never absorbed.
    const Solution never = solveAbsorption(chainOf(2, {{1, 2, 1.0}, {2, 1, 1.0}}));
    const Result* q = find(never, "absorption probability", false);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(q->value, 0.0);
    EXPECT_EQ(find(never, "time to absorption"), nullptr);
    EXPECT_NE(never.absorptionNotice.find("no absorbing state"), std::string::npos);

    // Started in an absorbing state: absorbed at once, nothing earned.
    const Solution at = solveAbsorption(chainOf(2, {{2, 1, 1.0}}, {3.0, 1.0}));
    expectValue(at, "time to absorption", 0.0L);
    expectValue(at, "r", 0.0L);
    // The same where state 1 lists a transition of rate 0 into states that are
    // absorbed later: it leads nowhere, and state 1 is still absorbing.
    const Solution listed =
        solveAbsorption(chainOf(3, {{1, 2, 0.0}, {2, 3, 1.0}}, {3.0, 1.0, 1.0}));
    expectValue(listed, "time to absorption", 0.0L);
    expectValue(listed, "r", 0.0L);
}

} // namespace
