#pragma once
// Tally: the mean and variance of independent observations (Welford's update),
// and the Student-t confidence interval of the mean.

#include <cstdint>

class Tally {
public:
    // Adds one observation.
    void add(double x);
    std::uint64_t count() const { return Count; }
    double mean() const { return Mean; }
    // The sample variance (n - 1 in the denominator); 0 below two observations.
    double variance() const;
    // Half-width of the interval at confidence `level` (0 < level < 1); infinite
    // below two observations.
    double halfWidth(double level) const;

private:
    std::uint64_t Count = 0; // observations added
    double Mean = 0.0;       // their mean
    double Squares = 0.0;    // sum of squared deviations from the mean
};

// The quantile of Student's t distribution with `df` degrees of freedom at
// probability p (0.5 <= p < 1), by bisection on its distribution function.
double studentQuantile(double p, std::uint64_t df);
