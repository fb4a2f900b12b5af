// The solver's values against independent methods: a dense matrix exponential
// (transient and accumulated measures), a direct linear solve (limits), and closed
// forms (birth-death chains). Chains are written in gen's formats and read back,
// so every test goes through the readers as well.

#include "SolverTestSupport.h"
#include "methods/Measures.h"
#include "read/ModelReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

using gensolver::Result;
using gensolver::SolveOptions;
using solvertest::Chain;
using solvertest::Dense;

std::vector<Result> solveChain(const Chain& chain, const SolveOptions& options = {}) {
    testsupport::TempDir dir;
    solvertest::writeChain(dir.path() + "c", chain);
    const gensolver::Model model = gensolver::readModel(dir.path() + "c");
    return gensolver::solve(model, options).results;
}

// A random chain of n states in which every state reaches every other (a ring
// plus random arcs), with rate rewards and impulses; self-loops included.
Chain randomChain(std::uint32_t n, unsigned seed, bool ring = true) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> rate(0.1, 5.0);
    std::uniform_int_distribution<std::uint32_t> pick(1, n);
    Chain c;
    c.states = n;
    for (std::uint32_t i = 1; ring && i <= n; ++i)
        c.arcs.push_back({i, i % n + 1, rate(gen)});
    for (std::uint32_t k = 0; k < 2 * n; ++k)
        c.arcs.push_back({pick(gen), pick(gen), rate(gen)});
    Chain::Variable v;
    v.name = "x";
    for (std::uint32_t i = 0; i < n; ++i) {
        v.rate.push_back(rate(gen) - 2.0);
        v.impulse.push_back(rate(gen));
    }
    c.variables.push_back(v);
    return c;
}

// e1 exp(Q t) . r, and e1 times the integral over [0, t] of exp(Q u) (r + rho) du from
// the exponential of the block matrix [[Q, g], [0, 0]], whose top-right column is
// that integral.
long double instant(const Chain& c, const std::vector<double>& r, long double t) {
    const Dense e = solvertest::expm(solvertest::generator(c), t);
    long double s = 0.0L;
    for (std::uint32_t j = 0; j < c.states; ++j)
        s += e[0][j] * r[j];
    return s;
}

long double accumulated(const Chain& c, const Chain::Variable& v, long double t) {
    const std::uint32_t n = c.states;
    const Dense q = solvertest::generator(c);
    const std::vector<long double> rho = solvertest::impulseRate(c, v.impulse);
    Dense m(n + 1, std::vector<long double>(n + 1, 0.0L));
    for (std::uint32_t i = 0; i < n; ++i) {
        for (std::uint32_t j = 0; j < n; ++j)
            m[i][j] = q[i][j];
        m[i][n] = v.rate[i] + rho[i];
    }
    return solvertest::expm(m, t)[0][n];
}

// pi Q = 0 with sum pi = 1 over a closed set of states (numbered from 1).
std::vector<long double> stationary(const Chain& c) {
    Dense q = solvertest::generator(c);
    for (auto& row : q)
        row.back() = 1.0L;
    std::vector<long double> b(c.states, 0.0L);
    b.back() = 1.0L;
    return solvertest::solveLeft(q, b);
}

void expectClose(double value, long double exact, double relative, const Result& r) {
    const double tolerance = relative * std::max(1.0, std::fabs(static_cast<double>(exact)));
    EXPECT_NEAR(value, static_cast<double>(exact), tolerance)
        << r.variable << " type " << static_cast<int>(r.type) << " [" << r.start << ", " << r.stop
        << "] " << r.method;
}

// The chain's one long-run measure, solved directly and by Gauss-Seidel (a dense
// limit of 1 leaves every class of more than one state to the iteration): both
// within `relative` of exact, and which method was used is said.
void expectBothLimitMethodsClose(const Chain& c, long double exact, double relative) {
    for (const std::uint32_t denseLimit : {1000u, 1u}) {
        SolveOptions options;
        options.limit.denseLimit = denseLimit;
        const std::vector<Result> results = solveChain(c, options);
        ASSERT_EQ(results.size(), 1u);
        expectClose(results[0].value, exact, relative, results[0]);
        EXPECT_TRUE(results[0].converged);
        EXPECT_EQ(results[0].method.find("Gauss-Seidel") != std::string::npos, denseLimit == 1u)
            << results[0].method;
    }
}

TEST(SolverMethods, TransientAndAccumulatedMeasuresMatchTheMatrixExponential) {
    for (const unsigned seed : {1u, 2u, 3u}) {
        Chain c = randomChain(6, seed);
        const Chain::Variable base = c.variables[0];
        const std::vector<std::pair<double, double>> intervals = {
            {0.0, 0.7}, {0.3, 2.5}, {1.0, 6.0}};
        c.variables.clear();
        for (const int type : {0, 1, 2}) {
            Chain::Variable v = base;
            v.name = {'t', static_cast<char>('0' + type)};
            v.type = type;
            v.times =
                type == 0
                    ? std::vector<std::pair<double, double>>{{0.0, 0.0}, {0.7, 0.7}, {6.0, 6.0}}
                    : intervals;
            c.variables.push_back(v);
        }
        for (const Result& r : solveChain(c)) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            long double exact;
            if (r.type == gensolver::RewardType::InstantOfTime) {
                exact = instant(c, base.rate, r.start);
            } else {
                exact = accumulated(c, base, r.stop) - accumulated(c, base, r.start);
                if (r.type == gensolver::RewardType::TimeAveragedInterval)
                    exact /= r.stop - r.start;
            }
            expectClose(r.value, exact, 1e-10, r);
            EXPECT_LE(std::fabs(r.value - static_cast<double>(exact)), r.bound + 1e-13);
            EXPECT_TRUE(r.boundProven);
        }
    }
}

TEST(SolverMethods, LimitsMatchADirectSolve) {
    // Irreducible chains, solved directly (small) and by Gauss-Seidel (dense limit 1),
    // and a periodic cycle, whose powers never settle but whose limit is uniform.
    Chain cycle;
    cycle.states = 3;
    cycle.arcs = {{1, 2, 1.0}, {2, 3, 1.0}, {3, 1, 1.0}};
    cycle.variables.push_back({"x", 3, {{0.0, 0.0}}, {1.0, 2.0, 6.0}, {}});
    std::vector<Chain> chains = {cycle, randomChain(7, 11), randomChain(9, 12)};
    for (Chain& c : chains) {
        c.variables[0].type = 3;
        c.variables[0].times = {{0.0, 0.0}};
        const std::vector<long double> pi = stationary(c);
        const std::vector<long double> rho = solvertest::impulseRate(c, c.variables[0].impulse);
        long double exact = 0.0L;
        for (std::uint32_t j = 0; j < c.states; ++j)
            exact += pi[j] * (c.variables[0].rate[j] + rho[j]);
        expectBothLimitMethodsClose(c, exact, 1e-10);
    }
}

TEST(SolverMethods, LimitWithTwoAbsorbingClassesWeighsEachByItsReachProbability) {
    // 1 and 2 form a transient class that leaks into 3 (transient, alone); the closed
    // classes are {4, 5} (a two-state cycle) and {6} (absorbing: its rate of 0 to 7
    // is no transition). 7 is never reached.
    Chain c;
    c.states = 7;
    c.arcs = {{1, 2, 3.0}, {2, 1, 1.0}, {1, 3, 0.5},   {2, 4, 0.25}, {3, 4, 2.0}, {3, 6, 1.0},
              {4, 5, 1.0}, {5, 4, 4.0}, {2, 6, 0.125}, {7, 6, 1.0},  {6, 7, 0.0}};
    c.variables.push_back({"x", 3, {{0.0, 0.0}}, {9, 9, 9, 10.0, 20.0, 1.0, 9}, {}});
    // Expected time z in the transient states 1..3: z (-Q_TT) = e1.
    const Dense q = solvertest::generator(c);
    Dense qtt(3, std::vector<long double>(3));
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            qtt[i][j] = -q[i][j];
    const std::vector<long double> z = solvertest::solveLeft(qtt, {1.0L, 0.0L, 0.0L});
    const long double toA = z[1] * 0.25L + z[2] * 2.0L;  // into {4, 5}
    const long double toB = z[1] * 0.125L + z[2] * 1.0L; // into {6}
    EXPECT_NEAR(static_cast<double>(toA + toB), 1.0, 1e-15);
    // Stationary in {4, 5}: 4 -> 5 at 1, 5 -> 4 at 4: (0.8, 0.2).
    const long double exact = toA * (0.8L * 10.0L + 0.2L * 20.0L) + toB * 1.0L;
    expectBothLimitMethodsClose(c, exact, 1e-10);
    // Uniformization at a large time comes to the same limit by detecting it.
    c.variables[0].type = 0;
    c.variables[0].times = {{1e6, 1e6}};
    SolveOptions uniformization;
    uniformization.transient.method = gensolver::TransientChoice::Uniformization;
    const std::vector<Result> late = solveChain(c, uniformization);
    expectClose(late[0].value, exact, 1e-10, late[0]);
    EXPECT_TRUE(late[0].steadyState) << late[0].method;
    EXPECT_LT(late[0].iterations, 100000u);
}

// A ring of 40 transient states that leaks, at rate `leak`, from its odd states
// into the closed class {41, 42} (41 -> 42 at 1, 42 -> 41 at 3: 3/4 and 1/4)
// and from its even ones into the absorbing state 43. "same" earns 2 and 6 on
// the class (3 on average) and 3 on 43, so its long-run value is 3 whichever
// class is reached; "split" earns 1 on the class and 0 on 43.
Chain leakingRing(std::vector<gensolver::Transition>& ts, double leak = 1e-3) {
    Chain c;
    c.states = 43;
    for (std::uint32_t i = 1; i <= 40; ++i) {
        c.arcs.push_back({i, i % 40 + 1, 1.0});
        c.arcs.push_back({i, i % 2 == 1 ? 41u : 43u, leak});
    }
    c.arcs.push_back({41, 42, 1.0});
    c.arcs.push_back({42, 41, 3.0});
    for (const Chain::Arc& a : c.arcs)
        ts.push_back({a.from - 1, a.to - 1, a.rate});
    std::vector<double> same(43, 5.0), split(43, 0.5);
    same[40] = 2.0;
    same[41] = 6.0;
    same[42] = 3.0;
    split[40] = split[41] = 1.0;
    split[42] = 0.0;
    c.variables.push_back({"same", 0, {{1.0, 1.0}}, same, {}});
    c.variables.push_back({"split", 3, {{0.0, 0.0}}, split, {}});
    return c;
}

TEST(SolverMethods, LongRunValuesEqualOnEveryClassReachedNeedNotTheProbabilitiesOfReachingThem) {
    std::vector<gensolver::Transition> ts;
    Chain c = leakingRing(ts);
    const std::vector<long double> limit = solvertest::foldedLimit(43, ts, 40, {{40, 41}, {42}});
    const long double splitExact = limit[40] + limit[41];
    // The sweeps of the ring's times are allowed 20 sweeps, far too few. With
    // "split" asked too the probabilities count, and are solved; without it
    // they are not needed, and the value is exact and said to be so.
    SolveOptions hopeless;
    hopeless.longRun = true;
    hopeless.limit.denseLimit = 1;
    hopeless.limit.maxSweeps = 20;
    for (const bool withSplit : {true, false}) {
        SCOPED_TRACE(withSplit ? "with split" : "same alone");
        Chain asked = c;
        if (!withSplit)
            asked.variables.pop_back();
        for (const SolveOptions& options : {SolveOptions{hopeless}, SolveOptions{}}) {
            SolveOptions o = options;
            o.longRun = true;
            const std::vector<Result> results = solveChain(asked, o);
            ASSERT_EQ(results.size(), withSplit ? 3u : 2u);
            const Result& same = results[1];
            ASSERT_TRUE(same.longRun);
            const bool skipped = same.method.find("not needed") != std::string::npos;
            EXPECT_EQ(skipped, !withSplit) << same.method;
            if (skipped) {
                EXPECT_TRUE(same.converged) << same.method;
                EXPECT_NEAR(same.value, 3.0, 1e-15);
                EXPECT_LE(same.bound, 1e-13);
            } else if (same.converged) {
                expectClose(same.value, 3.0L, 1e-10, same);
                expectClose(results[2].value, splitExact, 1e-10, results[2]);
            }
        }
    }
    // A leak below the normal range of a double: the times before absorption
    // (about 1e320) are beyond a double, but every absorbing state is a
    // failure earning 0, so the long-run reliability is 0 exactly, with no
    // need to solve them.
    Chain slow;
    slow.states = 4;
    slow.arcs = {{1, 2, 1.0}, {2, 1, 1.0}, {1, 3, 1e-320}, {2, 4, 1e-320}};
    slow.variables.push_back({"reliability", 3, {{0.0, 0.0}}, {1.0, 1.0, 0.0, 0.0}, {}});
    const std::vector<Result> failed = solveChain(slow);
    ASSERT_EQ(failed.size(), 1u);
    EXPECT_EQ(failed[0].value, 0.0) << failed[0].method;
    EXPECT_TRUE(failed[0].converged) << failed[0].method;
    EXPECT_LE(failed[0].bound, 1e-15);
    // With one closed class to reach it is reached with probability 1, for
    // steady-state detection too: no variable's values need to agree.
    slow.arcs.back().to = 3;
    slow.variables[0].rate = {1.0, 0.5, 7.0, 0.0};
    const std::vector<Result> one = solveChain(slow);
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].value, 7.0) << one[0].method;
    EXPECT_TRUE(one[0].converged) << one[0].method;
    EXPECT_LE(one[0].bound, 1e-15);
    EXPECT_EQ(one[0].method, "limit, direct elimination");
    // A grid of 1,600 transient states leaking at 1e-6 into two absorbing
    // states: the probabilities of reaching them come out with an estimate
    // near 7e-13, above the 1e-13 asked. The long-run reliability, 0 on both,
    // does not depend on them and stands; the chance of ending in the first
    // does, and is marked.
    Chain grid;
    constexpr std::uint32_t side = 40;
    grid.states = side * side + 2;
    std::mt19937 random(3);
    std::uniform_real_distribution<double> exponent(-1.0, 1.0);
    auto gridRate = [&] { return std::pow(10.0, exponent(random)); };
    for (std::uint32_t x = 0; x < side; ++x)
        for (std::uint32_t y = 0; y < side; ++y) {
            const std::uint32_t i = x * side + y + 1;
            if (x + 1 < side) {
                grid.arcs.push_back({i, i + side, gridRate()});
                grid.arcs.push_back({i + side, i, gridRate()});
            }
            if (y + 1 < side) {
                grid.arcs.push_back({i, i + 1, gridRate()});
                grid.arcs.push_back({i + 1, i, gridRate()});
            }
            grid.arcs.push_back({i, side * side + 1 + (x + y) % 2, 1e-6});
        }
    std::vector<double> up(grid.states, 1.0), first(grid.states, 0.0);
    up[side * side] = up[side * side + 1] = 0.0;
    first[side * side] = 1.0;
    grid.variables.push_back({"reliability", 3, {{0.0, 0.0}}, up, {}});
    grid.variables.push_back({"first", 3, {{0.0, 0.0}}, first, {}});
    SolveOptions tight;
    tight.limit.tolerance = 1e-13;
    const std::vector<Result> mixed = solveChain(grid, tight);
    ASSERT_EQ(mixed.size(), 2u);
    EXPECT_EQ(mixed[0].value, 0.0);
    EXPECT_TRUE(mixed[0].converged) << mixed[0].method;
    EXPECT_LE(mixed[0].bound, 1e-15);
    EXPECT_EQ(mixed[0].method.find("NOT CONVERGED"), std::string::npos) << mixed[0].method;
    EXPECT_GT(mixed[1].bound, 1e-13) << mixed[1].method;
    EXPECT_FALSE(mixed[1].converged);
    // Steady-state detection never uses a limit that skipped the probabilities:
    // accumulated over [0, T] "split" earns the limit's rate per unit of time
    // once settled (T = 1e4 and 2e4, detected by uniformization), while "same"
    // alone asks for its long-run value. The leak is faster here: over a slow
    // absorption into two classes the iterates' roundings split the mass
    // between them by more than detection's threshold.
    std::vector<gensolver::Transition> fastArcs;
    Chain late = leakingRing(fastArcs, 0.5);
    const std::vector<long double> fast =
        solvertest::foldedLimit(43, fastArcs, 40, {{40, 41}, {42}});
    late.variables[0].times = {{1e4, 1e4}};
    late.variables[1].type = 1;
    late.variables[1].times = {{0.0, 1e4}, {0.0, 2e4}};
    SolveOptions uniformization;
    uniformization.longRun = true;
    uniformization.transient.method = gensolver::TransientChoice::Uniformization;
    const std::vector<Result> settled = solveChain(late, uniformization);
    ASSERT_EQ(settled.size(), 4u);
    EXPECT_TRUE(settled[2].steadyState) << settled[2].method;
    const double perUnit = (settled[3].value - settled[2].value) / 1e4;
    EXPECT_NEAR(perUnit, static_cast<double>(fast[40] + fast[41]),
                (settled[2].bound + settled[3].bound) / 1e4 + 1e-15);
    // The long-run row reuses the whole limit that detection solved.
    EXPECT_EQ(settled[1].method.find("not needed"), std::string::npos) << settled[1].method;
    EXPECT_NEAR(settled[1].value, 3.0, settled[1].bound);
}

// Births at up, deaths at down, states 0 .. n-1 (files: 1 .. n), reward k in
// level k; mean gets the long-run mean level from the product form: pi_k is
// proportional to (up / down)^k, taken relative to the largest term (the last
// for up > down) so that no term overflows, even where long double is only a
// double (under Valgrind).
Chain birthDeath(std::uint32_t n, double up, double down, long double& mean) {
    Chain c;
    c.states = n;
    for (std::uint32_t i = 1; i < n; ++i) {
        c.arcs.push_back({i, i + 1, up});
        c.arcs.push_back({i + 1, i, down});
    }
    Chain::Variable v{"level", 3, {{0.0, 0.0}}, {}, {}};
    for (std::uint32_t i = 0; i < n; ++i)
        v.rate.push_back(static_cast<double>(i));
    c.variables.push_back(v);
    const long double logRatio = std::log(static_cast<long double>(up) / down);
    const long double largest = logRatio > 0.0L ? n - 1.0L : 0.0L;
    long double norm = 0.0L, sum = 0.0L;
    for (std::uint32_t k = 0; k < n; ++k) {
        const long double p = std::exp((k - largest) * logRatio);
        norm += p;
        sum += k * p;
    }
    mean = sum / norm;
    return c;
}

TEST(SolverMethods, BirthDeathStationaryDistributionMatchesItsProductForm) {
    // The mean of the truncated geometric distribution, at sizes above and below
    // the direct-solve limit.
    for (const std::uint32_t n : {50u, 1500u}) {
        long double mean = 0.0L;
        const std::vector<Result> results = solveChain(birthDeath(n, 1.0, 1.6, mean));
        SCOPED_TRACE("n = " + std::to_string(n));
        expectClose(results[0].value, mean, 1e-9, results[0]);
        EXPECT_TRUE(results[0].converged);
    }
}

TEST(SolverMethods, ClassesWhoseProbabilitiesSpanBeyondADoubleAreRescaledAndRatesBeyondItRefused) {
    // A birth-death chain of 40 levels whose ratio of neighbours is 1e10 (or 1e-10):
    // the likeliest and least likely states differ by a factor 1e390, beyond a
    // double. The direct solve must rescale as it goes, whichever end it starts
    // from.
    for (const double rho : {1e10, 1e-10}) {
        long double mean = 0.0L;
        SCOPED_TRACE("rho = " + std::to_string(rho));
        const std::vector<Result> results = solveChain(birthDeath(40, 1e-3 * rho, 1e-3, mean));
        ASSERT_EQ(results.size(), 1u);
        expectClose(results[0].value, mean, 1e-12, results[0]);
        EXPECT_NE(results[0].method.find("direct elimination"), std::string::npos);
    }
    // A rate below the normal range beside one of 1.5: their ratio overflows, and
    // the long-run value is refused rather than printed as a NaN.
    Chain tiny;
    tiny.states = 2;
    tiny.arcs = {{1, 2, 1.5}, {2, 1, 1e-317}};
    tiny.variables.push_back({"up", 3, {{0.0, 0.0}}, {1.0, 0.0}, {}});
    EXPECT_THROW(solveChain(tiny), gensolver::SolveError);
}

TEST(SolverMethods, LargeTimesSettleAtTheLimitWithoutTakingEveryStep) {
    // At t = 1e9 the Poisson weights lie beyond any step budget: the answer comes
    // from the iterates settling at the limit. At t = 30 both ways must agree with
    // the exponential.
    Chain c = randomChain(6, 5);
    c.variables[0].impulse.clear();
    c.variables[0].times = {{30.0, 30.0}, {1e9, 1e9}};
    const std::vector<long double> pi = stationary(c);
    long double limit = 0.0L;
    for (std::uint32_t j = 0; j < c.states; ++j)
        limit += pi[j] * c.variables[0].rate[j];
    SolveOptions options;
    options.transient.method = gensolver::TransientChoice::Uniformization;
    options.transient.detectAfter = 16;
    const std::vector<Result> results = solveChain(c, options);
    ASSERT_EQ(results.size(), 2u);
    expectClose(results[0].value, instant(c, c.variables[0].rate, 30.0L), 1e-10, results[0]);
    expectClose(results[1].value, limit, 1e-10, results[1]);
    EXPECT_TRUE(results[1].steadyState);
    EXPECT_LT(results[1].iterations, 10000u);

    // A chain that does not settle within the budget (it mixes fast between 1 and 2
    // but is absorbed in 3 only at rate 1e-9) is refused; with the default budget
    // its million steps are taken and agree with the exponential.
    Chain slow;
    slow.states = 3;
    slow.arcs = {{1, 2, 1000.0}, {2, 1, 1000.0}, {1, 3, 1e-9}};
    slow.variables.push_back({"up", 0, {{1e3, 1e3}}, {1.0, 1.0, 0.0}, {}});
    SolveOptions few;
    few.transient.method = gensolver::TransientChoice::Uniformization;
    few.transient.maxSteps = 100;
    EXPECT_THROW(solveChain(slow, few), gensolver::SolveError);
    SolveOptions all;
    all.transient.method = gensolver::TransientChoice::Uniformization;
    const std::vector<Result> ok = solveChain(slow, all);
    // The exponential squares its way through 2e6 in rate times time, which costs it
    // digits when long double is only a double.
    expectClose(ok[0].value, instant(slow, slow.variables[0].rate, 1e3L),
                solvertest::extendedPrecision() ? 1e-12 : 1e-8, ok[0]);
    EXPECT_FALSE(ok[0].steadyState);
}

TEST(SolverMethods, ValuesStayWithinTheRangeOfTheirRewards) {
    // Ten units failing without repair at 1e-4 to 1e-2, the system up until
    // the last one fails: at t = 1e6 its reliability is about 4e-44, which the
    // implicit steps' roundings gave as -4.5e-27 (within its bound). A value
    // weighs a distribution, so it lies within its reward's range: 0 to 1 for
    // the reliability, its average and its long-run value, 0 to t for the
    // time up until t.
    const std::uint32_t units = 10, n = 1u << units;
    std::vector<double> rate(units);
    for (std::uint32_t i = 0; i < units; ++i)
        rate[i] = std::pow(10.0, -4.0 + 2.0 * i / (units - 1));
    Chain c;
    c.states = n;
    for (std::uint32_t s = 0; s + 1 < n; ++s)
        for (std::uint32_t i = 0; i < units; ++i)
            if ((s >> i & 1u) == 0)
                c.arcs.push_back({s + 1, (s | (1u << i)) + 1, rate[i]});
    const double t = 1e6;
    std::vector<double> up(n, 1.0);
    up[n - 1] = 0.0;
    long double failedByT = 1.0L;
    for (const double l : rate)
        failedByT *= 1.0L - std::exp(-static_cast<long double>(l) * t);
    c.variables.push_back({"reliability", 0, {{t, t}}, up, {}});
    std::vector<Result> results = solveChain(c);
    c.variables = {{"uptime", 1, {{0.0, t}}, up, {}},
                   {"availability", 2, {{0.0, t}}, up, {}},
                   {"longrun", 3, {{0.0, 0.0}}, up, {}}};
    for (const Result& r : solveChain(c))
        results.push_back(r);
    ASSERT_EQ(results.size(), 4u);
    const long double exact[] = {1.0L - failedByT, -1.0L, -1.0L, 0.0L};
    const double high[] = {1.0, t, 1.0, 1.0};
    for (std::size_t k = 0; k < results.size(); ++k) {
        const Result& r = results[k];
        SCOPED_TRACE(r.variable + ": " + r.method);
        EXPECT_GE(r.value, 0.0);
        EXPECT_LE(r.value, high[k]);
        if (exact[k] >= 0.0L) {
            EXPECT_LE(std::fabs(r.value - static_cast<double>(exact[k])), r.bound + 1e-300);
        }
    }
}

} // namespace
