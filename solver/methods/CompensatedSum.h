#pragma once
// A sum of doubles kept in twice the precision, with a bound on its error:
// residuals of stiff chains cancel terms of 1e20 and more, which a plain sum
// would leave as noise.

#include <cmath>
#include <cstdint>
#include <limits>

namespace gensolver {

// A sum kept as an unevaluated pair hi + lo (cascaded summation with exact
// products), with the magnitude and count of its terms for its error bound.
struct Accumulator {
    static constexpr double kUnit = std::numeric_limits<double>::epsilon() / 2;

    double hi = 0.0;
    double lo = 0.0;
    double magnitude = 0.0;
    std::uint32_t terms = 0;

    void add(double v) {
        const double s = hi + v;
        const double b = s - hi;
        lo += (hi - (s - b)) + (v - b);
        hi = s;
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

} // namespace gensolver
