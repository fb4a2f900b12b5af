#include "distributions/Distributions.h"

#include "base/Errors.h"
#include "distributions/LaggedFibonacci.h"

#include <cmath>
#include <limits>
#include <new>

namespace {

// Constants of the gamma methods, written out so that every build uses the same doubles.
constexpr double e = 2.718281828459045;
constexpr double ln4 = 1.3862943611198906;
constexpr double onePlusLn4_5 = 2.504077396776274;

} // namespace

Distributions::Distributions() : generator(new (std::nothrow) LaggedFibonacci) {
    if (generator == nullptr)
        MemoryAllocationError();
}

Distributions::~Distributions() {
    delete generator;
}

double Distributions::Exponential(double rate) {
    return -std::log(generator->rnd()) / rate;
}

double Distributions::Deterministic(double value) {
    return value;
}

double Distributions::Uniform(double a, double b) {
    return generator->rnd() * (b - a) + a;
}

double Distributions::Geometric(double p) {
    return std::floor(std::log(generator->rnd()) / std::log(1.0 - p));
}

double Distributions::Weibull(double alpha, double beta) {
    return beta * std::pow(-std::log(generator->rnd()), 1.0 / alpha);
}

double Distributions::ConditionalWeibull(double alpha, double beta, double t) {
    // Inverse of the survival function conditioned on having reached age t.
    const double survived = std::exp(-std::pow(t / beta, alpha));
    return beta * std::pow(-std::log(generator->rnd() * survived), 1.0 / alpha) - t;
}

double Distributions::polarNormal(double mean, double variance) {
    // Polar method: a point uniform in the unit disc; only its first coordinate
    // becomes the sample, the second serves the acceptance test.
    for (;;) {
        const double v1 = 2.0 * generator->rnd() - 1.0;
        const double v2 = 2.0 * generator->rnd() - 1.0;
        const double w = v1 * v1 + v2 * v2;
        if (w > 1.0)
            continue;
        const double y = std::sqrt(-2.0 * std::log(w) / w);
        return std::sqrt(variance) * v1 * y + mean;
    }
}

double Distributions::Normal(double mean, double variance) {
    // Delays are never negative: negative candidates are drawn again.
    for (;;) {
        const double x = polarNormal(mean, variance);
        if (!(x < 0.0))
            return x;
    }
}

double Distributions::Lognormal(double mean, double variance) {
    return std::exp(polarNormal(mean, variance));
}

double Distributions::Erlang(double k, double mean) {
    if (k < 1.0)
        return 0.0;
    // One uniform per whole stage; the counter is a double so that any k is safe.
    double product = 1.0;
    for (double stage = 1.0; stage <= k; stage += 1.0)
        product *= generator->rnd();
    return -(mean / k) * std::log(product);
}

double Distributions::Gamma(double alpha, double beta) {
    if (alpha == 1.0)
        return -std::log(generator->rnd()) * beta;
    if (alpha < 1.0)
        return beta * gammaBelowOne(alpha);
    if (alpha > 1.0)
        return beta * gammaAboveOne(alpha);
    return std::numeric_limits<double>::quiet_NaN();
}

double Distributions::gammaBelowOne(double alpha) {
    // Ahrens and Dieter's rejection method GS for shape below 1.
    const double b = (e + alpha) / e;
    for (;;) {
        const double p = b * generator->rnd();
        if (p <= 1.0) {
            const double y = std::pow(p, 1.0 / alpha);
            if (generator->rnd() <= std::exp(-y))
                return y;
        } else {
            const double y = -std::log((b - p) / alpha);
            if (generator->rnd() <= std::pow(y, alpha - 1.0))
                return y;
        }
    }
}

double Distributions::gammaAboveOne(double alpha) {
    // Cheng's rejection method GB for shape above 1.
    const double a = 1.0 / std::sqrt(2.0 * alpha - 1.0);
    const double b = alpha - ln4;
    const double q = alpha + 1.0 / a;
    for (;;) {
        const double u1 = generator->rnd();
        const double u2 = generator->rnd();
        const double v = a * std::log(u1 / (1.0 - u1));
        const double y = alpha * std::exp(v);
        const double z = u1 * u1 * u2;
        const double w = b + q * v - y;
        if (onePlusLn4_5 + w - 4.5 * z >= 0.0 || w >= std::log(z))
            return y;
    }
}

double Distributions::Beta(double a, double b) {
    const double g1 = Gamma(a, 1.0);
    const double g2 = Gamma(b, 1.0);
    return g1 / (g1 + g2);
}

double Distributions::Triangular(double a, double b, double c) {
    if (a == b)
        return a;
    const double mode = (c - a) / (b - a); // the mode's place in [0, 1]
    const double u = generator->rnd();
    if (u <= mode)
        return a + (b - a) * std::sqrt(u * mode);
    return a + (b - a) * (1.0 - std::sqrt((1.0 - u) * (1.0 - mode)));
}

double Distributions::Binomial(double n, double p) {
    double successes = 0.0;
    for (double trial = 0.0; trial < n; trial += 1.0) {
        if (p >= generator->rnd())
            successes += 1.0;
    }
    return successes;
}

double Distributions::NegativeBinomial(double r, double p) {
    const double logFailure = std::log(1.0 - p);
    double failures = 0.0;
    for (double i = 0.0; i < r; i += 1.0)
        failures += std::floor(std::log(generator->rnd()) / logFailure);
    return failures;
}

double Distributions::HyperExponential(int n, double* phases) {
    if (n < 1)
        return 0.0;
    const double u = generator->rnd();
    double total = 0.0;
    for (int i = 0; i < n; ++i)
        total += phases[2 * i + 1];
    // The cumulative weight of the last pair is computed exactly as total, so the
    // last pair is reached at the latest; it is also the fallback when a weight is
    // not a number.
    int phase = n - 1;
    double cumulative = 0.0;
    for (int i = 0; i < n; ++i) {
        cumulative += phases[2 * i + 1];
        if (u < cumulative / total) {
            phase = i;
            break;
        }
    }
    return -std::log(generator->rnd()) / phases[2 * phase];
}

double Distributions::HypoExponential(int n, double* rates) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += -std::log(generator->rnd()) / rates[i];
    return sum;
}

double Distributions::Pareto(double xm, double alpha) {
    return std::exp(std::log(xm) - std::log(generator->rnd()) / alpha);
}
