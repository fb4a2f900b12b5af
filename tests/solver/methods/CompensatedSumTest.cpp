#include "methods/CompensatedSum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace gensolver {
namespace {

using Int128 = __int128;

// The exact sum, as an integer count of 2^-shift, compared with a double:
// |value - exact| in units of 2^-shift, as a double (rounded up by a unit).
double distanceInUnits(double value, Int128 exact, int shift) {
    const double scaled = std::ldexp(value, shift);
    double whole = 0.0;
    EXPECT_EQ(std::modf(scaled, &whole), 0.0) << "the value is not a multiple of 2^-" << shift;
    const Int128 v = static_cast<Int128>(whole);
    const Int128 d = v > exact ? v - exact : exact - v;
    return static_cast<double>(d) * (1.0 + 0x1p-52);
}

TEST(BoundedDot, RecoversWhatAPlainSumLosesToCancellation) {
    // 1e16 swallows each 1 that follows it in a plain sum, which ends at 0.
    std::vector<double> a, b;
    for (int k = 0; k < 1000; ++k) {
        a.insert(a.end(), {1e16, 1.0, -1e16, 1.0});
        b.insert(b.end(), {1.0, 1.0, 1.0, 1.0});
    }
    double plain = 0.0;
    for (std::size_t j = 0; j < a.size(); ++j)
        plain += a[j] * b[j];
    ASSERT_NE(plain, 2000.0);
    const BoundedDot d = boundedDot(a.data(), b.data(), a.size());
    EXPECT_EQ(d.value, 2000.0);
    EXPECT_LE(d.bound, 1e-8);
}

TEST(BoundedDot, ExactWhereEveryStepIsExact) {
    const std::vector<double> a{0.5, 0.25, 0.125, 0.0, 0.125};
    const std::vector<double> b{2.0, -4.0, 8.0, 1e300, 1.0};
    const BoundedDot d = boundedDot(a.data(), b.data(), a.size());
    EXPECT_EQ(d.value, 1.125);
    EXPECT_EQ(d.bound, 0.0);
    const BoundedDot empty = boundedDot(nullptr, nullptr, 0);
    EXPECT_EQ(empty.value, 0.0);
    EXPECT_EQ(empty.bound, 0.0);
}

TEST(BoundedDot, BoundsItsErrorAgainstIntegerArithmetic) {
    // Probabilities of 53 bits times signed rewards of 53 bits: the products
    // round, the sums cancel, and 128-bit integers hold the exact sum.
    std::mt19937_64 rng(7);
    for (int trial = 0; trial < 200; ++trial) {
        const std::size_t n = 1 + rng() % 2000;
        std::vector<double> a(n), b(n);
        Int128 exact = 0;
        for (std::size_t j = 0; j < n; ++j) {
            const std::int64_t m = static_cast<std::int64_t>(rng() >> 11); // < 2^53
            std::int64_t k = static_cast<std::int64_t>(rng() >> 11);
            if (trial % 2 == 1 && rng() % 2 == 0)
                k = -k;
            a[j] = std::ldexp(static_cast<double>(m), -63);
            b[j] = std::ldexp(static_cast<double>(k), -40);
            exact += static_cast<Int128>(m) * k;
        }
        const BoundedDot d = boundedDot(a.data(), b.data(), n);
        const double off = distanceInUnits(d.value, exact, 103);
        EXPECT_LE(off, std::ldexp(d.bound, 103)) << "trial " << trial;
        // Within a few units of the value, not the n units of a plain sum.
        const double size = std::fabs(static_cast<double>(exact)) * 0x1p-103;
        EXPECT_LE(d.bound, 4.0 * Accumulator::kUnit * size + 1e-30) << "trial " << trial;
    }
}

TEST(BoundedDot, CountsProductsBelowTheDoubles) {
    const std::vector<double> a{1e-200, 1.0};
    const std::vector<double> b{1e-200, 0.5};
    const BoundedDot d = boundedDot(a.data(), b.data(), a.size());
    EXPECT_EQ(d.value, 0.5);
    EXPECT_GT(d.bound, 0.0);
    EXPECT_LE(d.bound, 1e-300);
}

} // namespace
} // namespace gensolver
