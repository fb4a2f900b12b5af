#pragma once
// Truncated Poisson probabilities for uniformization: the weights of k = left ..
// right for the mean lambda, with a proven bound on what the truncation leaves out.

#include <cmath>
#include <cstdint>
#include <vector>

namespace gensolver {

struct PoissonWeights {
    double lambda = 0.0;
    std::uint64_t left = 0;     // first k kept
    std::uint64_t right = 0;    // last k kept
    std::vector<double> weight; // weight[k - left], summing to 1
    // Bound on the 1-norm error of a distribution mixed with these weights instead of
    // the exact Poisson probabilities (twice the mass cut off, relative to the kept sum).
    double bound = 0.0;
    // Bound on sum over k >= right of P(N > k) for N ~ Poisson(lambda): what the
    // accumulated (integrated) measures lose by stopping at right.
    double integralTail = 0.0;

    // The weight of k (0 outside left .. right).
    double at(std::uint64_t k) const { return k < left || k > right ? 0.0 : weight[k - left]; }
};

// Weights whose bound is at most epsilon (epsilon > 0, lambda >= 0 and finite).
// Computed from the mode outwards by the ratios p(k+1)/p(k) = lambda/(k+1), so
// nothing under- or overflows; the tails beyond the cut are bounded by geometric
// series, since the ratios shrink away from the mode.
PoissonWeights poissonWeights(double lambda, double epsilon);

// A generous estimate of the steps that uniformization with mean lambda takes (the
// right end of the weights, lambda plus some standard deviations): what is checked
// against a step budget before any weight is formed.
inline double poissonStepsNeeded(double lambda) {
    return lambda + 10.0 * std::sqrt(lambda) + 50.0;
}

// An upper bound on P(N <= k) for N ~ Poisson(lambda) and k < lambda (Chernoff:
// exp(-lambda) (e lambda / k)^k); 1 when k >= lambda.
double poissonLowerTailBound(double lambda, std::uint64_t k);

} // namespace gensolver
