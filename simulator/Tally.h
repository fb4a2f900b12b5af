#pragma once
// Tally: the mean, variance and skewness of independent observations (Welford's
// update and its third-moment extension), and a confidence interval of the mean
// that allows for the observations' skewness.

#include <cstdint>

class Tally {
public:
    // Adds one observation.
    void add(double x);
    std::uint64_t count() const { return Count; }
    double mean() const { return Mean; }
    // True when the observations differ by no more than the rounding of sums
    // that are equal in exact arithmetic (a relative 1e-9): a value constant
    // along every path, whose interval is the value itself.
    bool equalToRounding() const;
    // The sample variance (n - 1 in the denominator); 0 below two observations.
    double variance() const;
    // The sample skewness, the third central moment over the variance's 1.5th
    // power (both with n in the denominator); 0 when every observation is equal.
    double skewness() const;
    // Half-width of the Student-t interval at confidence `level` (0 < level < 1);
    // infinite below two observations.
    double halfWidth(double level) const;
    // The interval of the mean at confidence `level`: the Student-t interval
    // widened, on the side of the observations' longer tail, to the interval of
    // the t statistic after Hall's cubic transformation for skewness. The plain
    // t interval assumes the mean to be nearly normal; where a few large
    // observations carry it (rare events, batches that see a handful of them),
    // the true mean lies above that interval far more often than its level says,
    // and the transformed statistic corrects most of that one-sided error.
    // Infinite ends below two observations; the mean itself when all are equal
    // (to rounding, see equalToRounding).
    struct Interval {
        double low;
        double high;
    };
    Interval interval(double level) const;

private:
    std::uint64_t Count = 0; // observations added
    double Mean = 0.0;       // their mean
    double Squares = 0.0;    // sum of squared deviations from the mean
    double Cubes = 0.0;      // sum of cubed deviations from the mean
    double Least = 0.0;      // the smallest observation
    double Largest = 0.0;    // the largest
};

// The quantile of Student's t distribution with `df` degrees of freedom at
// probability p (0.5 <= p < 1), by bisection on its distribution function.
double studentQuantile(double p, std::uint64_t df);
