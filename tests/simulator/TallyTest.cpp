// The interval arithmetic: Student quantiles against printed table values,
// and the mean and variance of a hand-summed sample.

#include "Tally.h"

#include <gtest/gtest.h>

#include <cmath>

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

} // namespace
