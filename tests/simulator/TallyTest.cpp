// The interval arithmetic: Student quantiles against printed table values,
// the mean, variance and skewness of hand-summed samples, and the intervals'
// coverage on skewed samples drawn here.

#include "Tally.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

TEST(StudentQuantile, MatchesTheTablesOverDegreesOfFreedom) {
    // Two-sided 95 % and 99 % points of the usual t table.
    struct Row {
        double p;
        std::uint64_t df;
        double t;
    } rows[] = {{0.975, 1, 12.706}, {0.975, 2, 4.303},   {0.975, 5, 2.571},  {0.975, 10, 2.228},
                {0.975, 30, 2.042}, {0.975, 120, 1.980}, {0.995, 1, 63.657}, {0.995, 10, 3.169},
                {0.995, 60, 2.660}, {0.95, 4, 2.132}};
    for (const Row& row : rows)
        EXPECT_NEAR(studentQuantile(row.p, row.df), row.t, 6e-4) << row.p << " df " << row.df;
    // Far out the normal quantile takes over: 1.959964 and 2.575829.
    EXPECT_NEAR(studentQuantile(0.975, 5000000), 1.959964, 1e-5);
    EXPECT_NEAR(studentQuantile(0.995, 5000000), 2.575829, 1e-5);
}

TEST(Tally, MeanVarianceAndHalfWidthOfASmallSample) {
    Tally tally;
    EXPECT_TRUE(std::isinf(tally.halfWidth(0.95)));
    for (double x : {2.0, 4.0, 4.0, 4.0, 5.0, 5.0, 7.0, 9.0})
        tally.add(x);
    EXPECT_EQ(tally.count(), 8u);
    EXPECT_DOUBLE_EQ(tally.mean(), 5.0);
    // Squared deviations sum to 32; over n - 1 = 7.
    EXPECT_NEAR(tally.variance(), 32.0 / 7.0, 1e-12);
    // t(0.975, 7) = 2.365 times sqrt(32/7/8).
    EXPECT_NEAR(tally.halfWidth(0.95), 2.365 * std::sqrt(32.0 / 56.0), 2e-3);
}

TEST(Tally, ConstantSampleHasZeroWidth) {
    Tally tally;
    for (int i = 0; i < 5; ++i)
        tally.add(0.25);
    EXPECT_EQ(tally.variance(), 0.0);
    EXPECT_EQ(tally.halfWidth(0.99), 0.0);
}

TEST(Tally, SkewnessAndTheSidesOfTheInterval) {
    // {0, 0, 0, 0, 1}: mean 0.2, second central moment 0.16, third 0.096.
    Tally right, left, even;
    for (double x : {0.0, 0.0, 0.0, 0.0, 1.0})
        right.add(x);
    for (double x : {1.0, 1.0, 1.0, 1.0, 0.0})
        left.add(x);
    for (double x : {1.0, 2.0, 3.0, 4.0, 5.0})
        even.add(x);
    EXPECT_NEAR(right.skewness(), 1.5, 1e-12);
    EXPECT_NEAR(left.skewness(), -1.5, 1e-12);
    EXPECT_NEAR(even.skewness(), 0.0, 1e-15);
    // A symmetric sample keeps the Student interval.
    Tally::Interval e = even.interval(0.95);
    EXPECT_NEAR(e.low, 3.0 - even.halfWidth(0.95), 1e-12);
    EXPECT_NEAR(e.high, 3.0 + even.halfWidth(0.95), 1e-12);
    // A long right tail moves the upper end up and keeps the lower; the mirror
    // image moves the lower end down by as much.
    Tally::Interval r = right.interval(0.95), l = left.interval(0.95);
    double half = right.halfWidth(0.95);
    EXPECT_NEAR(r.low, 0.2 - half, 1e-12);
    EXPECT_GT(r.high, 0.2 + 1.1 * half);
    EXPECT_NEAR(l.high, 0.8 + half, 1e-12);
    EXPECT_NEAR(0.8 - l.low, r.high - 0.2, 1e-12);
    // Equal samples: the mean alone; a single one: nothing.
    Tally one, same;
    one.add(4.0);
    for (int i = 0; i < 3; ++i)
        same.add(4.0);
    EXPECT_TRUE(std::isinf(one.interval(0.9).low) && std::isinf(one.interval(0.9).high));
    EXPECT_EQ(same.interval(0.9).low, 4.0);
    EXPECT_EQ(same.interval(0.9).high, 4.0);
}

// Uniform draws in (0, 1) from splitmix64, so that the samples are the same
// on every platform.
class Draws {
public:
    explicit Draws(std::uint64_t seed) : State(seed) {}
    double uniform() {
        std::uint64_t z = (State += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        z ^= z >> 31;
        return (static_cast<double>(z >> 11) + 0.5) * 0x1.0p-53;
    }
    // A sum of Poisson(rate) many exponential(1) durations: the down time of a
    // batch that sees rare outages of random length. Mean: rate.
    double outages(double rate) {
        double sum = 0.0;
        for (double p = uniform(); p > std::exp(-rate); p *= uniform())
            sum -= std::log(uniform());
        return sum;
    }

private:
    std::uint64_t State;
};

// Where a few large samples carry the mean (batches that see a handful of
// outages, replications that see a handful of failures), the true mean lies
// above the Student interval three to five times as often as the level says:
// an optimistic unavailability or failure probability. The interval must keep
// that side near its share, 2.5 % at 95 %, without growing beyond reason (at
// four failures in a thousand it is about twice the Student interval and 1.6
// times the exact binomial one: generous where so few samples carry the mean).
TEST(Tally, SkewedSamplesLieAboveTheIntervalNoMoreOftenThanItsLevelAllows) {
    struct Case {
        const char* what;
        int samples;
        double mean;
        bool bernoulli;
    } cases[] = {{"30 batches, 0.7 outages each", 30, 0.7, false},
                 {"100 batches, 0.3 outages each", 100, 0.3, false},
                 {"1000 replications, failure probability 0.004", 1000, 0.004, true}};
    for (const Case& c : cases) {
        Draws draws(12345);
        const int trials = 1000;
        int above = 0, below = 0, spread = 0;
        double width = 0.0, studentWidth = 0.0;
        for (int trial = 0; trial < trials; ++trial) {
            Tally tally;
            for (int i = 0; i < c.samples; ++i)
                tally.add(c.bernoulli ? (draws.uniform() < c.mean ? 1.0 : 0.0)
                                      : draws.outages(c.mean));
            if (tally.variance() == 0.0)
                continue; // no spread: reported as such, not as an interval
            ++spread;
            Tally::Interval range = tally.interval(0.95);
            above += c.mean > range.high;
            below += c.mean < range.low;
            width += range.high - range.low;
            studentWidth += 2 * tally.halfWidth(0.95);
        }
        ASSERT_GT(spread, 900) << c.what;
        EXPECT_LE(above, 0.04 * spread) << c.what;
        EXPECT_LE(below, 0.04 * spread) << c.what;
        EXPECT_LE(width, 2.0 * studentWidth) << c.what;
    }
}

} // namespace
