// The iteratively solved implicit Euler sub-step y (I - g Q)^-1 against dense
// Gaussian elimination in long double, on random and stiff chains and for sub-step
// lengths from far below to far above the chain's time scales: the result within
// the error the solver reports, and that error within the target asked or the
// rounding floor of the residual.

#include "methods/ImplicitStepSolver.h"
#include "SolverTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace {

using gensolver::ImplicitStepSolver;
using gensolver::RateMatrix;
using solvertest::Dense;

// y (I - g Q)^-1 by dense elimination.
std::vector<long double> denseSubStep(const Dense& q, double g, const std::vector<double>& y) {
    const std::size_t n = q.size();
    Dense a(n, std::vector<long double>(n, 0.0L));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            a[i][j] = (i == j ? 1.0L : 0.0L) - static_cast<long double>(g) * q[i][j];
    return solvertest::solveLeft(a, std::vector<long double>(y.begin(), y.end()));
}

// A probability vector with every entry positive.
std::vector<double> randomDistribution(std::size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::uniform_real_distribution<double> u(0.1, 1.0);
    std::vector<double> y(n);
    double total = 0.0;
    for (double& v : y)
        total += v = u(gen);
    for (double& v : y)
        v /= total;
    return y;
}

// Solves with the target and checks the result against the dense one; returns
// the error the solver reported.
double expectSubStepMatches(const std::vector<gensolver::Transition>& arcs, std::uint32_t n,
                            double g, double target, double slack, unsigned seed) {
    const RateMatrix m = gensolver::buildRateMatrix(n, arcs);
    const Dense q = solvertest::denseGenerator(n, arcs);
    ImplicitStepSolver s(m, 4);
    std::vector<double> y = randomDistribution(n, seed);
    const std::vector<long double> exact = denseSubStep(q, g, y);
    const double reported = s.solve(g, y, target);
    long double error = 0.0L;
    for (std::uint32_t j = 0; j < n; ++j)
        error += std::fabs(static_cast<long double>(y[j]) - exact[j]);
    EXPECT_LE(static_cast<double>(error), reported + slack);
    return reported;
}

// The largest exit rate of a chain given by its arcs.
double maxExit(std::uint32_t n, const std::vector<gensolver::Transition>& arcs) {
    std::vector<double> exit(n, 0.0);
    for (const gensolver::Transition& t : arcs)
        if (t.from != t.to)
            exit[t.from] += t.rate;
    return *std::max_element(exit.begin(), exit.end());
}

TEST(ImplicitStepSolver, RandomAndStiffChainsMatchDenseEliminationAtEverySubStepLength) {
    // The reported error covers the true one; it meets the target asked unless
    // the residual of a double x, about eps times the exit rates, times g lies
    // above it (long sub-steps on stiff chains).
    const double slack = solvertest::extendedPrecision() ? 1e-13 : 1e-10;
    const double eps = std::numeric_limits<double>::epsilon();
    for (const unsigned seed : {1u, 2u, 3u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const auto mild = solvertest::randomIrreducible(12, seed, -1.0, 1.0);
        const auto stiff = solvertest::randomIrreducible(12, seed + 10, -6.0, 4.0);
        for (const double g : {1e-5, 0.1, 10.0, 1e4}) {
            SCOPED_TRACE("g = " + std::to_string(g));
            EXPECT_LE(expectSubStepMatches(mild, 12, g, 1e-13, slack, seed),
                      std::max(1e-13, 64.0 * eps * g * maxExit(12, mild)));
            EXPECT_LE(expectSubStepMatches(stiff, 12, g, 1e-13, slack, seed),
                      std::max(1e-13, 64.0 * eps * g * maxExit(12, stiff)));
        }
    }
}

TEST(ImplicitStepSolver, ALooseTargetStopsEarlyAndItsReportedErrorStillCoversTheResult) {
    // A chain large enough that ILU(0) is not exact: a 10 x 10 grid of two
    // repairable subsystems coupled through a fast switch.
    std::vector<gensolver::Transition> arcs;
    const std::uint32_t side = 10;
    auto id = [side](std::uint32_t a, std::uint32_t b, std::uint32_t w) {
        return (a * side + b) * 2 + w;
    };
    for (std::uint32_t a = 0; a < side; ++a)
        for (std::uint32_t b = 0; b < side; ++b)
            for (std::uint32_t w = 0; w < 2; ++w) {
                const std::uint32_t i = id(a, b, w);
                arcs.push_back({i, id(a, b, 1 - w), w == 0 ? 1e3 : 1e2});
                if (a + 1 < side)
                    arcs.push_back({i, id(a + 1, b, w), 1e-3 * (w + 1)});
                if (a > 0)
                    arcs.push_back({i, id(a - 1, b, w), 1.0});
                if (b + 1 < side)
                    arcs.push_back({i, id(a, b + 1, w), 1e-5});
                if (b > 0)
                    arcs.push_back({i, id(a, b - 1, w), 10.0});
            }
    const std::uint32_t n = side * side * 2;
    const double slack = solvertest::extendedPrecision() ? 1e-13 : 1e-10;
    const double loose = expectSubStepMatches(arcs, n, 50.0, 1e-4, slack, 7);
    const double tight = expectSubStepMatches(arcs, n, 50.0, 1e-12, slack, 7);
    EXPECT_LE(loose, 1e-4);
    EXPECT_LE(tight, 1e-9);
}

TEST(ImplicitStepSolver, RepeatedSubStepsReuseTheirFactorisationAndKeepTheTotal) {
    // Twelve sub-steps of the same length factor once; each maps a distribution
    // to a distribution, so the total stays 1 to rounding.
    const auto arcs = solvertest::randomIrreducible(30, 4, -6.0, 4.0);
    const RateMatrix m = gensolver::buildRateMatrix(30, arcs);
    ImplicitStepSolver s(m, 2);
    std::vector<double> y = randomDistribution(30, 5);
    for (int k = 0; k < 12; ++k)
        s.solve(0.25, y, 1e-14);
    s.solve(0.5, y, 1e-14);
    s.solve(0.25, y, 1e-14);
    EXPECT_EQ(s.factorisations(), 2u);
    double total = 0.0;
    for (const double v : y) {
        EXPECT_GE(v, 0.0);
        total += v;
    }
    EXPECT_NEAR(total, 1.0, 1e-12);
}

} // namespace
