// The aggregation multigrid preconditioner: the system's packed rows give the
// products of its plain ones, its transposed application is the
// transpose of its application, its cycles converge on a chain whose solution
// spans orders of magnitude between neighbours, and BiCGSTAB preconditioned by
// it matches independent answers: the product form of a repairable
// multiprocessor and dense long-double solves of random, stiff, nearly
// decomposable and periodic chains and of transient states leading to several
// closed classes, each within its printed bound.

#include "methods/AggregationMultigrid.h"
#include "SolverTestSupport.h"
#include "methods/Components.h"
#include "methods/LimitSolver.h"
#include "methods/Parallel.h"
#include "methods/SparseSystem.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <tuple>

namespace {

using gensolver::Transition;
using solvertest::Dense;
using solvertest::randomIrreducible;

// Stationary distribution of a whole irreducible chain by a dense long-double
// solve: pi Q = 0 with the last equation replaced by the normalisation.
std::vector<long double> denseStationary(std::uint32_t n, const std::vector<Transition>& ts) {
    std::vector<std::uint32_t> all(n);
    for (std::uint32_t i = 0; i < n; ++i)
        all[i] = i;
    return solvertest::classStationary(solvertest::denseGenerator(n, ts), all);
}

// Every component of at least 2 states by BiCGSTAB with aggregation multigrid,
// whose levels go down to 8 unknowns so that small chains have several.
gensolver::LimitOptions multigridEverywhere() {
    gensolver::LimitOptions o;
    o.denseLimit = 1;
    o.krylovFrom = 1;
    o.multigrid = true;
    o.multigridCoarsest = 8;
    return o;
}

// Solves by multigrid and checks the distribution against exact: within the
// reported bound, that bound at most the tolerance.
void expectLimit(std::uint32_t n, const std::vector<Transition>& ts,
                 const std::vector<long double>& exact, const char* what,
                 gensolver::LimitOptions options = multigridEverywhere()) {
    SCOPED_TRACE(what);
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), options);
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_NE(limit.method().find("BiCGSTAB+aggregation multigrid, "), std::string::npos)
        << limit.method();
    long double distance = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i)
        distance += std::fabs(static_cast<long double>(limit.distribution[i]) - exact[i]);
    EXPECT_LE(limit.errorEstimate, 2e-12);
    // The bound rests on a residual summed in long double; where long double is
    // computed as double (under Valgrind), that sum's own rounding is not covered.
    const double slack = solvertest::extendedPrecision() ? 1e-14 : 1e-12;
    EXPECT_LE(static_cast<double>(distance), limit.errorEstimate + slack) << limit.method();
}

// The system of a whole irreducible chain as one closed class.
struct ClosedSystem {
    ClosedSystem(std::uint32_t n, const std::vector<Transition>& ts, std::uint32_t reference,
                 bool balanced = false)
        : m(gensolver::buildRateMatrix(n, ts)), local(n), none(n, 0.0) {
        comps.component.assign(n, 0);
        comps.first = {0, n};
        comps.bottom = {1};
        comps.leaving.assign(n, 0.0);
        for (std::uint32_t i = 0; i < n; ++i)
            comps.order.push_back(i);
        system = std::make_unique<gensolver::SparseSystem>(m, comps, 0, true, none, local,
                                                           reference, balanced);
    }
    gensolver::RateMatrix m;
    gensolver::Components comps;
    std::vector<std::uint32_t> local;
    std::vector<double> none;
    std::unique_ptr<gensolver::SparseSystem> system;
};

// A grid of side L (state i * L + j), rates up and right 1, down and left
// drift: reversible, with pi(i, j) proportional to (1 / drift)^(i + j).
std::vector<Transition> driftGrid(std::uint32_t side, double drift) {
    std::vector<Transition> ts;
    for (std::uint32_t i = 0; i < side; ++i)
        for (std::uint32_t j = 0; j < side; ++j) {
            const std::uint32_t s = i * side + j;
            if (i + 1 < side) {
                ts.push_back({s, s + side, 1.0});
                ts.push_back({s + side, s, drift});
            }
            if (j + 1 < side) {
                ts.push_back({s, s + 1, 1.0});
                ts.push_back({s + 1, s, drift});
            }
        }
    return ts;
}

// B x and B^T x before transpose() (by rows and by a scatter) and after it,
// when the rows are packed where they fit: the packed rows hold the rates'
// doubles and sum in the same order, so the products agree to the bit.
void expectSameProducts(const gensolver::SparseSystem& before, gensolver::SparseSystem& after,
                        bool packed) {
    const std::uint32_t n = before.size();
    std::vector<double> x(n);
    for (std::uint32_t k = 0; k < n; ++k)
        x[k] = 1.0 + static_cast<double>((k * 7919u) % 1000u) / 997.0;
    gensolver::Parallel pool(2);
    std::vector<double> y0(n), t0(n), y1(n), t1(n), e1(n);
    before.multiply(pool, x, y0);
    before.multiplyTransposed(x, t0);
    after.transpose();
    EXPECT_EQ(after.near.empty(), !packed);
    EXPECT_EQ(after.tNear.empty(), !packed);
    after.multiply(pool, x, y1);
    after.multiplyTransposed(pool, x, t1);
    after.multiplyTransposedExactly(pool, x, e1);
    for (std::uint32_t k = 0; k < n; ++k) {
        ASSERT_EQ(y0[k], y1[k]) << "row " << k;
        ASSERT_EQ(t0[k], e1[k]) << "row " << k;
        // Without the packed rows the transposed product reads float rates.
        if (packed) {
            ASSERT_EQ(t0[k], t1[k]) << "row " << k;
        }
    }
}

TEST(AggregationMultigrid, PackedSystemRowsGiveTheSameProductsWhereTheyFit) {
    // A random chain; a cycle of 32,768 states, whose row 0 reads state 32,767
    // (the farthest offset a word holds) and of 32,769 (one too far); the
    // latter reversed, whose last row reads state 0 (offset -32,768, which a
    // word holds but its transpose's would not); a path of 70,000 states with
    // as many distinct rates (more than a word's index holds).
    const std::vector<Transition> random = randomIrreducible(300, 9, -3.0, 3.0);
    auto cycle = [](std::uint32_t n, bool reversed = false) {
        std::vector<Transition> ts;
        for (std::uint32_t i = 0; i < n; ++i)
            ts.push_back({i, reversed ? (i + n - 1) % n : (i + 1) % n, 1.0 + i % 3});
        return ts;
    };
    std::vector<Transition> path;
    const std::uint32_t long_ = 70000;
    for (std::uint32_t i = 0; i + 1 < long_; ++i) {
        path.push_back({i, i + 1, 1.0 + i * 1e-3});
        path.push_back({i + 1, i, 2.0});
    }
    for (const auto& [n, ts, packed] :
         {std::tuple{300u, random, true}, std::tuple{32768u, cycle(32768), true},
          std::tuple{32769u, cycle(32769), false}, std::tuple{32769u, cycle(32769, true), false},
          std::tuple{long_, path, false}}) {
        SCOPED_TRACE(n);
        const ClosedSystem before(n, ts, n / 2, true);
        ClosedSystem after(n, ts, n / 2, true);
        expectSameProducts(*before.system, *after.system, packed);
    }
}

TEST(AggregationMultigrid, TheTransposedApplicationIsTheTransposeOfTheApplication) {
    // Column k of M^-1 is the application to e_k; row k of M^-1 must then be
    // the transposed application to e_k. Checks that restriction, interpolation,
    // smoothing order and the coarsest solve are transposed consistently, with
    // every level swept in order and with the levels of 16 unknowns or more
    // swept in parts along their transposed rows (the finest level's being
    // the system's own, packed or plain).
    const std::uint32_t n = 150;
    // The finest level reads the system's rows packed, or plain with single
    // precision rates where they do not pack.
    for (const auto& [threadedFrom, pack] :
         {std::pair{gensolver::AggregationMultigrid::kThreadedFrom, true}, std::pair{16u, true},
          std::pair{16u, false}}) {
        SCOPED_TRACE(std::to_string(threadedFrom) + (pack ? " packed" : " plain"));
        ClosedSystem c(n, randomIrreducible(n, 5, -2.0, 2.0), 17);
        if (threadedFrom == 16u)
            c.system->transpose(pack);
        const gensolver::AggregationMultigrid mg(*c.system, 8, threadedFrom);
        ASSERT_TRUE(mg.ok());
        ASSERT_GE(mg.levels(), 3u);
        gensolver::Parallel pool(1);
        Dense forward(n), backward(n);
        std::vector<double> unit(n, 0.0), out(n);
        for (std::uint32_t k = 0; k < n; ++k) {
            unit[k] = 1.0;
            mg.apply(pool, unit, out);
            forward[k].assign(out.begin(), out.end());
            mg.applyTransposed(pool, unit, out);
            backward[k].assign(out.begin(), out.end());
            unit[k] = 0.0;
        }
        for (std::uint32_t k = 0; k < n; ++k)
            for (std::uint32_t j = 0; j < n; ++j)
                ASSERT_NEAR(static_cast<double>(forward[k][j]), static_cast<double>(backward[j][k]),
                            1e-9 * (std::fabs(static_cast<double>(forward[k][j])) + 1e-12))
                    << "entry " << j << ", " << k;
    }
}

TEST(AggregationMultigrid, CyclesConvergeWhereTheSolutionSpansOrdersOfMagnitude) {
    // On a 40 x 40 grid with drift 0.2 the solution spans 5^78; interpolation
    // by constants diverges there, the pair shares make each cycle cut the
    // residual by at least 5. The reference is the most likely state.
    const std::uint32_t side = 40, n = side * side;
    const ClosedSystem c(n, driftGrid(side, 0.2), n - 1);
    const gensolver::AggregationMultigrid mg(*c.system, 8);
    ASSERT_TRUE(mg.ok());
    EXPECT_GE(mg.levels(), 4u);
    gensolver::Parallel pool(1);
    std::vector<double> y(n, 0.0), by(n), r(n), z(n);
    double previous = 1.0; // |b|_1
    for (int cycle = 0; cycle < 20; ++cycle) {
        mg.apply(
            pool,
            r =
                [&] {
                    c.system->multiply(pool, y, by);
                    for (std::uint32_t k = 0; k < n; ++k)
                        r[k] = c.system->b[k] - by[k];
                    return r;
                }(),
            z);
        for (std::uint32_t k = 0; k < n; ++k)
            y[k] += z[k];
        c.system->multiply(pool, y, by);
        double norm = 0.0;
        for (std::uint32_t k = 0; k < n; ++k)
            norm += std::fabs(c.system->b[k] - by[k]);
        if (previous > 1e-12) { // above the rounding floor
            EXPECT_LE(norm, previous / 5) << "cycle " << cycle;
        }
        previous = std::max(norm, 1e-300);
        if (norm < 1e-13)
            break;
    }
    // The solution itself near the reference, the far corner, where it is not
    // lost in the residual's absolute size: y(i, j) = 5^(i + j - 2 (side - 1)).
    for (const std::uint32_t s : {n - 2, n - 1 - side, n - 3 - 2 * side, n - 1 - 5 * side})
        EXPECT_NEAR(y[s] / std::pow(5.0, double(s / side + s % side) - 2.0 * (side - 1)), 1.0, 1e-8)
            << "state " << s;
}

// The repairable multiprocessor of n processors and memories (rates as in
// expectMultiprocessor) with its states numbered breadth-first from every unit
// up, as the generator numbers them; reference is set to its most likely state,
// from the product of binomials.
std::vector<Transition> breadthFirstMultiprocessor(int n, std::uint32_t& states,
                                                   std::uint32_t& reference) {
    const double rate[4][2] = {{1e-3, 0.05}, {5e-4, 0.05}, {1e-4, 0.5}, {2e-5, 0.25}};
    const int units[4] = {n, n, 2, 1};
    using Up = std::array<int, 4>;
    std::map<Up, std::uint32_t> number;
    std::vector<Up> queue{{n, n, 2, 1}};
    number[queue[0]] = 0;
    std::vector<Transition> ts;
    double best = -1e300;
    for (std::size_t at = 0; at < queue.size(); ++at) {
        const Up u = queue[at];
        double logPi = 0.0; // binomials: up with probability mu / (lambda + mu)
        for (int k = 0; k < 4; ++k)
            logPi += std::lgamma(units[k] + 1.0) - std::lgamma(u[k] + 1.0) -
                     std::lgamma(units[k] - u[k] + 1.0) + u[k] * std::log(rate[k][1]) +
                     (units[k] - u[k]) * std::log(rate[k][0]);
        if (logPi > best) {
            best = logPi;
            reference = static_cast<std::uint32_t>(at);
        }
        for (int k = 0; k < 4; ++k)
            for (const int step : {-1, 1}) {
                Up v = u;
                v[k] += step;
                if (v[k] < 0 || v[k] > units[k])
                    continue;
                auto [it, added] = number.emplace(v, static_cast<std::uint32_t>(queue.size()));
                if (added)
                    queue.push_back(v);
                ts.push_back({static_cast<std::uint32_t>(at), it->second,
                              step < 0 ? rate[k][0] * u[k] : rate[k][1] * (units[k] - u[k])});
            }
    }
    states = static_cast<std::uint32_t>(queue.size());
    return ts;
}

// A line of machines in tandem, each with a buffer of up to B parts in front
// of it: parts arrive at rate 0.8 while the first buffer has room, a working
// machine passes a part on at rate 1 when the next buffer has room (the last
// lets it leave), fails at 0.01 and is repaired at 0.5. States numbered
// breadth-first from the empty line. The moves of parts go one way only.
std::vector<Transition> tandemLine(int machines, int buffer, std::uint32_t& states) {
    using State = std::vector<int>; // buffers, then 1 for each failed machine
    std::map<State, std::uint32_t> number;
    std::vector<State> queue{State(2 * machines, 0)};
    number[queue[0]] = 0;
    std::vector<Transition> ts;
    auto add = [&](std::uint32_t from, const State& to, double rate) {
        auto [it, added] = number.emplace(to, static_cast<std::uint32_t>(queue.size()));
        if (added)
            queue.push_back(to);
        ts.push_back({from, it->second, rate});
    };
    for (std::size_t at = 0; at < queue.size(); ++at) {
        const State u = queue[at];
        const auto from = static_cast<std::uint32_t>(at);
        if (u[0] < buffer) {
            State v = u;
            ++v[0];
            add(from, v, 0.8);
        }
        for (int k = 0; k < machines; ++k) {
            State v = u;
            v[machines + k] = 1 - u[machines + k];
            add(from, v, u[machines + k] != 0 ? 0.5 : 0.01);
            if (u[machines + k] == 0 && u[k] > 0 && (k + 1 == machines || u[k + 1] < buffer)) {
                v = u;
                --v[k];
                if (k + 1 < machines)
                    ++v[k + 1];
                add(from, v, 1.0);
            }
        }
    }
    states = static_cast<std::uint32_t>(queue.size());
    return ts;
}

TEST(AggregationMultigrid, TransposedCyclesContractOnBreadthFirstNumberedChains) {
    // Cycles on B^T w = 1 (the times to reach the reference), each from the last
    // residual, must cut that residual on chains numbered as the generator
    // numbers them: a coarse correction that overshoots, repeated on every level,
    // grows the iterate without bound instead. On the tandem lines the cycles
    // did not contract with each unknown paired with the source of the largest
    // rate, nor with the first neighbour in its row whichever way the rates
    // go (a pair joined one way only takes even shares).
    auto expectContraction = [](std::uint32_t states, const std::vector<Transition>& ts,
                                std::uint32_t reference) {
        const ClosedSystem c(states, ts, reference, true);
        gensolver::AggregationMultigrid mg(*c.system, 8);
        ASSERT_TRUE(mg.ok());
        mg.checkCycle();
        gensolver::Parallel pool(1);
        std::vector<double> w(states, 0.0), bw(states), r(states, 1.0), z(states);
        // The first cycle's max |r| may exceed that of w = 0; from there on each
        // cycle must halve it.
        double previous = std::numeric_limits<double>::infinity();
        for (int cycle = 0; cycle < 8; ++cycle) {
            mg.applyTransposed(pool, r, z);
            for (std::uint32_t k = 0; k < states; ++k)
                w[k] += z[k];
            c.system->multiplyTransposed(w, bw);
            double norm = 0.0;
            for (std::uint32_t k = 0; k < states; ++k)
                norm = std::max(norm, std::fabs(r[k] = 1.0 - bw[k]));
            if (previous > 1e-9) { // above the rounding floor of times up to about 1e3
                EXPECT_LE(norm, previous / 2) << "cycle " << cycle;
            }
            previous = norm;
        }
    };
    for (const int n : {20, 40}) {
        SCOPED_TRACE(n);
        std::uint32_t states = 0, reference = 0;
        const std::vector<Transition> ts = breadthFirstMultiprocessor(n, states, reference);
        expectContraction(states, ts, reference);
    }
    for (const auto& [machines, buffer] : {std::pair{3, 5}, std::pair{4, 3}}) {
        SCOPED_TRACE(machines * 10 + buffer);
        std::uint32_t states = 0;
        const std::vector<Transition> ts = tandemLine(machines, buffer, states);
        expectContraction(states, ts, 0);
    }
}

// The repairable multiprocessor of n processors and memories with every rate
// times speed, against its product form (see the test below); the limit found.
// Its sweeps grow with n: 44 at n = 12.
gensolver::Limit
expectMultiprocessor(double speed, const gensolver::LimitOptions& options = multigridEverywhere(),
                     int n = 12) {
    const double lp = 1e-3, mp = 0.05, lm = 5e-4, mm = 0.05, ls = 1e-4, ms = 0.5, lc = 2e-5,
                 mc = 0.25;
    auto id = [&](int p, int q, int sw, int ctrl) {
        return static_cast<std::uint32_t>((((n - p) * (n + 1) + (n - q)) * 3 + (2 - sw)) * 2 +
                                          (1 - ctrl));
    };
    std::vector<Transition> ts;
    for (int p = 0; p <= n; ++p)
        for (int q = 0; q <= n; ++q)
            for (int sw = 0; sw <= 2; ++sw)
                for (int ctrl = 0; ctrl <= 1; ++ctrl) {
                    const std::uint32_t s = id(p, q, sw, ctrl);
                    if (p > 0)
                        ts.push_back({s, id(p - 1, q, sw, ctrl), speed * lp * p});
                    if (p < n)
                        ts.push_back({s, id(p + 1, q, sw, ctrl), speed * mp * (n - p)});
                    if (q > 0)
                        ts.push_back({s, id(p, q - 1, sw, ctrl), speed * lm * q});
                    if (q < n)
                        ts.push_back({s, id(p, q + 1, sw, ctrl), speed * mm * (n - q)});
                    if (sw > 0)
                        ts.push_back({s, id(p, q, sw - 1, ctrl), speed * ls * sw});
                    if (sw < 2)
                        ts.push_back({s, id(p, q, sw + 1, ctrl), speed * ms * (2 - sw)});
                    ts.push_back({s, id(p, q, sw, 1 - ctrl), speed * (ctrl ? lc : mc)});
                }
    const std::uint32_t states = 6 * (n + 1) * (n + 1);
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(states, ts), options);
    EXPECT_TRUE(limit.converged) << limit.method();
    double availability = 0.0, capacity = 0.0;
    for (int p = 0; p <= n; ++p)
        for (int q = 0; q <= n; ++q)
            for (int sw = 0; sw <= 2; ++sw) {
                const double v = limit.distribution[id(p, q, sw, 1)];
                if (p >= 1 && q >= 1 && sw >= 1) {
                    availability += v;
                    capacity += v * p;
                }
            }
    // Each unit is up with probability mu / (lambda + mu), independently.
    const double up = mp / (lp + mp), mem = mm / (lm + mm), sw = ms / (ls + ms),
                 ctrl = mc / (lc + mc);
    const double exact =
        (1 - std::pow(1 - up, n)) * (1 - std::pow(1 - mem, n)) * (1 - std::pow(1 - sw, 2)) * ctrl;
    // E[p; p >= 1] = E[p] = n up; the other factors as for availability.
    const double exactCapacity =
        n * up * (1 - std::pow(1 - mem, n)) * (1 - std::pow(1 - sw, 2)) * ctrl;
    EXPECT_NEAR(availability, exact, 1e-12);
    EXPECT_NEAR(capacity, exactCapacity, 1e-11);
    EXPECT_LE(std::fabs(availability - exact), limit.errorEstimate + 1e-15);
    return limit;
}

TEST(AggregationMultigrid, RepairableMultiprocessorMatchesItsProductForm) {
    // n processors and memories, each failing and repaired on its own, two
    // switches and a controller: independent parts, so the stationary
    // distribution is a product of binomials. Availability: at least one
    // processor, memory and switch, and the controller. Every rate times 100
    // leaves the distribution as it is, and gives the likely states exit rates
    // above 1, where the reference's row must be balanced for the coarse levels.
    for (const double speed : {1.0, 100.0}) {
        SCOPED_TRACE(speed);
        expectMultiprocessor(speed);
    }
}

TEST(AggregationMultigrid, LevelsSweptInPartsGiveTheSameValuesOnOneThreadAndOnSeveral) {
    // Levels of 64 unknowns or more swept in parts, on 1, 2 and 3 threads: each
    // finds the product form's values, and all of them the same bits in the same
    // number of iterations, as the parts do not depend on the threads.
    gensolver::LimitOptions options = multigridEverywhere();
    options.multigridThreadedFrom = 64;
    std::vector<gensolver::Limit> limits;
    for (const unsigned threads : {1u, 2u, 3u}) {
        SCOPED_TRACE(threads);
        gensolver::setSharedThreads(threads);
        limits.push_back(expectMultiprocessor(1.0, options, 20));
    }
    gensolver::setSharedThreads(0);
    for (std::size_t t = 1; t < limits.size(); ++t) {
        EXPECT_EQ(limits[t].krylovIterations, limits[0].krylovIterations);
        EXPECT_EQ(limits[t].errorEstimate, limits[0].errorEstimate);
        EXPECT_EQ(limits[t].distribution, limits[0].distribution);
    }
}

TEST(AggregationMultigrid, GaussSeidelExpectedToTakeLongGivesWayToIt) {
    // The multiprocessor of n = 40 (10,086 states) swept to the end takes 119
    // sweeps, its changes shrinking slowly at first: the check after 32 sweeps
    // expects 1438 more, the one after 64, 578. Two checks in a row expecting more
    // than the switch allows hand the chain to the multigrid, which finds the
    // product form's values; one alone does not.
    gensolver::LimitOptions options;
    options.denseLimit = 1;
    options.multigridCoarsest = 8;
    options.switchFrom = 1;
    options.switchSweeps = 0;
    const gensolver::Limit swept = expectMultiprocessor(1.0, options, 40);
    EXPECT_FALSE(swept.krylov) << swept.method();
    EXPECT_EQ(swept.sweepsGivenUp, 0u);
    EXPECT_EQ(swept.method().rfind("Gauss-Seidel, ", 0), 0u) << swept.method();

    options.switchSweeps = 500;
    const gensolver::Limit switched = expectMultiprocessor(1.0, options, 40);
    EXPECT_EQ(switched.sweepsGivenUp, 64u) << switched.method();
    EXPECT_GT(switched.sweepsExpected, 500u);
    EXPECT_TRUE(switched.multigrid);
    EXPECT_EQ(switched.sweeps, 0u) << switched.method();
    EXPECT_EQ(switched.method().rfind("Gauss-Seidel, 64 sweeps (about ", 0), 0u)
        << switched.method();
    EXPECT_NE(switched.method().find(" more expected), then BiCGSTAB+aggregation multigrid, "),
              std::string::npos)
        << switched.method();

    options.switchSweeps = 1000;
    const gensolver::Limit kept = expectMultiprocessor(1.0, options, 40);
    EXPECT_EQ(kept.sweeps, swept.sweeps) << kept.method();
    EXPECT_FALSE(kept.krylov) << kept.method();
}

TEST(AggregationMultigrid, RandomStiffPeriodicAndNearlyDecomposableChainsMatchTheDenseSolve) {
    for (const auto& [n, seed, lo, hi] :
         {std::tuple{40u, 1u, -1.0, 0.7}, std::tuple{150u, 2u, -1.0, 0.7},
          std::tuple{60u, 3u, -6.0, 4.0}, std::tuple{120u, 4u, -6.0, 4.0}}) {
        const std::vector<Transition> ts = randomIrreducible(n, seed, lo, hi);
        expectLimit(n, ts, denseStationary(n, ts), lo < -2 ? "stiff random chain" : "random chain");
    }
    // A cycle: the probability of state i is proportional to 1 / rate_i.
    const std::uint32_t n = 64;
    std::vector<Transition> cycle;
    long double total = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i) {
        cycle.push_back({i, (i + 1) % n, 1.0 + i % 5});
        total += 1.0L / (1.0L + i % 5);
    }
    std::vector<long double> exact(n);
    for (std::uint32_t i = 0; i < n; ++i)
        exact[i] = 1.0L / (1.0L + i % 5) / total;
    expectLimit(n, cycle, exact, "periodic cycle");
    // Two random blocks joined by one arc each way at 1e-2: the exchange
    // between them decides the split. With levels down to 8 unknowns the guess
    // of a likely reference lands in the lighter block, where the bound, weighted
    // by the crossing times, stays above the tolerance (docs/solver.md, limits);
    // down to 30 it converges.
    const std::uint32_t half = 50;
    std::vector<Transition> ts = randomIrreducible(half, 7, -0.5, 0.5);
    for (const Transition& t : randomIrreducible(half, 8, -0.5, 0.5))
        ts.push_back({t.from + half, t.to + half, t.rate});
    ts.push_back({3, half + 10, 1e-2});
    ts.push_back({half + 20, 9, 3e-2});
    gensolver::LimitOptions coarser = multigridEverywhere();
    coarser.multigridCoarsest = 30;
    expectLimit(2 * half, ts, denseStationary(2 * half, ts), "nearly decomposable", coarser);
}

TEST(AggregationMultigrid, TransientStatesAheadOfTwoClassesMatchTheirAbsorptionSplit) {
    // States 0..29 a random leaking block; it leaks into the cycle 30..39 (rate
    // 1 each) and into the absorbing state 40. The split is the absorption
    // probability, from a dense solve of z (-Q_TT) = e1.
    std::vector<Transition> ts = randomIrreducible(30, 21, -1.0, 1.0);
    for (std::uint32_t i = 30; i < 40; ++i)
        ts.push_back({i, i == 39 ? 30 : i + 1, 1.0});
    ts.push_back({4, 33, 0.3});
    ts.push_back({25, 40, 0.2});
    Dense a(30, std::vector<long double>(30, 0.0L));
    for (const Transition& t : ts)
        if (t.from < 30 && t.from != t.to) {
            a[t.from][t.from] += t.rate;
            if (t.to < 30)
                a[t.from][t.to] -= t.rate;
        }
    std::vector<long double> e1(30, 0.0L);
    e1[0] = 1.0L;
    const std::vector<long double> z = solvertest::solveLeft(a, e1);
    std::vector<long double> exact(41, 0.0L);
    for (std::uint32_t i = 30; i < 40; ++i)
        exact[i] = z[4] * 0.3L / 10;
    exact[40] = z[25] * 0.2L;
    expectLimit(41, ts, exact, "two closed classes");
}

} // namespace

TEST(AggregationMultigrid, ABinomialChainSpanningBeyondTheRangeOfADoubleMatchesItsClosedForm) {
    // 600 units failing at rate 1 and repaired at rate 49 each, state index
    // 600 - k for k failed: pi is binomial(600, 0.02), from 1.7e-1018 (every
    // unit failed, state 1, where the solve's reference starts) to 0.16 (k =
    // 12). Relative to state 1 the likely states would overflow a double; the
    // reference must move to them, and the far states underflow harmlessly.
    const std::uint32_t n = 600;
    std::vector<Transition> ts;
    for (std::uint32_t k = 0; k < n; ++k) {
        ts.push_back({n - k, n - k - 1, 1.0 * (n - k)});
        ts.push_back({n - k - 1, n - k, 49.0 * (k + 1)});
    }
    std::vector<long double> exact(n + 1);
    for (std::uint32_t k = 0; k <= n; ++k)
        exact[n - k] =
            std::exp(std::lgamma(n + 1.0L) - std::lgamma(k + 1.0L) - std::lgamma(n - k + 1.0L) +
                     k * std::log(0.02L) + (n - k) * std::log(0.98L));
    EXPECT_LT(exact[0], 1e-300L);
    expectLimit(n + 1, ts, exact, "binomial, 600 units");
    // The same with the levels of 16 unknowns or more swept in parts, where
    // the coarse rates, scaled by shares of that span, leave float's range and
    // the sweeps keep their doubles.
    gensolver::LimitOptions parts = multigridEverywhere();
    parts.multigridThreadedFrom = 16;
    expectLimit(n + 1, ts, exact, "binomial, 600 units, levels in parts", parts);
}

TEST(AggregationMultigrid, AChainThatOnlyMovesForwardCoarsensAndIsSweptWhereItsCyclesGrow) {
    // A one-way ring, i -> i + 1 at rate r_i: each state's only source comes
    // before it, so pairing with free sources alone would leave every state but
    // the first on its own, and a level of 20,000 unknowns would be factorised
    // densely. pi_i is proportional to 1 / r_i.
    const std::uint32_t n = 20000;
    std::vector<Transition> ts;
    std::vector<long double> exact(n);
    long double total = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i) {
        const double r = 1.0 + (i * 7919u % 13u);
        ts.push_back({i, (i + 1) % n, r});
        total += exact[i] = 1.0L / r;
    }
    for (long double& x : exact)
        x /= total;
    const ClosedSystem c(n, ts, 0);
    const gensolver::AggregationMultigrid mg(*c.system);
    ASSERT_TRUE(mg.ok());
    EXPECT_LE(mg.size(mg.levels() - 1), gensolver::AggregationMultigrid::kCoarsest);
    // Its cycles grow the residual (by about 5 per cycle): BiCGSTAB is not run
    // with them, and the sweeps give the value, right to the tolerance.
    gensolver::LimitOptions options;
    options.krylovFrom = 1;
    options.multigrid = true;
    const gensolver::Limit limit =
        gensolver::solveLimit(gensolver::buildRateMatrix(n, ts), options);
    EXPECT_TRUE(limit.converged) << limit.method();
    EXPECT_EQ(limit.krylovIterations, 0u) << limit.method();
    EXPECT_NE(limit.method().find("BiCGSTAB+aggregation multigrid not run (its cycles do not "
                                  "contract), then Gauss-Seidel, "),
              std::string::npos)
        << limit.method();
    long double distance = 0.0L;
    for (std::uint32_t i = 0; i < n; ++i)
        distance += std::fabs(static_cast<long double>(limit.distribution[i]) - exact[i]);
    EXPECT_LE(static_cast<double>(distance), options.tolerance) << limit.method();
}
