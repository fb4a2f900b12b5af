#include "Tally.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// The density of Student's t with df degrees of freedom; logNorm is the
// logarithm of its normalising constant.
double studentDensity(double x, double df, double logNorm) {
    return std::exp(logNorm - (df + 1) / 2 * std::log1p(x * x / df));
}

// The mass of the density over [a, b] by composite Simpson's rule: the density
// is smooth and unimodal, so 1024 panels over each step of the search give the
// quantiles far below the last printed digit.
double studentMass(double a, double b, double df, double logNorm) {
    const int panels = 1024;
    double h = (b - a) / panels;
    double sum = studentDensity(a, df, logNorm) + studentDensity(b, df, logNorm);
    for (int i = 1; i < panels; ++i)
        sum += (i % 2 == 1 ? 4 : 2) * studentDensity(a + i * h, df, logNorm);
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
    Least = Count == 1 ? x : std::min(Least, x);
    Largest = Count == 1 ? x : std::max(Largest, x);
    double n = static_cast<double>(Count);
    double delta = x - Mean;
    double share = delta / n;
    Mean += share;
    // The third moment's update reads the squares before this observation's.
    Cubes += delta * share * share * (n - 1) * (n - 2) - 3 * share * Squares;
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

bool Tally::equalToRounding() const {
    return Largest - Least <= 1e-9 * std::max(std::fabs(Least), std::fabs(Largest));
}

double Tally::skewness() const {
    if (Count < 2 || Squares <= 0.0)
        return 0.0;
    double n = static_cast<double>(Count);
    double spread = Squares / n;
    return Cubes / n / (spread * std::sqrt(spread));
}

Tally::Interval Tally::interval(double level) const {
    constexpr double inf = std::numeric_limits<double>::infinity();
    if (Count < 2)
        return {-inf, inf};
    double n = static_cast<double>(Count);
    double q = studentQuantile(0.5 + level / 2, Count - 1);
    double error = std::sqrt(variance() / n);
    Interval t{Mean - q * error, Mean + q * error};
    // Observations equal but for the rounding of their sums have no spread: an
    // interval of the rounding's width would read as a precise answer where
    // the samples saw nothing happen.
    if (!(error > 0.0) || equalToRounding())
        return {Mean, Mean};
    // Hall's transformation of the t statistic T = (mean - mu) / error,
    // g(T) = T + a T^2 / 3 + a^2 T^3 / 27 + a / 6 with a = skewness / sqrt(n),
    // is nearly standard normal where T is not; it is increasing, and its
    // inverse g^-1(x) = (3 / a) (cbrt(1 + a (x - a / 6)) - 1) is taken in the
    // form 3 (x - a / 6) / (c^2 + c + 1), c the cube root, which does not cancel
    // for small a. The mean then lies in [mean - g^-1(q) error, mean - g^-1(-q) error].
    double a = skewness() / std::sqrt(n);
    auto inverse = [a](double x) {
        double shifted = x - a / 6;
        double c = std::cbrt(1 + a * shifted);
        return 3 * shifted / (c * c + c + 1);
    };
    double low = Mean - inverse(q) * error, high = Mean - inverse(-q) * error;
    // Where the transformation would narrow a side (the short tail's, and both
    // at very large skewness), the t interval's end is kept: neither side is
    // ever narrower than the plain interval's.
    if (std::isfinite(low) && std::isfinite(high))
        t = {std::min(t.low, low), std::max(t.high, high)};
    return t;
}

double studentQuantile(double p, std::uint64_t df) {
    // Closed forms for one and two degrees of freedom, whose tails are the heaviest.
    if (df == 1)
        return std::tan(M_PI * (p - 0.5));
    if (df == 2)
        return (2 * p - 1) / std::sqrt(2 * p * (1 - p));
    double z = normalQuantile(p);
    // Beyond a million degrees of freedom the t and normal quantiles agree to
    // about 1e-6 relative.
    if (df > 1000000)
        return z;
    // Newton's method from the normal quantile, which lies below: the
    // distribution function is concave right of 0, so every step stays below
    // the root and the mass is integrated onwards from the last point.
    double nu = static_cast<double>(df);
    double logNorm = std::lgamma((nu + 1) / 2) - std::lgamma(nu / 2) - 0.5 * std::log(nu * M_PI);
    double target = p - 0.5;
    double x = z;
    double mass = studentMass(0.0, x, nu, logNorm);
    for (int i = 0; i < 200; ++i) {
        double step = (target - mass) / studentDensity(x, nu, logNorm);
        if (!(step > 1e-13 * x))
            break;
        mass += studentMass(x, x + step, nu, logNorm);
        x += step;
    }
    return x;
}
