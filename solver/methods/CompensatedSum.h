#pragma once
// A sum of doubles kept in twice the precision, with a bound on its error:
// residuals of stiff chains cancel terms of 1e20 and more, which a plain sum
// would leave as noise.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace gensolver {

// fl(a + b) and what its rounding lost, exactly: a + b = sum + error.
struct ExactSum {
    double sum;
    double error;
};

inline ExactSum twoSum(double a, double b) {
    const double s = a + b;
    const double back = s - a;
    return {s, (a - (s - back)) + (b - back)};
}

// A sum kept as an unevaluated pair hi + lo (cascaded summation with exact
// products), with the magnitude and count of its terms for its error bound.
struct Accumulator {
    static constexpr double kUnit = std::numeric_limits<double>::epsilon() / 2;

    double hi = 0.0;
    double lo = 0.0;
    double magnitude = 0.0;
    std::uint32_t terms = 0;

    void add(double v) {
        const ExactSum s = twoSum(hi, v);
        lo += s.error;
        hi = s.sum;
        magnitude += std::fabs(v);
        ++terms;
    }
    // Adds (a + aLow) * r.
    void addProduct(double a, double aLow, double r) {
        const double p = a * r;
        add(p);
        lo += std::fma(a, r, -p) + aLow * r;
        ++terms;
    }
    double value() const { return hi + lo; }
    // Bounds |exact - value()|: the rounding of the result plus the second-order
    // error of the cascaded sum.
    double error() const {
        const double g = (2.0 * terms + 8.0) * kUnit;
        return 2.0 * kUnit * std::fabs(value()) + g * g * magnitude;
    }
};

// A dot product with a bound on its rounding, for reported values (a
// distribution times a reward vector): a plain sum over a million states may be
// off by a million units of roundoff in the worst case, more than the bounds it
// sits beside. Each product's and each addition's rounding is recovered exactly
// (fma, two-sum) and summed apart; what remains is the rounding of that small
// sum and of the result, both bounded. Unlike Accumulator::error(), the bound is
// zero where every step was exact (a value at time 0 keeps its bound of 0), and
// products below the normal range are counted.
struct BoundedDot {
    double value = 0.0;
    double bound = 0.0;
};

inline BoundedDot boundedDot(const double* a, const double* b, std::size_t n) {
    // Below this a product's rounding error may itself fall below the doubles
    // (or the product to zero): each such product counts the least double.
    constexpr double kTiny = 0x1p-969;
    double hi = 0.0, lo = 0.0, errors = 0.0;
    std::size_t tiny = 0;
    for (std::size_t j = 0; j < n; ++j) {
        const double p = a[j] * b[j];
        const double productError = std::fma(a[j], b[j], -p);
        if (std::fabs(p) < kTiny && a[j] != 0.0 && b[j] != 0.0)
            ++tiny;
        const ExactSum s = twoSum(hi, p);
        hi = s.sum;
        lo += productError + s.error;
        errors += std::fabs(productError) + std::fabs(s.error);
    }
    const ExactSum result = twoSum(hi, lo);
    BoundedDot d;
    d.value = result.sum;
    const double last = result.error;
    const double g = static_cast<double>(2 * n + 4) * Accumulator::kUnit;
    d.bound = std::fabs(last) + g * (1.0 + g) * errors +
              static_cast<double>(tiny) * std::numeric_limits<double>::denorm_min();
    return d;
}

} // namespace gensolver
