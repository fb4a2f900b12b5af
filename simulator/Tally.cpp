#include "Tally.h"

#include <cmath>
#include <limits>

namespace {

// The density of Student's t with df degrees of freedom; logNorm is the
// logarithm of its normalising constant.
double studentDensity(double x, double df, double logNorm) {
    return std::exp(logNorm - (df + 1) / 2 * std::log1p(x * x / df));
}

// P(0 <= T <= x) by composite Simpson's rule: the density is smooth and
// unimodal, so 4096 panels give the quantiles far below the last printed digit.
double studentMass(double x, double df) {
    const int panels = 4096;
    double logNorm = std::lgamma((df + 1) / 2) - std::lgamma(df / 2) - 0.5 * std::log(df * M_PI);
    double h = x / panels;
    double sum = studentDensity(0, df, logNorm) + studentDensity(x, df, logNorm);
    for (int i = 1; i < panels; ++i)
        sum += (i % 2 == 1 ? 4 : 2) * studentDensity(i * h, df, logNorm);
    return sum * h / 3;
}

// The standard normal quantile at p >= 0.5, by bisection on erfc.
double normalQuantile(double p) {
    double lo = 0.0, hi = 40.0;
    for (int i = 0; i < 200; ++i) {
        double mid = (lo + hi) / 2;
        if (0.5 * std::erfc(-mid / std::sqrt(2.0)) < p)
            lo = mid;
        else
            hi = mid;
    }
    return (lo + hi) / 2;
}

} // namespace

void Tally::add(double x) {
    ++Count;
    double delta = x - Mean;
    Mean += delta / static_cast<double>(Count);
    Squares += delta * (x - Mean);
}

double Tally::variance() const {
    return Count < 2 ? 0.0 : Squares / static_cast<double>(Count - 1);
}

double Tally::halfWidth(double level) const {
    if (Count < 2)
        return std::numeric_limits<double>::infinity();
    double q = studentQuantile(0.5 + level / 2, Count - 1);
    return q * std::sqrt(variance() / static_cast<double>(Count));
}

double studentQuantile(double p, std::uint64_t df) {
    // Beyond a million degrees of freedom the t and normal quantiles agree to
    // about 1e-6 relative, and the density's integral would only lose digits.
    if (df > 1000000)
        return normalQuantile(p);
    double nu = static_cast<double>(df);
    double target = p - 0.5;
    double lo = 0.0, hi = 1.0;
    while (studentMass(hi, nu) < target)
        hi *= 2;
    for (int i = 0; i < 60; ++i) {
        double mid = (lo + hi) / 2;
        if (studentMass(mid, nu) < target)
            lo = mid;
        else
            hi = mid;
    }
    return (lo + hi) / 2;
}
