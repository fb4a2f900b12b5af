// The truncated Poisson weights against the probabilities computed directly in
// long double (exp(-lambda + k log lambda - lgamma(k + 1))), and the Chernoff
// lower-tail bound against the summed lower tail.

#include "methods/PoissonWeights.h"
#include "SolverTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

long double poisson(long double lambda, std::uint64_t k) {
    const long double kk = static_cast<long double>(k);
    return std::exp(-lambda + kk * std::log(lambda) - std::lgamma(kk + 1.0L));
}

TEST(PoissonWeights, StayWithinTheirBoundOfTheExactProbabilities) {
    for (const double lambda : {0.0, 1e-3, 0.5, 7.0, 240.0, 3.3e4, 2.5e6}) {
        for (const double epsilon : {1e-6, 1e-12}) {
            SCOPED_TRACE("lambda " + std::to_string(lambda) + " epsilon " +
                         std::to_string(epsilon));
            const gensolver::PoissonWeights w = gensolver::poissonWeights(lambda, epsilon);
            EXPECT_LE(w.bound, epsilon);
            EXPECT_LE(w.left, static_cast<std::uint64_t>(lambda));
            EXPECT_GE(w.right, static_cast<std::uint64_t>(lambda));
            if (lambda == 0.0) {
                EXPECT_EQ(w.weight.size(), 1u);
                continue;
            }
            // Total variation against the exact distribution, counting the mass
            // outside [left, right] in full.
            long double distance = 0.0L, inside = 0.0L;
            for (std::uint64_t k = w.left; k <= w.right; ++k) {
                const long double p = poisson(lambda, k);
                inside += p;
                distance += std::fabs(w.at(k) - p);
            }
            distance += 1.0L - inside;
            // lgamma in long double loses about lambda * 1e-19 relative (lambda *
            // 1e-16 where long double is only a double), so the check allows for
            // that on top of the bound.
            const double oracle = solvertest::extendedPrecision() ? 1e-18 : 1e-14;
            EXPECT_LE(static_cast<double>(distance), w.bound + 1e-14 + lambda * oracle);
            // Some of the cut mass is real: the window is not wider than needed.
            EXPECT_LT(w.right - w.left, 40.0 * std::sqrt(lambda) + 60.0);
        }
    }
}

TEST(PoissonWeights, LowerTailBoundHoldsAndIsUsefulFarFromTheMean) {
    for (const double lambda : {50.0, 1e4}) {
        long double below = 0.0L;
        for (std::uint64_t k = 0; k < static_cast<std::uint64_t>(lambda); ++k) {
            below += poisson(lambda, k);
            EXPECT_GE(gensolver::poissonLowerTailBound(lambda, k) * (1.0 + 1e-12),
                      static_cast<double>(below))
                << k;
        }
        EXPECT_LT(gensolver::poissonLowerTailBound(lambda, static_cast<std::uint64_t>(lambda / 4)),
                  1e-6);
    }
}

} // namespace
